#include <chrono>
#include <climits>
#include "testSupport.h"

TEST(PConditionalVarTest, CodesFollowTheLifecycleAndTheOrderOfChecks)
{
    PConditionalVar cond;
    PMutex named(L"/qrix-never-created"), bare, ready;
    EXPECT_TRUE(ready.init() == PRES_OK && cond.notify() == PCOND_ERR_NOT_INIT && cond.notifyAll() == PCOND_ERR_NOT_INIT &&
                cond.close() == PMUTEX_ERR_NOT_INIT);
    // The level-20 line comes after the mutex checks, before the variable's.
    const std::pair<PMutex*, int> cases[] = {{nullptr, PRES_INVALID_ARG}, {&named, PCOND_ERR_NAMED_MUTEX},
                                             {&bare, PCOND_ERR_MUTEX_NOT_INIT}, {&ready, PCOND_ERR_NOT_INIT}};
    char line[96];
    std::snprintf(line, sizeof line, "[PL_DBG]<20> [PConditionalVar::wait] iMutex:%p iTimeout:7\n", &ready);
    EXPECT_TRUE(printsFromLevel(20, "[PL_DBG]<20> [PConditionalVar::wait] ", [&] {
        for (const auto& c : cases)
            EXPECT_TRUE(cond.wait(c.first) == c.second && cond.wait(c.first, 7) == c.second) << c.second;
    }));
    EXPECT_TRUE(printsFromLevel(20, line, [&] { cond.wait(&ready, 7); }));
    ASSERT_TRUE(cond.init() == PRES_OK && cond.init() == PCOND_ERR_ALREADY_INIT);
    // Waiting without holding the mutex fails at once.
    EXPECT_TRUE(kThreadSanitizer || countOccurrences(stderrOf([&] {
        EXPECT_TRUE(cond.wait(&ready) == PCOND_ERR_WAIT && cond.wait(&ready, 5000) == PCOND_ERR_WAIT);
    }), "\n\n[DBGONLY][PConditionalVar::wait] Unable to wait with timeout res: 1\n\n") == 1);
    EXPECT_TRUE(cond.notify() == PRES_OK && cond.notifyAll() == PRES_OK);
    EXPECT_TRUE(cond.close() == PRES_OK && cond.close() == PMUTEX_ERR_NOT_INIT);
}

TEST(PConditionalVarTest, TimedWaitEndsAtItsDeadline)
{
    // The wall clock, which the deadline follows.
    using namespace std::chrono;
    auto wallUs = [] { return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count(); };
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

// The waiter holds the mutex until it sits in the wait, so the notify cannot
// come first; a time-out means the notify was lost. (Broadcasts are tested
// under contention.)
TEST(PConditionalVarTest, NotifyWakesAWaiter)
{
    PMutex mutex;
    PConditionalVar cond;
    ASSERT_TRUE(mutex.init() == PRES_OK && cond.init() == PRES_OK);
    std::atomic<bool> waiting{false};
    int res = -1;
    std::thread waiter([&] {
        mutex.lock();
        waiting = true;
        res = cond.wait(&mutex, 5000);
        mutex.unlock();
    });
    while (!waiting)
        usleep(1000);
    EXPECT_TRUE(mutex.lock() == PRES_OK && cond.notify() == PRES_OK && mutex.unlock() == PRES_OK);
    waiter.join();
    EXPECT_EQ(res, PRES_OK);
}

namespace {
// Logs every change and set, through which all operators must go.
struct LoggedCounter : PCounter {
    std::string log;
    explicit LoggedCounter(int value) : PCounter(value) {}
    int change(int delta) override { return log += "c" + std::to_string(delta) + " ", PCounter::change(delta); }
    void set(int value) override { log += "s" + std::to_string(value) + " ", PCounter::set(value); }
};
} // namespace

TEST(PCounterTest, ArithmeticWrapsAndTheSyncCounterCountsDespiteItsMutex)
{
    PCounter c(5), top(INT_MAX);
    EXPECT_TRUE((c -= 7) == -2 && c < 0 && c <= -2 && c != 0 && c >= -2 && !(c > -2) && !(c == 0));
    EXPECT_TRUE(c < top && c <= top && top > c && top >= c && c != top && !(c == top) && PCounter(c) == c &&
                c <= PCounter(c) && c >= PCounter(c) && PCounter() == 0 && PCounterSync() == 0);
    EXPECT_TRUE(++top == INT_MIN && (top -= PCounter(1)) == INT_MAX && --top == INT_MAX - 1 && (int)top == INT_MAX - 1);
    LoggedCounter logged(1);
    ((((((logged += 4) += PCounter(2)) -= 3) -= PCounter(-5)) = 9) = PCounter(8));
    ++logged, --logged;
    EXPECT_TRUE(logged.log == "c4 c2 c-3 c5 s9 s8 c1 c-1 " && logged == 8) << logged.log;

    // Its lock calls fail at once and quietly; the counting goes on.
    ScopedEnv debug("PL_DEBUG", "99");
    CapturedStderr err;
    PCounterSync s(3);
    EXPECT_TRUE((s += 4) == 7 && s.change(-10) == -3 && (s = 12) == 12 && PCounterSync(s) == 12 &&
                (s = PCounterSync(13)) == 13);
    EXPECT_EQ(err.text(), "");
}
