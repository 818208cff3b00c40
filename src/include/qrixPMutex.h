// PMutex: a recursive lock private to the process, or, when named, a lock
// shared between processes through a named semaphore of count 1.
#ifndef QRIX_PMUTEX_H
#define QRIX_PMUTEX_H

#include <pthread.h>
#include <semaphore.h>

#include "qrixPString.h"
#include "qrixTypes.h"

class PConditionalVar;

class QRIX_EXPORT PMutex {
public:
    PMutex();
    // The name goes to sem_open as given: start it with '/'.
    explicit PMutex(const PLiteral& name);
    virtual ~PMutex();

    PMutex(const PMutex&) = delete;
    PMutex& operator=(const PMutex&) = delete;

    // create is ignored for an unnamed mutex.
    int init(bool create = true);
    int lock();
    int unlock();
    // A named close always unlinks the name, whoever created it.
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
