#include "qrixPSemaphore.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "qrix_macosx.h"
#include "qrixDiag.h"
#include "qrixPlatform.h"
#include "qrixTimespec.h"

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
    fSem = qrix::detail::openNamedSem(fName, create, count);
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
    // Relative, as the host's timed wait takes it.
    timespec timeout = qrix::detail::afterMillis(timespec{}, timeoutMs);
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
