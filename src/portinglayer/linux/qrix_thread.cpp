// Thread numbers on Linux: the kernel's thread id.
#include "qrix_macosx.h"

#include <sys/syscall.h>
#include <unistd.h>

#include "qrixDiag.h"

int gettid_mac()
{
    int tid = (int)syscall(SYS_gettid);
    PL_DBG(10, "[PL_DBG]<%02d> [gettid_mac] syscall(%d) -> %p\n", (int)SYS_gettid, (void*)(long)tid);
    return tid;
}
