// PSemaphore: a counting semaphore, named (shared between processes) or
// unnamed (process-shared storage owned by the object).
#ifndef QRIX_PSEMAPHORE_H
#define QRIX_PSEMAPHORE_H

#include <semaphore.h>

#include "qrixPString.h"
#include "qrixTypes.h"

class QRIX_EXPORT PSemaphore {
public:
    PSemaphore();
    // The name goes to sem_open as given: start it with '/'.
    explicit PSemaphore(const PLiteral& name);
    virtual ~PSemaphore();

    PSemaphore(const PSemaphore&) = delete;
    PSemaphore& operator=(const PSemaphore&) = delete;

    int init(unsigned int count, bool create = true);
    int post();
    int wait();
    // Never waits on this platform: the count is left and a failure returned.
    int wait(unsigned int timeoutMs);
    int trywait();
    int getValue(int& value);
    // A named close always unlinks the name, whoever created it.
    int close();

private:
    int initNamed(unsigned int count, bool create);
    int initUnnamed(unsigned int count);

    bool fNamed;
    char* fName;
    sem_t* fSem;
};

#endif // QRIX_PSEMAPHORE_H
