// PThread: one POSIX thread running a caller's procedure with a caller's argument.
#ifndef QRIX_PTHREAD_H
#define QRIX_PTHREAD_H

#include <pthread.h>

#include "qrixTypes.h"

class QRIX_EXPORT PThread {
public:
    typedef void* (*ThreadProc)(void*);

    PThread();
    virtual ~PThread(); // detaches a running thread; it goes on by itself

    PThread(const PThread&) = delete;
    PThread& operator=(const PThread&) = delete;

    int pcreate(ThreadProc proc, void* arg);
    int pjoin(void*& result);
    int pdetach();
    int pterminate(void* unused);
    bool isAlive() const;
    pthread_t getThreadId();
    void setName(const char* name);

    static pthread_t getCurrentThreadId();
    // usleep(ms * 1000) with the product in 32 bits.
    static void psleep(unsigned int ms);
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
