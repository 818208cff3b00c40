// Platform file: only definitions of qrixPlatform.h, here the thread number.
#include "qrixPlatform.h"

#include <sys/syscall.h>
#include <unistd.h>

// The kernel's thread id.
int qrix::detail::threadNumber(long& call)
{
    call = SYS_gettid;
    return (int)syscall(SYS_gettid);
}
