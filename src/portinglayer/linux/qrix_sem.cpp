// Named and timed semaphore calls, as this system answers them.
#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "qrix_macosx.h"
#include "qrixDiag.h"
#include "qrixNamedSem.h"

namespace {
// Systems that refuse long names still take this many characters.
constexpr size_t kShortNameLen = 13;
// NAME_MAX less the "sem." the system puts before the name.
constexpr size_t kLongestName = 251;

sem_t* popenSem(const char* name, bool create, unsigned int count)
{
    return create ? sem_open(name, O_CREAT | O_EXCL, 0770, count) : sem_open(name, 0);
}

// glibc answers EINVAL instead of ENAMETOOLONG once "sem." and the name
// (leading slashes dropped) cannot fit in NAME_MAX at all.
bool isNameTooLong(int err, const char* name)
{
    if (err == ENAMETOOLONG)
        return true;
    while (*name == '/')
        ++name;
    return err == EINVAL && std::strlen(name) > kLongestName;
}
} // namespace

sem_t* openNamedSem(char* name, bool create, unsigned int count)
{
    // A name that did not convert is refused like an empty one.
    if (!name)
        return popenSem("", create, count);
    sem_t* sem = popenSem(name, create, count);
    if (sem == SEM_FAILED && isNameTooLong(errno, name) && std::strlen(name) >= kShortNameLen) {
        name[kShortNameLen] = '\0';
        sem = popenSem(name, create, count);
    }
    return sem;
}

// Deliberately not implemented, on Linux as on the host it was written for,
// so callers see one behaviour everywhere.
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
