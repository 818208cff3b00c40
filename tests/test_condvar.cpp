#include <sys/time.h>
#include <unistd.h>

#include <atomic>
#include <climits>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qrixPConditionalVar.h"
#include "qrixPCounter.h"
#include "testSupport.h"

namespace {
long long wallUs()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    return (long long)now.tv_sec * 1000000 + now.tv_usec;
}

template <class Pred>
bool eventually(Pred done)
{
    for (int waited = 0; !done() && waited < 5000; waited += 5)
        usleep(5000);
    return done();
}
} // namespace

TEST(PConditionalVarTest, CodesFollowTheLifecycleAndTheOrderOfChecks)
{
    PConditionalVar cond;
    PMutex named(L"/qrix-never-created"), bare, ready;
    ASSERT_EQ(ready.init(false), PRES_OK);
    EXPECT_EQ(cond.notify(), PCOND_ERR_NOT_INIT);
    EXPECT_EQ(cond.notifyAll(), PCOND_ERR_NOT_INIT);
    EXPECT_EQ(cond.close(), PMUTEX_ERR_NOT_INIT);
    {
        // The level-20 line comes after the mutex checks, before the variable's.
        ScopedEnv debug("PL_DEBUG", "20");
        CapturedStderr err;
        EXPECT_EQ(cond.wait(nullptr, 7), PRES_INVALID_ARG);
        EXPECT_EQ(cond.wait(&named, 7), PCOND_ERR_NAMED_MUTEX);
        EXPECT_EQ(cond.wait(&bare, 7), PCOND_ERR_MUTEX_NOT_INIT);
        EXPECT_EQ(cond.wait(&ready, 7), PCOND_ERR_NOT_INIT);
        EXPECT_EQ(cond.wait(&ready), PCOND_ERR_NOT_INIT);
        char expected[96];
        std::snprintf(expected, sizeof expected, "[PL_DBG]<20> [PConditionalVar::wait] iMutex:%p iTimeout:7\n",
                      (void*)&ready);
        EXPECT_EQ(err.text(), expected);
    }
    ASSERT_EQ(cond.init(), PRES_OK);
    EXPECT_EQ(cond.init(), PCOND_ERR_ALREADY_INIT);
    EXPECT_EQ(cond.wait(nullptr), PRES_INVALID_ARG);
    EXPECT_EQ(cond.wait(&named), PCOND_ERR_NAMED_MUTEX);
    EXPECT_EQ(cond.wait(&bare), PCOND_ERR_MUTEX_NOT_INIT);
    EXPECT_EQ(cond.notifyAll(), PRES_OK);
    EXPECT_EQ(cond.close(), PRES_OK);
    EXPECT_EQ(cond.close(), PMUTEX_ERR_NOT_INIT);
}

TEST(PConditionalVarTest, TimedWaitEndsAtItsDeadline)
{
    PConditionalVar cond;
    PMutex mutex;
    ASSERT_EQ(cond.init(), PRES_OK);
    ASSERT_EQ(mutex.init(false), PRES_OK);
    ASSERT_EQ(mutex.lock(), PRES_OK);
    long long started = wallUs();
    EXPECT_EQ(cond.wait(&mutex, 0), PCOND_ERR_TIMEOUT);
    EXPECT_LT(wallUs() - started, 1000000);

    // Late in a second the 500 ms part has to carry into the next one.
    while (wallUs() % 1000000 < 600000)
        usleep(1000);
    started = wallUs();
    EXPECT_EQ(cond.wait(&mutex, 1500), PCOND_ERR_TIMEOUT);
    long long waited = wallUs() - started;
    EXPECT_GE(waited, 1500000);
    EXPECT_LT(waited, 3000000);
    EXPECT_EQ(mutex.unlock(), PRES_OK);
}

TEST(PConditionalVarTest, NotifyAllWakesEveryWaiterAndNotifyOne)
{
    PMutex mutex;
    PConditionalVar cond;
    bool open = false;
    int tokens = 0, waiting = 0;
    std::atomic<int> released{0}, taken{0}, failures{0};
    ASSERT_EQ(mutex.init(false), PRES_OK);
    ASSERT_EQ(cond.init(), PRES_OK);
    auto awaitUntil = [&](auto ready) {
        while (!ready())
            failures += cond.wait(&mutex) != PRES_OK;
    };
    std::vector<std::thread> consumers;
    for (int i = 0; i < 3; ++i)
        consumers.emplace_back([&] {
            mutex.lock();
            ++waiting;
            awaitUntil([&] { return open; });
            ++released;
            awaitUntil([&] { return tokens > 0; });
            --tokens;
            ++taken;
            mutex.unlock();
        });
    auto underLock = [&](auto action) {
        mutex.lock();
        auto result = action();
        mutex.unlock();
        return result;
    };

    // Once all three have counted themselves and let go of the mutex they
    // all sit in the wait: one broadcast has to release every one of them.
    EXPECT_TRUE(eventually([&] { return underLock([&] { return waiting == 3; }); }));
    EXPECT_EQ(underLock([&] { open = true; return cond.notifyAll(); }), PRES_OK);
    EXPECT_TRUE(eventually([&] { return released == 3; }));
    for (int produced = 1; produced <= 3; ++produced) {
        EXPECT_EQ(underLock([&] { ++tokens; return cond.notify(); }), PRES_OK);
        EXPECT_TRUE(eventually([&] { return taken == produced; })) << "token " << produced;
    }

    // Releases whoever still waits when a check above failed.
    underLock([&] { open = true; tokens += 3; return cond.notifyAll(); });
    for (auto& t : consumers)
        t.join();
    EXPECT_EQ(failures, 0);
}

namespace {
// Records what the operators hand to the virtual operations.
class RecordingCounter : public PCounter {
public:
    using PCounter::PCounter;
    using PCounter::operator=;
    int change(int delta) override
    {
        calls += "c" + std::to_string(delta) + " ";
        return PCounter::change(delta);
    }
    void set(int value) override
    {
        calls += "s" + std::to_string(value) + " ";
        PCounter::set(value);
    }
    std::string calls;
};
} // namespace

TEST(PCounterTest, ArithmeticWrapsAndGoesThroughTheVirtualOperations)
{
    PCounter c(5), top(INT_MAX), low(0);
    c -= 7;
    EXPECT_TRUE(c == -2 && c < 0 && c <= -2 && c != 0 && c >= -2 && !(c > -2));
    EXPECT_TRUE(c < top && c <= top && top > c && top >= c && c != top && !(c == top));
    EXPECT_EQ((int)++top, INT_MIN);
    EXPECT_EQ((int)--top, INT_MAX);
    EXPECT_EQ((int)(top += PCounter(INT_MAX)), -2);
    EXPECT_EQ((int)(low -= INT_MIN), INT_MIN);
    EXPECT_EQ((int)(low -= PCounter(1)), INT_MAX);

    RecordingCounter r(10);
    r += 3;
    r -= PCounter(4);
    ++r;
    --r;
    r = 42;
    r = PCounter(-7);
    EXPECT_EQ(r.calls, "c3 c-4 c1 c-1 s42 s-7 ");
    EXPECT_EQ((int)r, -7);
}

TEST(PCounterSyncTest, CountsDespiteItsUninitialisedMutex)
{
    ScopedEnv debug("PL_DEBUG", "99");
    CapturedStderr err;
    PCounterSync s(3);
    s += 4;
    EXPECT_EQ((int)s, 7);
    EXPECT_EQ(s.change(-10), -3);
    s = 12;
    PCounterSync copy(s);
    EXPECT_TRUE(copy == 12);
    EXPECT_EQ(err.text(), "");
}
