#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

namespace {
// The wall clock, which the timed wait's deadline follows.
long long wallUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}
} // namespace

TEST(PConditionalVarTest, CodesFollowTheLifecycleAndTheOrderOfChecks)
{
    PConditionalVar cond;
    PMutex named(L"/qrix-never-created"), bare, ready;
    ASSERT_EQ(ready.init(), PRES_OK);
    EXPECT_TRUE(cond.notify() == PCOND_ERR_NOT_INIT && cond.close() == PMUTEX_ERR_NOT_INIT);
    {
        // The level-20 line comes after the mutex checks, before the variable's.
        ScopedEnv debug("PL_DEBUG", "20");
        CapturedStderr err;
        EXPECT_EQ(cond.wait(nullptr, 7), PRES_INVALID_ARG);
        EXPECT_EQ(cond.wait(&named, 7), PCOND_ERR_NAMED_MUTEX);
        EXPECT_EQ(cond.wait(&bare, 7), PCOND_ERR_MUTEX_NOT_INIT);
        EXPECT_EQ(cond.wait(&ready, 7), PCOND_ERR_NOT_INIT);
        EXPECT_EQ(cond.wait(&named), PCOND_ERR_NAMED_MUTEX);
        EXPECT_EQ(cond.wait(&ready), PCOND_ERR_NOT_INIT);
        char expected[96];
        std::snprintf(expected, sizeof expected, "[PL_DBG]<20> [PConditionalVar::wait] iMutex:%p iTimeout:7\n",
                      (void*)&ready);
        EXPECT_EQ(err.text(), expected);
    }
    ASSERT_TRUE(cond.init() == PRES_OK && cond.init() == PCOND_ERR_ALREADY_INIT);
    EXPECT_TRUE(cond.close() == PRES_OK && cond.close() == PMUTEX_ERR_NOT_INIT);
}

TEST(PConditionalVarTest, TimedWaitEndsAtItsDeadline)
{
    PConditionalVar cond;
    PMutex mutex;
    ASSERT_TRUE(cond.init() == PRES_OK && mutex.init() == PRES_OK && mutex.lock() == PRES_OK);
    long long started = wallUs();
    EXPECT_EQ(cond.wait(&mutex, 0), PCOND_ERR_TIMEOUT);
    EXPECT_LT(wallUs() - started, 1000000);

    // Late in a second the 500 ms part has to carry into the next one.
    while (wallUs() % 1000000 < 600000)
        usleep(1000);
    started = wallUs();
    EXPECT_EQ(cond.wait(&mutex, 1500), PCOND_ERR_TIMEOUT);
    EXPECT_GE(wallUs() - started, 1500000);
    EXPECT_EQ(mutex.unlock(), PRES_OK);
}

// Three consumers wait for the gate; one broadcast must release them all.
// Then each token, announced with a single notify, is taken by one of them.
TEST(PConditionalVarTest, NotifyAllWakesEveryWaiterAndNotifyOne)
{
    PMutex mutex;
    PConditionalVar cond;
    bool open = false;
    int tokens = 0, waiting = 0, released = 0, taken = 0, failures = 0;
    ASSERT_TRUE(mutex.init() == PRES_OK && cond.init() == PRES_OK);
    auto locked = [&](auto action) {
        mutex.lock();
        auto result = action();
        mutex.unlock();
        return result;
    };
    // Polls under the lock, for at most five seconds.
    auto eventually = [&](auto done) {
        for (int waited = 0; !locked(done) && waited < 5000; waited += 5)
            usleep(5000);
        return locked(done);
    };
    std::vector<std::thread> consumers;
    for (int i = 0; i < 3; ++i)
        consumers.emplace_back([&] {
            mutex.lock();
            for (++waiting; !open;)
                failures += cond.wait(&mutex) != PRES_OK;
            for (++released; tokens == 0;)
                failures += cond.wait(&mutex) != PRES_OK;
            --tokens, ++taken;
            mutex.unlock();
        });

    // Counted in and let go of the mutex: all three sit in the wait.
    EXPECT_TRUE(eventually([&] { return waiting == 3; }));
    EXPECT_EQ(locked([&] { open = true; return cond.notifyAll(); }), PRES_OK);
    EXPECT_TRUE(eventually([&] { return released == 3; }));
    for (int produced = 1; produced <= 3; ++produced) {
        EXPECT_EQ(locked([&] { ++tokens; return cond.notify(); }), PRES_OK);
        EXPECT_TRUE(eventually([&] { return taken == produced; })) << "token " << produced;
    }
    // Releases whoever still waits when a check above failed.
    locked([&] { open = true; tokens += 3; return cond.notifyAll(); });
    for (auto& t : consumers)
        t.join();
    EXPECT_EQ(failures, 0);
}

TEST(PCounterTest, ArithmeticWrapsAndTheSyncCounterCountsDespiteItsMutex)
{
    PCounter c(5), top(INT_MAX);
    EXPECT_TRUE((c -= 7) == -2 && c < 0 && c <= -2 && c != 0 && c >= -2 && !(c > -2));
    EXPECT_TRUE(c < top && c <= top && top > c && top >= c && c != top && !(c == top));
    EXPECT_EQ((int)++top, INT_MIN);
    EXPECT_EQ((int)(top -= PCounter(1)), INT_MAX);

    // Its lock calls fail at once and quietly; the counting goes on.
    ScopedEnv debug("PL_DEBUG", "99");
    CapturedStderr err;
    PCounterSync s(3);
    EXPECT_EQ((int)(s += 4), 7);
    EXPECT_EQ(s.change(-10), -3);
    s = 12;
    EXPECT_TRUE(PCounterSync(s) == 12);
    EXPECT_EQ(err.text(), "");
}
