/// @file
/// PConditionalVar: a POSIX condition variable waited on with an unnamed,
/// initialised PMutex that the caller holds.
#ifndef QRIX_PCONDITIONAL_VAR_H
#define QRIX_PCONDITIONAL_VAR_H

#include <pthread.h>

#include "qrixPMutex.h"
#include "qrixTypes.h"

/// A condition variable made in two steps: construct, then init().
///
/// wait(), notify() and notifyAll() are meant for different threads; init()
/// and close() must not race with them.
class QRIX_EXPORT PConditionalVar {
public:
    /// A condition variable that is not yet initialised.
    PConditionalVar();
    /// Calls close().
    virtual ~PConditionalVar();

    PConditionalVar(const PConditionalVar&) = delete;            ///< Not copyable.
    PConditionalVar& operator=(const PConditionalVar&) = delete; ///< Not copyable.

    /// Creates the condition variable.
    /// @returns #PRES_OK (0); #PCOND_ERR_ALREADY_INIT (-736) when already
    /// initialised; #PRES_NO_MEMORY (-501); #PCOND_ERR_NOT_INIT (-731) when the
    /// system refuses.
    int init();
    /// Destroys the condition variable; init() may be called again.
    /// @returns #PRES_OK (0); #PMUTEX_ERR_NOT_INIT (-711), the mutex's code,
    /// when it is not initialised; #PCOND_ERR_CLOSE (-735) when destroying
    /// fails.
    int close();

    /// Waits for a notification, releasing @p mutex meanwhile; blocks without
    /// limit.
    ///
    /// @param mutex an unnamed, initialised PMutex that the caller has locked
    ///        once.
    /// @returns #PRES_OK (0) after a wake-up; checked in this order:
    /// #PRES_INVALID_ARG (-502) for a null @p mutex, #PCOND_ERR_NAMED_MUTEX
    /// (-737) for a named one, #PCOND_ERR_MUTEX_NOT_INIT (-738) for one not
    /// initialised, #PCOND_ERR_NOT_INIT (-731) before init(); then
    /// #PCOND_ERR_WAIT (-732) when the wait fails.
    /// @note A wait may also end without a notification (a spurious wake-up):
    /// re-check your condition in a loop.
    int wait(PMutex* mutex);
    /// Waits for a notification for at most @p timeoutMs milliseconds.
    ///
    /// @param mutex as for wait(PMutex*).
    /// @param timeoutMs the limit; 0 returns at once.
    /// @returns as wait(PMutex*), and #PCOND_ERR_TIMEOUT (-733) when the time
    /// runs out; #PCOND_ERR_WAIT (-732) also when the clock cannot be read.
    /// @note The deadline is taken from the wall clock: setting the system
    /// clock lengthens or shortens a pending wait.
    int wait(PMutex* mutex, unsigned int timeoutMs);
    /// Wakes one waiting thread.
    /// @returns #PRES_OK (0); #PCOND_ERR_NOT_INIT (-731) before init();
    /// #PCOND_ERR_NOTIFY (-734) when signalling fails.
    int notify();
    /// Wakes every waiting thread.
    /// @returns #PRES_OK (0); #PCOND_ERR_NOT_INIT (-731) before init();
    /// #PCOND_ERR_NOTIFY (-734) when broadcasting fails.
    int notifyAll();

private:
    static int checkMutex(const PMutex* mutex);

    pthread_cond_t* fCond;
};

#endif // QRIX_PCONDITIONAL_VAR_H
