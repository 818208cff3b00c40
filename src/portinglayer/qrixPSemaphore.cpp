#include "qrixPSemaphore.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "qrix_macosx.h"
#include "qrixDiag.h"

namespace {
// Systems that refuse long names still take this many characters.
constexpr size_t kShortNameLen = 13;
// NAME_MAX less the "sem." the system puts before the name.
constexpr size_t kLongestName = 251;
constexpr long kNanosPerSecond = 1000000000L;

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

// A name too long is shortened in place, for good, so that close unlinks the
// name actually used.
sem_t* openNamedSem(char* name, bool create, unsigned int count)
{
    sem_t* sem = popenSem(name, create, count);
    if (sem == SEM_FAILED && isNameTooLong(errno, name) && std::strlen(name) >= kShortNameLen) {
        name[kShortNameLen] = '\0';
        sem = popenSem(name, create, count);
    }
    return sem;
}
} // namespace

PSemaphore::PSemaphore() : fNamed(false), fName(nullptr), fSem(SEM_FAILED) {}

PSemaphore::PSemaphore(const PLiteral& name) : fNamed(true), fName(name.ascii()), fSem(SEM_FAILED) {}

PSemaphore::~PSemaphore()
{
    close();
    delete[] fName;
    fName = nullptr;
}

int PSemaphore::init(unsigned int count, bool create)
{
    if (fSem != SEM_FAILED)
        return PSEM_ERR_ALREADY_INIT;
    return fNamed ? initNamed(count, create) : initUnnamed(count);
}

int PSemaphore::initNamed(unsigned int count, bool create)
{
    // A name that did not convert is refused by sem_open like an empty one.
    static char noName[] = "";
    fSem = openNamedSem(fName ? fName : noName, create, count);
    if (fSem != SEM_FAILED)
        return PRES_OK;
    int err = errno;
    if (err == ENOENT)
        return PSEM_ERR_NOT_FOUND;
    if (err == EEXIST)
        return PSEM_ERR_EXISTS;
    if (err == ENOSYS)
        return PRES_NOT_IMPLEMENTED;
    PL_ERR("\n\n[DBGONLY][PSemaphore::init] Failed to create/open: %d sem errno: %d %s\n\n", create ? 1 : 0, err,
           std::strerror(err));
    return PSEM_ERR_NOT_INIT;
}

// The storage stays in the object even when sem_init fails: the object then
// counts as open, a second init is refused and close frees the storage.
int PSemaphore::initUnnamed(unsigned int count)
{
    sem_t* storage = new (std::nothrow) sem_t();
    if (!storage)
        return PRES_NO_MEMORY;
    fSem = storage;
    if (sem_init(fSem, 1, count) == 0)
        return PRES_OK;
    int err = errno;
    if (err == ENOSYS)
        return PRES_NOT_IMPLEMENTED;
    PL_ERR("\n\n[DBGONLY][PSemaphore::init] Failed to sem_init errno: %d %s\n\n", err, std::strerror(err));
    return PSEM_ERR_NOT_INIT;
}

int PSemaphore::post()
{
    if (fSem == SEM_FAILED)
        return PSEM_ERR_NOT_INIT;
    return sem_post(fSem) == 0 ? PRES_OK : PSEM_ERR_POST;
}

int PSemaphore::wait()
{
    if (fSem == SEM_FAILED)
        return PSEM_ERR_NOT_INIT;
    return sem_wait(fSem) == 0 ? PRES_OK : PSEM_ERR_WAIT;
}

int PSemaphore::wait(unsigned int timeoutMs)
{
    if (fSem == SEM_FAILED)
        return PSEM_ERR_NOT_INIT;
    timespec timeout{};
    timeout.tv_sec = (time_t)(timeoutMs / 1000);
    timeout.tv_nsec = (long)(timeoutMs % 1000) * 1000000L;
    if (timeout.tv_nsec >= kNanosPerSecond) {
        timeout.tv_sec += timeout.tv_nsec / kNanosPerSecond;
        timeout.tv_nsec %= kNanosPerSecond;
    }
    if (sem_timedwait_mac(fSem, &timeout) == 0)
        return PRES_OK;
    return errno == ETIMEDOUT ? PSEM_ERR_TIMEOUT : PSEM_ERR_WAIT;
}

int PSemaphore::trywait()
{
    if (fSem == SEM_FAILED)
        return PSEM_ERR_NOT_INIT;
    return sem_trywait(fSem) == 0 ? PRES_OK : PSEM_ERR_WAIT;
}

int PSemaphore::getValue(int& value)
{
    if (fSem == SEM_FAILED)
        return PSEM_ERR_NOT_INIT;
    return sem_getvalue(fSem, &value) == 0 ? PRES_OK : PSEM_ERR_GETVALUE;
}

int PSemaphore::close()
{
    sem_t* sem = fSem;
    fSem = SEM_FAILED;
    if (sem == SEM_FAILED)
        return PSEM_ERR_NOT_INIT;
    int res;
    if (fNamed) {
        res = sem_close(sem);
        // Whoever closes removes the name; a name already gone is no failure.
        sem_unlink(fName ? fName : "");
    } else {
        res = sem_destroy(sem);
        delete sem;
    }
    return res == 0 ? PRES_OK : PSEM_ERR_CLOSE;
}
