// PThread: create/join/detach/cancel, their failures, the object dying under a
// running thread, and psleep.
#include <semaphore.h>
#include <time.h>
#include "testSupport.h"

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
    EXPECT_EQ(t.getThreadId(), (pthread_t)0);
    ASSERT_EQ(t.pcreate(addOne, &base), PRES_OK);
    EXPECT_TRUE(t.pjoin(result) == PRES_OK && result == &base + 1);
    struct { PThread::ThreadProc proc; void* arg; } pair{addOne, &base}; // what a new thread receives
    EXPECT_EQ(PThread::_proxyThreadProc(&pair), &base + 1);
    const int none[] = {t.pjoin(result), t.pdetach(), t.pterminate(nullptr)};
    for (int res : none)
        EXPECT_EQ(res, PTHREAD_ERR_NO_THREAD);
    EXPECT_FALSE(t.isAlive());

    // The joined object takes a new thread; pause is a cancellation point.
    ASSERT_EQ(t.pcreate([](void*) -> void* { for (;;) pause(); }, nullptr), PRES_OK);
    EXPECT_EQ(t.pcreate(addOne, nullptr), PTHREAD_ERR_ALREADY_CREATED);
    EXPECT_TRUE(printsFromLevel(20, "[PL_DBG]<20> [PThread::isAlive] pthread_kill(0x", [&] { EXPECT_TRUE(t.isAlive()); }));
    pthread_t id = t.getThreadId();
    EXPECT_EQ(t.pterminate(nullptr), PRES_OK);
    ASSERT_EQ(pthread_join(id, &result), 0); // still joinable: not detached
    EXPECT_EQ(result, PTHREAD_CANCELED);

    // The thread sees itself under the id the object holds.
    pthread_t seen = 0;
    t.setName("ignored");
    ASSERT_EQ(t.pcreate([](void* out) -> void* { return *(pthread_t*)out = PThread::getCurrentThreadId(), nullptr; },
                        &seen), PRES_OK);
    id = t.getThreadId();
    EXPECT_TRUE(t.pjoin(result) == PRES_OK && pthread_equal(seen, id) && !pthread_equal(seen, pthread_self()));
    EXPECT_TRUE(pthread_equal(PThread::getCurrentThreadId(), pthread_self()));
}

// A failed join or detach reports at level -1 and still forgets the thread.
TEST(PThread, FailedJoinAndDetachForgetTheThread)
{
    if (kThreadSanitizer)
        GTEST_SKIP() << "joins itself and detaches twice";
    sem_init(&gStarted, 0, 0), sem_init(&gRelease, 0, 0);
    PThread self;
    int joined = 0;
    // Joining itself fails; the thread then lets itself go.
    auto joinSelf = [](void* arg) -> void* {
        void* ignored;
        *(int*)((void**)arg)[1] = ((PThread*)((void**)arg)[0])->pjoin(ignored);
        pthread_detach(pthread_self());
        sem_post(&gStarted);
        return nullptr;
    };
    void* args[] = {&self, &joined};
    EXPECT_TRUE(printsFromLevel(-1, "[PL_DBG]<-1> [PThread::pjoin] Failed to pthread_join(0x", [&] {
        ASSERT_EQ(self.pcreate(joinSelf, args), PRES_OK);
        ASSERT_TRUE(waitFor(&gStarted));
        EXPECT_TRUE(joined == PTHREAD_ERR_JOIN && self.getThreadId() == (pthread_t)0);
    }));

    PThread t;
    EXPECT_TRUE(printsFromLevel(-1, "[PL_DBG]<-1> [PThread::pdetach] pthread_detach(id:0x", [&] {
        ASSERT_EQ(t.pcreate(waitForRelease, nullptr), PRES_OK);
        ASSERT_TRUE(waitFor(&gStarted));
        pthread_detach(t.getThreadId());
        EXPECT_TRUE(t.pdetach() == PTHREAD_ERR_DETACH && t.pdetach() == PTHREAD_ERR_NO_THREAD);
        sem_post(&gRelease);
        EXPECT_TRUE(waitFor(&gStarted));
    }));
    ASSERT_EQ(t.pcreate(waitForRelease, nullptr), PRES_OK);
    EXPECT_TRUE(waitFor(&gStarted) && t.pdetach() == PRES_OK && !t.isAlive());
    sem_post(&gRelease);
    EXPECT_TRUE(waitFor(&gStarted));
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
    PThread::psleep(50);
    EXPECT_GE(get_ticks_nano() - start, 50000000ULL);
    start = get_ticks_nano();
    PThread::psleep(4294968); // wraps to 704 microseconds instead of 71 minutes
    EXPECT_LT(get_ticks_nano() - start, 1000000000ULL);
}
