/// @file
/// PThread: one POSIX thread running a caller's procedure with a caller's argument.
#ifndef QRIX_PTHREAD_H
#define QRIX_PTHREAD_H

#include <pthread.h>

#include "qrixTypes.h"

/// Starts one thread at a time and joins, detaches or cancels it.
///
/// One object is meant to be driven by one controlling thread; it takes no
/// lock. After pjoin(), pdetach() or pterminate() (successful or not) the
/// object has no thread and may start another.
class QRIX_EXPORT PThread {
public:
    /// The procedure a thread runs; its result is what pjoin() receives.
    typedef void* (*ThreadProc)(void*);

    /// An object without a thread.
    PThread();
    /// Detaches a thread still attached; it goes on running by itself.
    virtual ~PThread();

    PThread(const PThread&) = delete;            ///< Not copyable.
    PThread& operator=(const PThread&) = delete; ///< Not copyable.

    /// Starts a thread that runs `proc(arg)`.
    ///
    /// @returns #PRES_OK (0); #PTHREAD_ERR_ALREADY_CREATED (-703) while a
    /// thread is attached; #PRES_NO_MEMORY (-501); #PTHREAD_ERR_NO_THREAD
    /// (-701) when the system cannot create it (with a report on standard
    /// error).
    /// @warning The new thread reads @p proc and @p arg from this object as it
    /// starts: keep the object alive until the thread runs (until pjoin() is
    /// the simple rule).
    int pcreate(ThreadProc proc, void* arg);
    /// Waits for the thread to end and takes its procedure's result. Blocks
    /// without limit.
    /// @returns #PRES_OK (0); #PTHREAD_ERR_NO_THREAD (-701) when none is
    /// attached; #PTHREAD_ERR_JOIN (-702) when joining fails. The object
    /// forgets the thread in every case.
    int pjoin(void*& result);
    /// Lets the thread run on by itself.
    /// @returns #PRES_OK (0); #PTHREAD_ERR_NO_THREAD (-701) when none is
    /// attached; #PTHREAD_ERR_DETACH (-705) when detaching fails.
    int pdetach();
    /// Cancels the thread (`pthread_cancel`); the argument is not used.
    /// @returns #PRES_OK (0); #PTHREAD_ERR_NO_THREAD (-701) when none is
    /// attached; #PTHREAD_ERR_TERMINATE (-704) when cancelling fails.
    /// @warning The cancelled thread is neither joined nor detached, so its
    /// resources are never released. Prefer asking the thread to end and
    /// pjoin().
    int pterminate(void* unused);
    /// Whether a thread is attached and `pthread_kill(thread, 0)` accepts it.
    /// @note On Linux a thread that has ended but was not joined still counts
    /// as alive; only pjoin() or pdetach() make this false.
    bool isAlive() const;
    /// The attached thread's handle, 0 when none.
    pthread_t getThreadId();
    /// Does nothing; threads keep the system's name.
    void setName(const char* name);

    /// `pthread_self()`.
    static pthread_t getCurrentThreadId();
    /// Sleeps @p ms milliseconds.
    /// @warning The microseconds are computed in 32 bits: above 4,294,967 ms
    /// (about 71 minutes) the sleep wraps to a much shorter one. Sleep in
    /// shorter steps.
    static void psleep(unsigned int ms);
    /// The start routine handed to `pthread_create`; not for callers.
    static void* _proxyThreadProc(void* pair);

private:
    // The new thread receives the address of this pair and reads it at start.
    struct ProcPair {
        ThreadProc proc;
        void* arg;
    };

    pthread_t* takeHandle();

    ProcPair fPair;
    pthread_t* fHandle;
    unsigned long long fReserved;
};

#endif // QRIX_PTHREAD_H
