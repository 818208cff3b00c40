#include "qrixPConditionalVar.h"

#include <sys/time.h>

#include <cerrno>
#include <new>

#include "qrixDiag.h"
#include "qrixTimespec.h"

PConditionalVar::PConditionalVar() : fCond(nullptr) {}

PConditionalVar::~PConditionalVar()
{
    close();
}

int PConditionalVar::init()
{
    if (fCond)
        return PCOND_ERR_ALREADY_INIT;
    pthread_cond_t* cond = new (std::nothrow) pthread_cond_t();
    if (!cond)
        return PRES_NO_MEMORY;
    if (pthread_cond_init(cond, nullptr) != 0) {
        delete cond;
        return PCOND_ERR_NOT_INIT;
    }
    fCond = cond;
    return PRES_OK;
}

int PConditionalVar::close()
{
    pthread_cond_t* cond = fCond;
    fCond = nullptr;
    if (!cond)
        return PMUTEX_ERR_NOT_INIT;
    int res = pthread_cond_destroy(cond);
    delete cond;
    return res == 0 ? PRES_OK : PCOND_ERR_CLOSE;
}

// Only an initialised unnamed mutex holds a POSIX mutex to wait with.
int PConditionalVar::checkMutex(const PMutex* mutex)
{
    if (!mutex)
        return PRES_INVALID_ARG;
    if (mutex->fNamed)
        return PCOND_ERR_NAMED_MUTEX;
    if (!mutex->fMutex)
        return PCOND_ERR_MUTEX_NOT_INIT;
    return PRES_OK;
}

int PConditionalVar::wait(PMutex* mutex)
{
    int res = checkMutex(mutex);
    if (res != PRES_OK)
        return res;
    if (!fCond)
        return PCOND_ERR_NOT_INIT;
    res = pthread_cond_wait(fCond, mutex->fMutex);
    if (res == 0)
        return PRES_OK;
    return res == ETIMEDOUT ? PCOND_ERR_TIMEOUT : PCOND_ERR_WAIT;
}

int PConditionalVar::wait(PMutex* mutex, unsigned int timeoutMs)
{
    int res = checkMutex(mutex);
    if (res != PRES_OK)
        return res;
    PL_DBG(20, "[PL_DBG]<%02d> [PConditionalVar::wait] iMutex:%p iTimeout:%u\n", (void*)mutex, timeoutMs);
    if (!fCond)
        return PCOND_ERR_NOT_INIT;
    timeval now{};
    res = gettimeofday(&now, nullptr);
    if (res != 0) {
        PL_DBG(-1, "[PL_DBG]<%02d> [PConditionalVar::wait] Unable to get abs time err: %d\n", res);
        return PCOND_ERR_WAIT;
    }
    // Absolute wall-clock deadline, as pthread_cond_timedwait takes it.
    timespec deadline = qrix::detail::afterMillis(timespec{now.tv_sec, (long)now.tv_usec * 1000L}, timeoutMs);
    res = pthread_cond_timedwait(fCond, mutex->fMutex, &deadline);
    if (res == 0)
        return PRES_OK;
    if (res == ETIMEDOUT)
        return PCOND_ERR_TIMEOUT;
    PL_ERR("\n\n[DBGONLY][PConditionalVar::wait] Unable to wait with timeout res: %d\n\n", res);
    return PCOND_ERR_WAIT;
}

int PConditionalVar::notify()
{
    if (!fCond)
        return PCOND_ERR_NOT_INIT;
    return pthread_cond_signal(fCond) == 0 ? PRES_OK : PCOND_ERR_NOTIFY;
}

int PConditionalVar::notifyAll()
{
    if (!fCond)
        return PCOND_ERR_NOT_INIT;
    return pthread_cond_broadcast(fCond) == 0 ? PRES_OK : PCOND_ERR_NOTIFY;
}
