// PThread: create/join/cancel, the no-thread paths, the object dying under a
// running thread, and psleep.
#include <semaphore.h>
#include <time.h>
#include <unistd.h>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

// Posted by the thread at its start and again on its way out; released by the test.
static sem_t gStarted, gRelease;

static void* waitForRelease(void*)
{
    sem_post(&gStarted);
    sem_wait(&gRelease);
    sem_post(&gStarted);
    return nullptr;
}

// Bounded, so that a fault fails the test instead of hanging it.
static bool waitFor(sem_t* s)
{
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 10;
    return sem_timedwait(s, &deadline) == 0;
}

TEST(PThread, JoinTakesTheResultTerminateCancelsWithoutJoining)
{
    auto addOne = [](void* arg) -> void* { return (char*)arg + 1; };
    PThread t;
    char base = 0;
    void* result = nullptr;
    ASSERT_EQ(t.pcreate(addOne, &base), PRES_OK);
    EXPECT_TRUE(t.pjoin(result) == PRES_OK && result == &base + 1);
    EXPECT_EQ(t.pjoin(result), PTHREAD_ERR_NO_THREAD);
    EXPECT_EQ(t.pterminate(nullptr), PTHREAD_ERR_NO_THREAD);
    EXPECT_FALSE(t.isAlive());

    // The joined object takes a new thread; pause is a cancellation point.
    ASSERT_EQ(t.pcreate([](void*) -> void* { for (;;) pause(); }, nullptr), PRES_OK);
    EXPECT_EQ(t.pcreate(addOne, nullptr), PTHREAD_ERR_ALREADY_CREATED);
    EXPECT_TRUE(t.isAlive());
    pthread_t id = t.getThreadId();
    EXPECT_EQ(t.pterminate(nullptr), PRES_OK);
    ASSERT_EQ(pthread_join(id, &result), 0); // still joinable: not detached
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

TEST(PThread, ObjectDyingLeavesItsThreadRunning)
{
    sem_init(&gStarted, 0, 0), sem_init(&gRelease, 0, 0); // never destroyed: the thread runs on
    {
        PThread t;
        ASSERT_EQ(t.pcreate(waitForRelease, nullptr), PRES_OK);
        ASSERT_TRUE(waitFor(&gStarted));
    }
    sem_post(&gRelease);
    EXPECT_TRUE(waitFor(&gStarted)); // it ran on to its end
}

TEST(PThread, SleepUsesA32BitProduct)
{
    unsigned long long start = get_ticks_nano();
    PThread::psleep(4294968); // wraps to 704 microseconds instead of 71 minutes
    EXPECT_LT(get_ticks_nano() - start, 1000000000ULL);
}
