// Platform file: only definitions of qrixPlatform.h, here its monotonic clock.
#include "qrixPlatform.h"

#include <time.h>

#include <cstdio>

// CLOCK_MONOTONIC already counts nanoseconds: no tick scaling to set up.
unsigned long long qrix::detail::monotonicNanos()
{
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        std::perror("clock_gettime(CLOCK_MONOTONIC) failed:");
        return (unsigned)-1;
    }
    return (unsigned long long)now.tv_sec * 1000000000ULL + (unsigned long long)now.tv_nsec;
}
