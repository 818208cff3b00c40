// PConditionalVar: a POSIX condition variable waited on with an unnamed,
// initialised PMutex that the caller holds.
#ifndef QRIX_PCONDITIONAL_VAR_H
#define QRIX_PCONDITIONAL_VAR_H

#include <pthread.h>

#include "qrixPMutex.h"
#include "qrixTypes.h"

class QRIX_EXPORT PConditionalVar {
public:
    PConditionalVar();
    virtual ~PConditionalVar();

    PConditionalVar(const PConditionalVar&) = delete;
    PConditionalVar& operator=(const PConditionalVar&) = delete;

    int init();
    int close();

    // One wake-up, spurious or not, ends a wait: re-check your condition.
    int wait(PMutex* mutex);
    // The deadline follows the wall clock.
    int wait(PMutex* mutex, unsigned int timeoutMs);
    int notify();
    int notifyAll();

private:
    static int checkMutex(const PMutex* mutex);

    pthread_cond_t* fCond;
};

#endif // QRIX_PCONDITIONAL_VAR_H
