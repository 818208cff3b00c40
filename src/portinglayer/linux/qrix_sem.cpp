// The timed semaphore wait: deliberately not implemented, on Linux as on the
// host it was written for, so callers see one behaviour everywhere.
#include "qrix_macosx.h"

#include <cerrno>

#include "qrixDiag.h"

int sem_timedwait_mac(sem_t* sem, const timespec* timeout)
{
    (void)sem;
    // Callers read errno after a failure; the message must not disturb it.
    int savedErrno = errno;
    long long seconds = timeout ? (long long)timeout->tv_sec : 0;
    long long nanos = timeout ? (long long)timeout->tv_nsec : 0;
    PL_DBG(10, "[PL_DBG]<%02d> [sem_timedwait_mac] not implemented timeout [%lld.%lld]\n", seconds, nanos);
    errno = savedErrno;
    return PRES_NOT_IMPLEMENTED;
}
