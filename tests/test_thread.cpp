// PThread: create/join/detach/cancel, the no-thread paths, the object dying
// under a running thread, psleep, and the thread number shim.
#include <semaphore.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

namespace {

void* addOne(void* arg)
{
    return (char*)arg + 1;
}

// A thread that says it started and then blocks until released (a
// cancellation point). The object must outlive the thread's start.
struct Gate {
    sem_t started, release, finished;
    Gate() { sem_init(&started, 0, 0), sem_init(&release, 0, 0), sem_init(&finished, 0, 0); }
    ~Gate() { sem_destroy(&started), sem_destroy(&release), sem_destroy(&finished); }
};

void* waitAtGate(void* arg)
{
    Gate* g = (Gate*)arg;
    sem_post(&g->started);
    while (sem_wait(&g->release) != 0) {
    }
    sem_post(&g->finished);
    return nullptr;
}

// Bounded, so that a fault fails the test instead of hanging it.
bool waitFor(sem_t* s)
{
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 10;
    return sem_timedwait(s, &deadline) == 0;
}

double msSince(const timespec& a)
{
    timespec b{};
    clock_gettime(CLOCK_MONOTONIC, &b);
    return (b.tv_sec - a.tv_sec) * 1e3 + (b.tv_nsec - a.tv_nsec) / 1e6;
}

} // namespace

TEST(PThread, JoinTakesTheResultAndForgetsTheThread)
{
    PThread t;
    char base[2] = {};
    void* result = nullptr;
    ASSERT_EQ(t.pcreate(addOne, base), PRES_OK);
    ASSERT_EQ(t.pjoin(result), PRES_OK);
    EXPECT_EQ(result, base + 1);
    EXPECT_EQ(t.pjoin(result), PTHREAD_ERR_NO_THREAD);
    EXPECT_EQ(t.pdetach(), PTHREAD_ERR_NO_THREAD);
    EXPECT_EQ(t.pterminate(nullptr), PTHREAD_ERR_NO_THREAD);
    ASSERT_EQ(t.pcreate(addOne, base + 1), PRES_OK); // usable again
    ASSERT_EQ(t.pjoin(result), PRES_OK);
    EXPECT_EQ(result, base + 2);

    ScopedEnv env("PL_DEBUG", "20");
    CapturedStderr err;
    EXPECT_FALSE(t.isAlive());
    EXPECT_EQ(err.text(), ""); // no handle: pthread_kill is not even tried
}

TEST(PThread, SecondCreateIsRefusedTerminateCancelsWithoutJoining)
{
    Gate g;
    PThread t;
    ASSERT_EQ(t.pcreate(waitAtGate, &g), PRES_OK);
    ASSERT_TRUE(waitFor(&g.started));
    pthread_t id = t.getThreadId();
    EXPECT_EQ(t.pcreate(addOne, nullptr), PTHREAD_ERR_ALREADY_CREATED);
    {
        ScopedEnv env("PL_DEBUG", "20");
        CapturedStderr err;
        EXPECT_TRUE(t.isAlive());
        EXPECT_EQ(err.text().rfind("[PL_DBG]<20> [PThread::isAlive] pthread_kill(0x", 0), 0u);
    }
    EXPECT_EQ(t.pterminate(nullptr), PRES_OK); // cancels the first thread
    EXPECT_EQ(t.getThreadId(), (pthread_t)0);
    void* result = nullptr;
    ASSERT_EQ(pthread_join(id, &result), 0); // still joinable: not detached
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST(PThread, ObjectDyingLeavesItsThreadRunning)
{
    static Gate g; // the detached thread may still be leaving sem_post at exit
    {
        PThread t;
        ASSERT_EQ(t.pcreate(waitAtGate, &g), PRES_OK);
        ASSERT_TRUE(waitFor(&g.started));
    }
    sem_post(&g.release);
    EXPECT_TRUE(waitFor(&g.finished));
}

TEST(PThread, SleepUsesA32BitProduct)
{
    timespec start{};
    clock_gettime(CLOCK_MONOTONIC, &start);
    PThread::psleep(200);
    EXPECT_GE(msSince(start), 200.0);
    clock_gettime(CLOCK_MONOTONIC, &start);
    PThread::psleep(4294968); // wraps to 704 microseconds instead of 71 minutes
    EXPECT_LT(msSince(start), 1000.0);
}

void* tidOfThread(void* out)
{
    *(int*)out = gettid_mac();
    return nullptr;
}

TEST(ThreadNumber, KernelThreadIdAndItsLine)
{
    int other = 0;
    PThread t;
    void* unused = nullptr;
    ASSERT_EQ(t.pcreate(tidOfThread, &other), PRES_OK);
    ASSERT_EQ(t.pjoin(unused), PRES_OK);
    EXPECT_NE(other, 0);
    EXPECT_NE(other, gettid_mac());

    ScopedEnv env("PL_DEBUG", "10");
    CapturedStderr err;
    int tid = gettid_mac();
    char expected[96];
    std::snprintf(expected, sizeof expected, "[PL_DBG]<10> [gettid_mac] syscall(%d) -> %p\n", (int)SYS_gettid,
                  (void*)(long)tid);
    EXPECT_EQ(err.text(), expected);
    EXPECT_EQ(tid, (int)syscall(SYS_gettid));
}
