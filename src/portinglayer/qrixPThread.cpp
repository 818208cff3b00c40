#include "qrixPThread.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "qrixDiag.h"

PThread::PThread() : fPair{nullptr, nullptr}, fHandle(nullptr), fReserved(0) {}

PThread::~PThread()
{
    if (fHandle)
        pdetach();
    fReserved = 0;
}

int PThread::pcreate(ThreadProc proc, void* arg)
{
    if (fHandle)
        return PTHREAD_ERR_ALREADY_CREATED;
    fPair.proc = proc;
    fPair.arg = arg;
    fHandle = new (std::nothrow) pthread_t();
    if (!fHandle)
        return PRES_NO_MEMORY;
    if (pthread_create(fHandle, nullptr, _proxyThreadProc, &fPair) != 0) {
        PL_ERR("\n\n[DBGONLY][PThread::pcreate] Failed to create errno: %d %s\n\n", errno, std::strerror(errno));
        delete fHandle;
        fHandle = nullptr;
        return PTHREAD_ERR_NO_THREAD;
    }
    return PRES_OK;
}

// The object forgets its thread before the call, whatever the call's outcome.
pthread_t* PThread::takeHandle()
{
    pthread_t* handle = fHandle;
    fHandle = nullptr;
    return handle;
}

int PThread::pjoin(void*& result)
{
    pthread_t* handle = takeHandle();
    if (!handle)
        return PTHREAD_ERR_NO_THREAD;
    int res = PRES_OK;
    if (pthread_join(*handle, &result) != 0) {
        PL_DBG(-1, "[PL_DBG]<%02d> [PThread::pjoin] Failed to pthread_join(%p) errno: %d (%s)\n\n\n",
               (void*)handle, errno, std::strerror(errno));
        res = PTHREAD_ERR_JOIN;
    }
    delete handle;
    return res;
}

int PThread::pdetach()
{
    pthread_t* handle = takeHandle();
    if (!handle)
        return PTHREAD_ERR_NO_THREAD;
    int res = PRES_OK;
    fReserved = 0;
    if (pthread_detach(*handle) != 0) {
        PL_DBG(-1, "[PL_DBG]<%02d> [PThread::pdetach] pthread_detach(id:%p) Failed to detach errno: %d %s\n",
               (void*)handle, errno, std::strerror(errno));
        res = PTHREAD_ERR_DETACH;
    }
    delete handle;
    return res;
}

int PThread::pterminate(void* unused)
{
    (void)unused;
    pthread_t* handle = takeHandle();
    if (!handle)
        return PTHREAD_ERR_NO_THREAD;
    int res = PRES_OK;
    if (pthread_cancel(*handle) != 0) {
        PL_ERR("\n\n[DBGONLY][PThread::pterminate] Failed to terminate errno: %d %s\n\n", errno, std::strerror(errno));
        res = PTHREAD_ERR_TERMINATE;
    }
    delete handle;
    return res;
}

bool PThread::isAlive() const
{
    if (!fHandle)
        return false;
    PL_DBG(20, "[PL_DBG]<%02d> [PThread::isAlive] pthread_kill(%p)\n", (void*)fHandle);
    int err = pthread_kill(*fHandle, 0);
    if (err != 0) {
        PL_DBG(1, "[PL_DBG]<%02d> [PThread::isAlive] pthread_kill(%p) failed with err: %d (%s)\n\n\n",
               (void*)fHandle, err, std::strerror(err));
    }
    return err == 0;
}

pthread_t PThread::getThreadId()
{
    return fHandle ? *fHandle : (pthread_t)0;
}

void PThread::setName(const char* name)
{
    (void)name;
}

pthread_t PThread::getCurrentThreadId()
{
    return pthread_self();
}

void PThread::psleep(unsigned int ms)
{
    unsigned int micros = ms * 1000u; // 32-bit on purpose: above 4,294,967 ms it wraps
    usleep(micros);
}

void* PThread::_proxyThreadProc(void* pair)
{
    const ProcPair* p = static_cast<const ProcPair*>(pair);
    return p->proc(p->arg);
}
