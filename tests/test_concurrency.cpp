// The synchronisation objects and process starts under real contention. Each
// test shares plain data only under the object it tests, so that a broken
// exclusion shows as a wrong count here and as a race under ThreadSanitizer.
#include <algorithm>
#include <deque>
#include "testSupport.h"

namespace {
const int THREADS = 4;

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
    const SemName name('m');
    PMutex unnamed, named(name.wide());
    for (const auto& c : {std::make_pair(&unnamed, 2), {&named, 1}}) {
        ASSERT_EQ(c.first->init(true), PRES_OK);
        const int rounds = 2000;
        long shared = 0; // only touched under the mutex
        std::atomic<int> inside{0}, overlaps{0}, failures{0};
        runThreads(THREADS, [&](int) {
            for (int r = 0; r < rounds; ++r) {
                for (int d = 0; d < c.second; ++d)
                    failures += c.first->lock() != PRES_OK;
                overlaps += ++inside != 1;
                ++shared;
                --inside;
                for (int d = 0; d < c.second; ++d)
                    failures += c.first->unlock() != PRES_OK;
            }
        });
        EXPECT_TRUE(shared == THREADS * rounds && overlaps == 0 && failures == 0) << c.second;
        EXPECT_EQ(c.first->close(), PRES_OK);
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
    std::deque<int> queue; // these three under the mutex
    std::vector<int> seen(THREADS * perProducer, 0);
    int producersLeft = THREADS;
    std::atomic<int> failures{0};
    // After the first failure every thread gives up at its next wake-up.
    auto waitFor = [&](const std::function<bool()>& ready) {
        while (!ready() && failures == 0)
            failures += changed.wait(&mutex, 5000) != PRES_OK;
        return ready();
    };
    // Threads below THREADS produce, the others consume.
    runThreads(2 * THREADS, [&](int t) {
        mutex.lock();
        for (int i = 0; t < THREADS && i < perProducer; ++i) {
            if (!waitFor([&] { return (int)queue.size() < capacity; }))
                break;
            queue.push_back(t * perProducer + i);
            failures += changed.notifyAll() != PRES_OK;
        }
        if (t < THREADS)
            --producersLeft, changed.notifyAll();
        while (t >= THREADS && waitFor([&] { return !queue.empty() || producersLeft == 0; }) && !queue.empty()) {
            ++seen[queue.front()];
            queue.pop_front();
            failures += changed.notifyAll() != PRES_OK;
        }
        mutex.unlock();
    });
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(std::count(seen.begin(), seen.end(), 1), (long)seen.size()) << "an item was lost or taken twice";
    EXPECT_TRUE(changed.close() == PRES_OK && mutex.close() == PRES_OK);
}

// Posters and waiters on one semaphore, unnamed and named: every post is
// taken by exactly one wait, and the count ends where it started. Waiters that
// are still blocked after the posts are released by extra posts and counted.
TEST(Contention, SemaphorePostsAndWaitsBalanceAcrossThreads)
{
    const SemName name('s');
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
                    while (i % 2 == 0 && sem->trywait() != PRES_OK)
                        std::this_thread::yield();
                    failures += i % 2 == 1 && sem->wait() != PRES_OK;
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
            PProcess child(widen(script), widen(std::to_string(code)));
            int exitCode = -1;
            failures += child.start() != PRES_OK || child.waitExitCode(exitCode) != PRES_OK || exitCode != code;
        }
    });
    EXPECT_EQ(failures, 0);
}
