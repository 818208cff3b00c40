/// @file
/// PMutex: a recursive lock private to the process, or, when named, a lock
/// shared between processes through a named semaphore of count 1.
#ifndef QRIX_PMUTEX_H
#define QRIX_PMUTEX_H

#include <pthread.h>
#include <semaphore.h>

#include "qrixPString.h"
#include "qrixTypes.h"

class PConditionalVar;

/// A lock made in two steps: construct, then init().
///
/// lock() and unlock() may be called from any thread; init() and close() must
/// not race with other calls on the same object.
class QRIX_EXPORT PMutex {
public:
    /// An unnamed mutex: recursive, private to the process.
    PMutex();
    /// A named mutex, shared between the processes that use the same name.
    ///
    /// The name goes to `sem_open` as given: start it with '/' and use no
    /// other '/'. It is converted like every text (PLiteral::pwchar2pchar());
    /// a name that does not convert makes init() fail.
    explicit PMutex(const PLiteral& name);
    /// Calls close(), which unlinks a named mutex's name.
    virtual ~PMutex();

    PMutex(const PMutex&) = delete;            ///< Not copyable.
    PMutex& operator=(const PMutex&) = delete; ///< Not copyable.

    /// Creates the mutex; for a named one, @p create true creates the name
    /// (exclusively) and false opens an existing one. @p create is ignored for
    /// an unnamed mutex.
    ///
    /// @returns #PRES_OK (0); #PMUTEX_ERR_ALREADY_INIT (-716) when already
    /// initialised; #PMUTEX_ERR_EXISTS (-717) when the name exists (create);
    /// #PMUTEX_ERR_NOT_FOUND (-714) when it does not (open);
    /// #PRES_NOT_IMPLEMENTED (-508) without named semaphores;
    /// #PRES_NO_MEMORY (-501); #PMUTEX_ERR_NOT_INIT (-711) for any other
    /// failure (with a report on standard error).
    /// @warning A name the system finds too long is cut after its 13th
    /// character, in the object and for good, and tried once more: two long
    /// names that share their first 13 characters then name the same lock.
    int init(bool create = true);
    /// Takes the lock, blocking without limit.
    /// @returns #PRES_OK (0); #PMUTEX_ERR_NOT_INIT (-711) before init();
    /// #PMUTEX_ERR_LOCK (-712) when locking fails.
    /// @note An unnamed mutex may be locked again by its holder (and must then
    /// be unlocked as often); a named one may not: a second lock() by the same
    /// thread blocks for good.
    int lock();
    /// Releases the lock.
    /// @returns #PRES_OK (0); #PMUTEX_ERR_NOT_INIT (-711) before init();
    /// #PMUTEX_ERR_UNLOCK (-713) when unlocking fails.
    /// @note A named mutex does not know its holder: unlocking it without
    /// holding it lets two holders in later.
    int unlock();
    /// Destroys the mutex; init() may be called again afterwards.
    /// @returns #PRES_OK (0); #PMUTEX_ERR_NOT_INIT (-711) when not initialised;
    /// #PMUTEX_ERR_CLOSE (-715) when closing fails.
    /// @warning Every close of a named mutex, and so every destruction, also
    /// removes the name from the system, whether or not this object created
    /// it: processes that open the name afterwards get a different lock from
    /// those still holding the old one. Let one owner close, after the others.
    int close();

private:
    // The condition variable waits on the POSIX mutex itself.
    friend class PConditionalVar;

    int initNamed(bool create);
    int initUnnamed();

    bool fNamed;
    char* fName;
    pthread_mutex_t* fMutex;
    sem_t* fSem;
};

#endif // QRIX_PMUTEX_H
