#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

namespace {
// 13 characters, unique per test run; names for sem_open start with '/'.
std::string uniqueName(char tag)
{
    return "/qx" + std::string(1, tag) + std::to_string(1000000000 + getpid()).substr(1);
}

bool nameExists(const std::string& name)
{
    return pathExists("/dev/shm/sem." + name.substr(1));
}

// Leaves no name behind when a test fails half-way.
struct NameGuard {
    std::string name;
    PString wide() const { return PString(name.c_str()); }
    ~NameGuard() { sem_unlink(name.c_str()); }
};

struct Pipe {
    int fd[2];
    Pipe() { EXPECT_EQ(pipe2(fd, O_CLOEXEC), 0); }
    ~Pipe() { ::close(fd[0]), ::close(fd[1]); }
    void send(char c) { (void)!write(fd[1], &c, 1); }
    // The byte read, or -1 when nothing came within timeoutMs.
    int receive(int timeoutMs = 5000)
    {
        pollfd p{fd[0], POLLIN, 0};
        char c = 0;
        return poll(&p, 1, timeoutMs) == 1 && read(fd[0], &c, 1) == 1 ? c : -1;
    }
};
} // namespace

TEST(SyncTest, CodesFollowTheLifecycle)
{
    NameGuard guard{uniqueName('a')};
    PMutex plain, named(guard.wide());
    for (PMutex* m : {&plain, &named}) {
        EXPECT_TRUE(m->lock() == PMUTEX_ERR_NOT_INIT && m->close() == PMUTEX_ERR_NOT_INIT);
        ASSERT_EQ(m->init(), PRES_OK);
        EXPECT_EQ(m->init(true), PMUTEX_ERR_ALREADY_INIT);
        EXPECT_TRUE(m->close() == PRES_OK && m->close() == PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->unlock(), PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->init(), PRES_OK);
    }

    PSemaphore sem;
    int value = -1;
    for (int res : {sem.post(), sem.wait(), sem.wait(10), sem.trywait(), sem.getValue(value), sem.close()})
        EXPECT_EQ(res, PSEM_ERR_NOT_INIT);
    ASSERT_EQ(sem.init(1, true), PRES_OK);
    EXPECT_EQ(sem.init(1, true), PSEM_ERR_ALREADY_INIT);
    {
        // The timed wait never waits and leaves the count.
        ScopedEnv debug("PL_DEBUG", "10");
        CapturedStderr err;
        EXPECT_EQ(sem.wait(1500), PSEM_ERR_WAIT);
        EXPECT_EQ(err.text(), "[PL_DBG]<10> [sem_timedwait_mac] not implemented timeout [1.500000000]\n");
    }
    // Only an errno left over from before tells the two failures apart.
    errno = ETIMEDOUT;
    EXPECT_EQ(sem.wait(10), PSEM_ERR_TIMEOUT);
    EXPECT_TRUE(sem.trywait() == PRES_OK && sem.trywait() == PSEM_ERR_WAIT);
    EXPECT_TRUE(sem.post() == PRES_OK && sem.getValue(value) == PRES_OK && value == 1);
    EXPECT_TRUE(sem.close() == PRES_OK && sem.close() == PSEM_ERR_NOT_INIT);

    // Failed inits report; a failed unnamed one keeps its storage, so the
    // object counts as open until closed.
    PSemaphore namedSem(PString(uniqueName('e').c_str()));
    CapturedStderr err;
    EXPECT_EQ(namedSem.init(UINT_MAX, true), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(namedSem.init(0, false), PSEM_ERR_NOT_FOUND);
    EXPECT_EQ(sem.init(UINT_MAX, false), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(err.text(), "\n\n[DBGONLY][PSemaphore::init] Failed to create/open: 1 sem errno: 22 Invalid argument\n\n"
                          "\n\n[DBGONLY][PSemaphore::init] Failed to sem_init errno: 22 Invalid argument\n\n");
    EXPECT_TRUE(sem.init(1, false) == PSEM_ERR_ALREADY_INIT && sem.close() == PRES_OK && sem.init(1, false) == PRES_OK);
}

TEST(SyncTest, RecursiveLockHoldsOffOthersUntilFullyReleased)
{
    PMutex mutex;
    ASSERT_TRUE(mutex.init() == PRES_OK && mutex.lock() == PRES_OK && mutex.lock() == PRES_OK);
    std::atomic<bool> acquired{false};
    std::thread other([&] { acquired = mutex.lock() == PRES_OK && mutex.unlock() == PRES_OK; });
    EXPECT_EQ(mutex.unlock(), PRES_OK);
    usleep(200000);
    EXPECT_FALSE(acquired) << "one unlock of two released the mutex";
    EXPECT_EQ(mutex.unlock(), PRES_OK);
    other.join();
    EXPECT_TRUE(acquired);
}

// The parent holds the mutex and the semaphore (count 0) that it created;
// the child opens both, and each side's close removes a name from the system.
TEST(SyncTest, NamedMutexAndSemaphoreAreSharedBetweenProcesses)
{
    NameGuard mutexName{uniqueName('m')}, semName{uniqueName('s')};
    PMutex creator(mutexName.wide());
    PSemaphore counter(semName.wide());
    Pipe events, go;
    ASSERT_TRUE(creator.init(true) == PRES_OK && creator.lock() == PRES_OK && counter.init(0, true) == PRES_OK);
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(10); // bounds the parent's wait too
        _exit([&] {
            PMutex second(mutexName.wide()), opened(mutexName.wide());
            PSemaphore secondSem(semName.wide()), openedSem(semName.wide());
            if (second.init(true) != PMUTEX_ERR_EXISTS || opened.init(false) != PRES_OK ||
                secondSem.init(0, true) != PSEM_ERR_EXISTS || openedSem.init(0, false) != PRES_OK)
                return 10;
            events.send('o');
            if (opened.lock() != PRES_OK)
                return 11;
            events.send('l');
            if (opened.unlock() != PRES_OK || opened.close() != PRES_OK || openedSem.wait() != PRES_OK)
                return 12;
            events.send('w');
            // Holds its handle open until the creator has closed.
            return go.receive() == 'c' ? 0 : 13;
        }());
    }
    EXPECT_EQ(events.receive(), 'o');
    EXPECT_EQ(events.receive(300), -1) << "the child got a mutex its parent holds";
    EXPECT_EQ(creator.unlock(), PRES_OK);
    EXPECT_EQ(events.receive(), 'l');
    EXPECT_EQ(events.receive(300), -1) << "the child passed a semaphore of count 0";
    EXPECT_EQ(counter.post(), PRES_OK);
    EXPECT_EQ(events.receive(), 'w');
    EXPECT_TRUE(counter.close() == PRES_OK && !nameExists(semName.name));
    go.send('c');
    int status = -1;
    EXPECT_TRUE(waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;

    // The opener's close removed the mutex name; the creator's handle still closes.
    EXPECT_FALSE(nameExists(mutexName.name));
    PSemaphore lateSem(semName.wide());
    EXPECT_EQ(lateSem.init(0, false), PSEM_ERR_NOT_FOUND);
    CapturedStderr err;
    PMutex late(mutexName.wide());
    EXPECT_EQ(late.init(false), PMUTEX_ERR_NOT_FOUND);
    EXPECT_EQ(err.text(), "\n\n[DBGONLY][PMuthex::init] Failed to create/open: 0 sem errno: 2 "
                          "No such file or directory\n\n");
    EXPECT_EQ(creator.close(), PRES_OK);
}

TEST(SyncTest, OverlongNamesAreCutAfterThirteenCharacters)
{
    // The system refuses 300 characters and 253 after the slash (with
    // different errors) but takes 251 whole.
    NameGuard mutexName{uniqueName('L')}, semName{uniqueName('K')}, fitting{uniqueName('F') + std::string(239, 'z')};
    PMutex longMutex(PString((mutexName.name + std::string(287, 'x')).c_str()));
    PSemaphore longSem(PString((semName.name + std::string(241, 'y')).c_str())), whole(fitting.wide());
    ASSERT_TRUE(longMutex.init(true) == PRES_OK && longSem.init(4, true) == PRES_OK && whole.init(0, true) == PRES_OK);
    EXPECT_TRUE(nameExists(mutexName.name) && nameExists(semName.name) && nameExists(fitting.name));
    // Close unlinks the shortened name, the one the system knows.
    EXPECT_TRUE(longMutex.close() == PRES_OK && longSem.close() == PRES_OK);
    EXPECT_FALSE(nameExists(mutexName.name) || nameExists(semName.name));
}
