#include "qrixPDebug.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

void qrix_pl_debug_print(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    std::vfprintf(stderr, format, args);
    va_end(args);
    std::fflush(stderr);
}

int qrix_pl_debug_threshold()
{
    const char* value = std::getenv("PL_DEBUG");
    return value ? std::atoi(value) : 1;
}
