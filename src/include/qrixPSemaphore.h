/// @file
/// PSemaphore: a counting semaphore, named (shared between processes) or
/// unnamed (process-shared storage owned by the object).
#ifndef QRIX_PSEMAPHORE_H
#define QRIX_PSEMAPHORE_H

#include <semaphore.h>

#include "qrixPString.h"
#include "qrixTypes.h"

/// A counting semaphore made in two steps: construct, then init().
///
/// post() and the waits may be called from any thread (or, when named, any
/// process); init() and close() must not race with other calls on the same
/// object.
class QRIX_EXPORT PSemaphore {
public:
    /// An unnamed semaphore.
    PSemaphore();
    /// A named semaphore; the name rules of PMutex(const PLiteral&) apply.
    explicit PSemaphore(const PLiteral& name);
    /// Calls close(), which unlinks a named semaphore's name.
    virtual ~PSemaphore();

    PSemaphore(const PSemaphore&) = delete;            ///< Not copyable.
    PSemaphore& operator=(const PSemaphore&) = delete; ///< Not copyable.

    /// Opens the semaphore with the initial @p count; for a named one,
    /// @p create true creates the name (exclusively) and false opens an
    /// existing one (whose count stays as it is).
    ///
    /// @returns #PRES_OK (0); #PSEM_ERR_ALREADY_INIT (-728) when open;
    /// #PSEM_ERR_EXISTS (-729) when the name exists (create);
    /// #PSEM_ERR_NOT_FOUND (-726) when it does not (open);
    /// #PRES_NOT_IMPLEMENTED (-508) without semaphores; #PRES_NO_MEMORY
    /// (-501); #PSEM_ERR_NOT_INIT (-721) for any other failure (with a report
    /// on standard error).
    /// @note A too long name is cut to 13 characters as in PMutex::init().
    /// An unnamed semaphore whose set-up failed still counts as open: call
    /// close() before trying init() again.
    int init(unsigned int count, bool create = true);
    /// Adds one to the count.
    /// @returns #PRES_OK (0); #PSEM_ERR_NOT_INIT (-721) when not open;
    /// #PSEM_ERR_POST (-722) when posting fails.
    int post();
    /// Takes one from the count, blocking without limit while it is 0.
    /// @returns #PRES_OK (0); #PSEM_ERR_NOT_INIT (-721) when not open;
    /// #PSEM_ERR_WAIT (-723) when waiting fails (a signal included).
    int wait();
    /// A timed wait that never waits.
    ///
    /// @returns #PSEM_ERR_NOT_INIT (-721) when not open; otherwise at once
    /// #PSEM_ERR_WAIT (-723), or #PSEM_ERR_TIMEOUT (-724) when `errno` happened
    /// to hold ETIMEDOUT. The count is never taken.
    /// @warning To wait with a time-out, call trywait() in a loop with
    /// PThread::psleep() until it succeeds or the time is up.
    int wait(unsigned int timeoutMs);
    /// Takes one from the count if it is not 0, without blocking.
    /// @returns #PRES_OK (0); #PSEM_ERR_NOT_INIT (-721) when not open;
    /// #PSEM_ERR_WAIT (-723) when the count is 0 or the call fails.
    int trywait();
    /// Reads the current count into @p value.
    /// @returns #PRES_OK (0); #PSEM_ERR_NOT_INIT (-721) when not open;
    /// #PSEM_ERR_GETVALUE (-725) when reading fails.
    int getValue(int& value);
    /// Closes the semaphore; init() may be called again afterwards.
    /// @returns #PRES_OK (0); #PSEM_ERR_NOT_INIT (-721) when not open;
    /// #PSEM_ERR_CLOSE (-727) when closing fails (the object is closed all the
    /// same).
    /// @warning Like PMutex::close(), every close of a named semaphore, and so
    /// every destruction, removes the name from the system.
    int close();

private:
    int initNamed(unsigned int count, bool create);
    int initUnnamed(unsigned int count);

    bool fNamed;
    char* fName;
    sem_t* fSem;
};

#endif // QRIX_PSEMAPHORE_H
