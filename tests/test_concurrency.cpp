// The synchronisation objects and process starts under real contention. Each
// test shares plain data only under the object it tests, so that a broken
// exclusion shows as a wrong count here and as a race under ThreadSanitizer.
#include <semaphore.h>
#include <algorithm>
#include <deque>
#include "testSupport.h"

namespace {

const int THREADS = 4;

// 13 characters, unique per test run, and gone after the test even when it
// fails half-way; names for sem_open start with '/'.
struct UniqueName {
    std::string name;
    explicit UniqueName(char tag) : name("/qc" + std::string(1, tag) + std::to_string(1000000000 + getpid()).substr(1)) {}
    ~UniqueName() { sem_unlink(name.c_str()); }
    PString wide() const { return PString(name.c_str()); }
};

void runThreads(int count, const std::function<void(int)>& body)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(body, i);
    for (std::thread& t : threads)
        t.join();
}

} // namespace

// The unnamed mutex is taken twice per round (it is recursive); the named
// one, a semaphore underneath, once.
TEST(Contention, MutexKeepsEveryThreadOutWhileHeld)
{
    const UniqueName name('m');
    struct Case {
        PMutex* mutex;
        int depth;
    };
    PMutex unnamed, named(name.wide());
    for (const Case& c : {Case{&unnamed, 2}, Case{&named, 1}}) {
        ASSERT_EQ(c.mutex->init(true), PRES_OK);
        const int rounds = 2000;
        long shared = 0; // only touched under the mutex
        std::atomic<int> inside{0}, overlaps{0}, failures{0};
        runThreads(THREADS, [&](int) {
            for (int r = 0; r < rounds; ++r) {
                for (int d = 0; d < c.depth; ++d)
                    failures += c.mutex->lock() != PRES_OK;
                overlaps += ++inside != 1;
                ++shared;
                --inside;
                for (int d = 0; d < c.depth; ++d)
                    failures += c.mutex->unlock() != PRES_OK;
            }
        });
        EXPECT_TRUE(shared == THREADS * rounds && overlaps == 0 && failures == 0) << c.depth;
        EXPECT_EQ(c.mutex->close(), PRES_OK);
    }
}

// Producers and consumers of a one-place queue share one condition variable
// for "not full" and "not empty", so every change must wake all of them: a
// wake-up of one thread of the wrong kind stalls the exchange. A wait that
// times out counts as a lost wake-up.
TEST(Contention, ProducersAndConsumersShareOneConditionVariable)
{
    PMutex mutex;
    PConditionalVar changed;
    ASSERT_TRUE(mutex.init() == PRES_OK && changed.init() == PRES_OK);
    const int perProducer = 500, capacity = 1;
    std::deque<int> queue;                                // under the mutex
    std::vector<int> seen(THREADS * perProducer, 0);       // under the mutex
    int producersLeft = THREADS;                           // under the mutex
    std::atomic<int> failures{0};

    // After the first failure every thread gives up at its next wake-up.
    auto waitFor = [&](const std::function<bool()>& ready) {
        while (!ready() && failures == 0)
            failures += changed.wait(&mutex, 5000) != PRES_OK;
        return ready();
    };
    std::vector<std::thread> threads;
    for (int p = 0; p < THREADS; ++p)
        threads.emplace_back([&, p] {
            for (int i = 0; i < perProducer; ++i) {
                mutex.lock();
                if (!waitFor([&] { return (int)queue.size() < capacity; })) {
                    mutex.unlock();
                    break;
                }
                queue.push_back(p * perProducer + i);
                failures += changed.notifyAll() != PRES_OK;
                mutex.unlock();
            }
            mutex.lock();
            --producersLeft;
            changed.notifyAll();
            mutex.unlock();
        });
    for (int c = 0; c < THREADS; ++c)
        threads.emplace_back([&] {
            mutex.lock();
            for (;;) {
                if (!waitFor([&] { return !queue.empty() || producersLeft == 0; }) || queue.empty())
                    break;
                ++seen[queue.front()];
                queue.pop_front();
                failures += changed.notifyAll() != PRES_OK;
            }
            mutex.unlock();
        });
    for (std::thread& t : threads)
        t.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), (long)seen.size()) << "an item was lost or taken twice";
    EXPECT_TRUE(changed.close() == PRES_OK && mutex.close() == PRES_OK);
}

// Posters and waiters on one semaphore, unnamed and named: every post is
// taken by exactly one wait, and the count ends where it started. Waiters that
// are still blocked after the posts are released by extra posts and counted.
TEST(Contention, SemaphorePostsAndWaitsBalanceAcrossThreads)
{
    const UniqueName name('s');
    PSemaphore unnamed, named(name.wide());
    for (PSemaphore* sem : {&unnamed, &named}) {
        ASSERT_EQ(sem->init(0, true), PRES_OK);
        const int perThread = 1000;
        std::atomic<int> taken{0}, waitersDone{0}, failures{0};
        std::vector<std::thread> threads;
        for (int i = 0; i < THREADS; ++i) {
            threads.emplace_back([&] {
                for (int k = 0; k < perThread; ++k)
                    failures += sem->post() != PRES_OK;
            });
            threads.emplace_back([&, i] {
                for (int k = 0; k < perThread; ++k) {
                    // Half the waiters poll, half block.
                    if (i % 2 == 0) {
                        while (sem->trywait() != PRES_OK)
                            std::this_thread::yield();
                    } else {
                        failures += sem->wait() != PRES_OK;
                    }
                    ++taken;
                }
                ++waitersDone;
            });
        }
        for (int waited = 0; waitersDone < THREADS && waited < 1000; ++waited)
            usleep(10000);
        const bool allDone = waitersDone == THREADS;
        for (int i = 0; !allDone && i < THREADS * perThread; ++i)
            sem->post();
        for (std::thread& t : threads)
            t.join();
        int value = -1;
        EXPECT_TRUE(allDone && failures == 0 && taken == THREADS * perThread) << "a post went missing";
        EXPECT_TRUE(sem->getValue(value) == PRES_OK && value == 0) << value;
        EXPECT_EQ(sem->close(), PRES_OK);
    }
}

// Each thread starts its own children at the same time as the others and must
// get back its own exit codes, not another thread's.
TEST(Contention, ProcessesStartFromSeveralThreadsAtOnce)
{
    TempDir dir;
    const std::string script = dir.file("exit.sh");
    writeFile(script, "#!/bin/sh\nexit \"$1\"\n");
    ASSERT_EQ(chmod(script.c_str(), 0755), 0);
    const int perThread = 3;
    std::atomic<int> ready{0}, failures{0};
    std::fflush(nullptr);
    runThreads(THREADS, [&](int t) {
        for (++ready; ready < THREADS;)
            std::this_thread::yield();
        for (int k = 0; k < perThread; ++k) {
            const int code = 10 + t * perThread + k;
            PProcess child(PString(script.c_str()), PString(std::to_string(code).c_str()));
            int exitCode = -1;
            failures += child.start() != PRES_OK;
            failures += child.waitExitCode(exitCode) != PRES_OK || exitCode != code;
        }
    });
    EXPECT_EQ(failures, 0);
}
