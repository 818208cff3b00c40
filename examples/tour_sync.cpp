#include <unistd.h>

#include <cstdio>

#include "qrixPConditionalVar.h"
#include "qrixPCounter.h"
#include "qrixPMutex.h"
#include "qrixPSemaphore.h"
#include "qrixPThread.h"
#include "tour.h"

namespace {
constexpr int kItems = 3;

// What the producer and the consumer share, guarded by the mutex.
struct Mailbox {
    PMutex mutex;
    PConditionalVar ready;
    int item = 0;
    bool full = false;
};

void* produce(void* arg)
{
    Mailbox* box = static_cast<Mailbox*>(arg);
    for (int i = 1; i <= kItems; ++i) {
        box->mutex.lock();
        while (box->full)
            box->ready.wait(&box->mutex, 1000);
        box->item = i * 10;
        box->full = true;
        std::printf("  producer put %d\n", box->item);
        box->ready.notifyAll();
        box->mutex.unlock();
    }
    return nullptr;
}

void meetOnMutexAndCondition()
{
    Mailbox box;
    box.mutex.init(false);
    box.ready.init();
    PThread producer;
    if (producer.pcreate(produce, &box) != PRES_OK) {
        std::printf("  could not start the producer\n");
        return;
    }
    PCounter received(0);
    while (received < kItems) {
        box.mutex.lock();
        // A timed wait can end early or late: the flag says what happened.
        while (!box.full)
            box.ready.wait(&box.mutex, 1000);
        std::printf("  consumer took %d\n", box.item);
        box.full = false;
        ++received;
        box.ready.notifyAll();
        box.mutex.unlock();
    }
    void* result = nullptr;
    producer.pjoin(result);
    box.mutex.lock();
    int timedOut = box.ready.wait(&box.mutex, 0);
    box.mutex.unlock();
    std::printf("  %d items passed; a timed wait with nobody notifying: %d\n", (int)received, timedOut);
}

void namedSemaphore()
{
    wchar_t name[64];
    swprintf(name, 64, L"/qrix-tour-%d", (int)getpid());
    PSemaphore sem(name);
    std::printf("  create %ls: %d\n", name, sem.init(0, true));
    int posted = sem.post();
    std::printf("  post: %d, post: %d\n", posted, sem.post());
    int value = -1;
    sem.getValue(value);
    std::printf("  value: %d\n", value);
    int taken = sem.trywait();
    sem.getValue(value);
    std::printf("  trywait: %d, value now: %d\n", taken, value);
    std::printf("  timed wait (never waits on this platform): %d\n", sem.wait(200));
    std::printf("  close (unlinks the name): %d\n", sem.close());
    PSemaphore again(name);
    std::printf("  open it again: %d (gone)\n", again.init(0, false));
}
} // namespace

void tourSync()
{
    std::printf("a producer and a consumer on a mutex and a condition variable\n");
    meetOnMutexAndCondition();
    std::printf("a named semaphore\n");
    namedSemaphore();
}
