#include "qrixPMutex.h"

#include <cerrno>
#include <cstring>
#include <new>

#include "qrixDiag.h"
#include "qrixPlatform.h"

// Called straight through the GOT rather than through a PLT stub: a lock is
// little more than these calls, so the extra jump would show.
#if defined(__has_attribute)
#if __has_attribute(noplt)
extern "C" {
int pthread_mutex_lock(pthread_mutex_t* mutex) __attribute__((noplt));
int pthread_mutex_unlock(pthread_mutex_t* mutex) __attribute__((noplt));
}
#endif
#endif

PMutex::PMutex() : fNamed(false), fName(nullptr), fMutex(nullptr), fSem(SEM_FAILED) {}

PMutex::PMutex(const PLiteral& name) : fNamed(true), fName(name.ascii()), fMutex(nullptr), fSem(SEM_FAILED) {}

PMutex::~PMutex()
{
    close();
    delete[] fName;
    fName = nullptr;
}

int PMutex::init(bool create)
{
    return fNamed ? initNamed(create) : initUnnamed();
}

int PMutex::initNamed(bool create)
{
    if (fSem != SEM_FAILED)
        return PMUTEX_ERR_ALREADY_INIT;
    fSem = qrix::detail::openNamedSem(fName, create, 1);
    if (fSem != SEM_FAILED)
        return PRES_OK;
    int err = errno;
    if (err == EEXIST)
        return PMUTEX_ERR_EXISTS;
    if (err == ENOSYS)
        return PRES_NOT_IMPLEMENTED;
    PL_ERR("\n\n[DBGONLY][PMuthex::init] Failed to create/open: %d sem errno: %d %s\n\n", create ? 1 : 0, err,
           std::strerror(err));
    return err == ENOENT ? PMUTEX_ERR_NOT_FOUND : PMUTEX_ERR_NOT_INIT;
}

int PMutex::initUnnamed()
{
    if (fMutex)
        return PMUTEX_ERR_ALREADY_INIT;
    pthread_mutex_t* mutex = new (std::nothrow) pthread_mutex_t();
    if (!mutex)
        return PRES_NO_MEMORY;
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    int res = pthread_mutex_init(mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    if (res != 0) {
        PL_ERR("\n\n[DBGONLY][PMuthex::init] Failed to init mutex res: %d errno: %d\n\n", res, errno);
        delete mutex;
        return PMUTEX_ERR_NOT_INIT;
    }
    fMutex = mutex;
    return PRES_OK;
}

// Only an unnamed mutex ever holds a pthread mutex, so a set pointer alone
// selects the common case with one load and one branch.
int PMutex::lock()
{
    if (fMutex)
        return pthread_mutex_lock(fMutex) == 0 ? PRES_OK : PMUTEX_ERR_LOCK;
    if (!fNamed || fSem == SEM_FAILED)
        return PMUTEX_ERR_NOT_INIT;
    return sem_wait(fSem) == 0 ? PRES_OK : PMUTEX_ERR_LOCK;
}

int PMutex::unlock()
{
    if (fMutex)
        return pthread_mutex_unlock(fMutex) == 0 ? PRES_OK : PMUTEX_ERR_UNLOCK;
    if (!fNamed || fSem == SEM_FAILED)
        return PMUTEX_ERR_NOT_INIT;
    return sem_post(fSem) == 0 ? PRES_OK : PMUTEX_ERR_UNLOCK;
}

int PMutex::close()
{
    if (fNamed) {
        if (fSem == SEM_FAILED)
            return PMUTEX_ERR_NOT_INIT;
        int res = sem_close(fSem);
        // Whoever closes removes the name; a name already gone is no failure.
        sem_unlink(fName ? fName : "");
        fSem = SEM_FAILED;
        return res == 0 ? PRES_OK : PMUTEX_ERR_CLOSE;
    }
    if (!fMutex)
        return PMUTEX_ERR_NOT_INIT;
    int res = pthread_mutex_destroy(fMutex);
    delete fMutex;
    fMutex = nullptr;
    return res == 0 ? PRES_OK : PMUTEX_ERR_CLOSE;
}
