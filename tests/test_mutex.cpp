#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include "qrixPMutex.h"
#include "qrixPSemaphore.h"
#include "testSupport.h"

namespace {
constexpr int kBoundMs = 5000;

// 13 characters, unique per test run; names for sem_open start with '/'.
std::string uniqueName(char tag)
{
    char buf[32];
    std::snprintf(buf, sizeof buf, "/qx%c%09d", tag, (int)getpid());
    return buf;
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
    int receive(int timeoutMs)
    {
        pollfd p{fd[0], POLLIN, 0};
        char c;
        return poll(&p, 1, timeoutMs) == 1 && read(fd[0], &c, 1) == 1 ? c : -1;
    }
};

// A forked child whose exit code is body's result; killed if still there at the end.
class Child {
public:
    template <class Body>
    explicit Child(Body body)
    {
        std::fflush(nullptr);
        if ((fPid = fork()) == 0)
            _exit(body());
    }
    ~Child()
    {
        if (fPid > 0 && kill(fPid, SIGKILL) == 0)
            waitpid(fPid, nullptr, 0);
    }
    // -1 when the child did not end in time.
    int exitCode()
    {
        int status = 0;
        for (int waited = 0; fPid > 0 && waited < kBoundMs; waited += 5, usleep(5000))
            if (waitpid(fPid, &status, WNOHANG) == fPid) {
                fPid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
        return -1;
    }

private:
    pid_t fPid;
};
} // namespace

TEST(PMutexTest, CodesFollowTheLifecycle)
{
    NameGuard guard{uniqueName('a')};
    PMutex plain, named(guard.wide());
    for (PMutex* m : {&plain, &named}) {
        EXPECT_EQ(m->lock(), PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->unlock(), PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->close(), PMUTEX_ERR_NOT_INIT);
        ASSERT_EQ(m->init(true), PRES_OK);
        EXPECT_EQ(m->init(true), PMUTEX_ERR_ALREADY_INIT);
        EXPECT_EQ(m->close(), PRES_OK);
        EXPECT_EQ(m->close(), PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->lock(), PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->init(true), PRES_OK);
    }
}

TEST(PMutexTest, RecursiveLockHoldsOffOthersUntilFullyReleased)
{
    PMutex mutex;
    ASSERT_EQ(mutex.init(false), PRES_OK);
    ASSERT_EQ(mutex.lock(), PRES_OK);
    ASSERT_EQ(mutex.lock(), PRES_OK);
    std::atomic<bool> acquired{false};
    std::thread other([&] {
        acquired = mutex.lock() == PRES_OK;
        mutex.unlock();
    });
    usleep(100000);
    EXPECT_FALSE(acquired);
    EXPECT_EQ(mutex.unlock(), PRES_OK);
    usleep(100000);
    EXPECT_FALSE(acquired) << "one unlock of two released the mutex";
    EXPECT_EQ(mutex.unlock(), PRES_OK);
    for (int waited = 0; !acquired && waited < kBoundMs; waited += 5)
        usleep(5000);
    EXPECT_TRUE(acquired);
    other.join();
}

TEST(PMutexTest, NamedMutexIsSharedBetweenProcesses)
{
    NameGuard guard{uniqueName('m')};
    PMutex creator(guard.wide());
    ASSERT_EQ(creator.init(true), PRES_OK);
    ASSERT_EQ(creator.lock(), PRES_OK);
    Pipe events;
    Child child([&] {
        PMutex second(guard.wide()), opened(guard.wide());
        if (second.init(true) != PMUTEX_ERR_EXISTS || opened.init(false) != PRES_OK)
            return 10;
        events.send('o');
        if (opened.lock() != PRES_OK)
            return 11;
        events.send('l');
        return opened.unlock() == PRES_OK && opened.close() == PRES_OK ? 0 : 12;
    });
    ASSERT_EQ(events.receive(kBoundMs), 'o');
    EXPECT_EQ(events.receive(300), -1) << "the child got a mutex its parent holds";
    EXPECT_EQ(creator.unlock(), PRES_OK);
    EXPECT_EQ(events.receive(kBoundMs), 'l');
    EXPECT_EQ(child.exitCode(), 0);

    // The opener's close removed the name; the creator's handle still closes.
    EXPECT_FALSE(nameExists(guard.name));
    CapturedStderr err;
    PMutex late(guard.wide());
    EXPECT_EQ(late.init(false), PMUTEX_ERR_NOT_FOUND);
    EXPECT_EQ(err.text(), "\n\n[DBGONLY][PMuthex::init] Failed to create/open: 0 sem errno: 2 "
                          "No such file or directory\n\n");
    EXPECT_EQ(creator.close(), PRES_OK);
}

TEST(PSemaphoreTest, CodesFollowTheLifecycleAndCount)
{
    PSemaphore sem;
    int value = -1;
    EXPECT_EQ(sem.post(), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.wait(), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.wait(10), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.trywait(), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.getValue(value), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.close(), PSEM_ERR_NOT_INIT);
    ASSERT_EQ(sem.init(2, true), PRES_OK);
    EXPECT_EQ(sem.init(2, true), PSEM_ERR_ALREADY_INIT);
    EXPECT_EQ(sem.trywait(), PRES_OK);
    EXPECT_EQ(sem.wait(), PRES_OK);
    EXPECT_EQ(sem.trywait(), PSEM_ERR_WAIT);
    EXPECT_EQ(sem.post(), PRES_OK);
    EXPECT_EQ(sem.getValue(value), PRES_OK);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(sem.close(), PRES_OK);
    EXPECT_EQ(sem.close(), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.post(), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(sem.init(0, false), PRES_OK);
}

TEST(PSemaphoreTest, TimedWaitNeverWaitsNorTakesTheCount)
{
    PSemaphore sem;
    ASSERT_EQ(sem.init(3, false), PRES_OK);
    {
        ScopedEnv debug("PL_DEBUG", "10");
        CapturedStderr err;
        EXPECT_EQ(sem.wait(5000), PSEM_ERR_WAIT);
        EXPECT_EQ(sem.wait(1500), PSEM_ERR_WAIT);
        EXPECT_EQ(err.text(), "[PL_DBG]<10> [sem_timedwait_mac] not implemented timeout [5.0]\n"
                              "[PL_DBG]<10> [sem_timedwait_mac] not implemented timeout [1.500000000]\n");
    }
    int value = -1;
    EXPECT_EQ(sem.getValue(value), PRES_OK);
    EXPECT_EQ(value, 3);
    // Only an errno left over from before tells the two failures apart.
    errno = ETIMEDOUT;
    EXPECT_EQ(sem.wait(10), PSEM_ERR_TIMEOUT);
}

TEST(PSemaphoreTest, FailedInitsReportAndUnnamedKeepsItsStorage)
{
    NameGuard guard{uniqueName('e')};
    PSemaphore sem, named(guard.wide());
    CapturedStderr err;
    EXPECT_EQ(named.init(UINT_MAX, true), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(named.init(0, false), PSEM_ERR_NOT_FOUND);
    EXPECT_EQ(sem.init(UINT_MAX, false), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(err.text(), "\n\n[DBGONLY][PSemaphore::init] Failed to create/open: 1 sem errno: 22 Invalid argument\n\n"
                          "\n\n[DBGONLY][PSemaphore::init] Failed to sem_init errno: 22 Invalid argument\n\n");
    EXPECT_EQ(sem.init(1, false), PSEM_ERR_ALREADY_INIT);
    EXPECT_EQ(sem.close(), PRES_OK);
    EXPECT_EQ(sem.init(1, false), PRES_OK);
}

TEST(PSemaphoreTest, NamedSemaphoreIsSharedBetweenProcesses)
{
    NameGuard guard{uniqueName('s')};
    PSemaphore creator(guard.wide());
    ASSERT_EQ(creator.init(0, true), PRES_OK);
    Pipe events, go;
    Child child([&] {
        PSemaphore second(guard.wide()), opened(guard.wide()), late(guard.wide());
        if (second.init(0, true) != PSEM_ERR_EXISTS || opened.init(0, false) != PRES_OK)
            return 10;
        events.send('o');
        if (opened.wait() != PRES_OK)
            return 11;
        events.send('w');
        // Once the creator has closed, the name is gone but this handle still counts.
        int value = -1;
        if (go.receive(kBoundMs) != 'c' || late.init(0, false) != PSEM_ERR_NOT_FOUND)
            return 12;
        if (opened.post() != PRES_OK || opened.getValue(value) != PRES_OK || value != 1)
            return 13;
        return opened.close() == PRES_OK ? 0 : 14;
    });
    ASSERT_EQ(events.receive(kBoundMs), 'o');
    EXPECT_EQ(events.receive(300), -1) << "the child passed a semaphore of count 0";
    EXPECT_EQ(creator.post(), PRES_OK);
    EXPECT_EQ(events.receive(kBoundMs), 'w');
    EXPECT_EQ(creator.close(), PRES_OK);
    EXPECT_FALSE(nameExists(guard.name));
    go.send('c');
    EXPECT_EQ(child.exitCode(), 0);
}

TEST(NamedSyncTest, OverlongNamesAreCutAfterThirteenCharacters)
{
    // The system refuses 300 characters and 253 after the slash (with
    // different errors) but takes 251 whole.
    NameGuard mutexGuard{uniqueName('L')}, semGuard{uniqueName('K')};
    NameGuard fitting{uniqueName('F') + std::string(239, 'z')};
    PMutex longMutex(PString((mutexGuard.name + std::string(287, 'x')).c_str()));
    PSemaphore longSem(PString((semGuard.name + std::string(241, 'y')).c_str()));
    PSemaphore whole(fitting.wide());
    ASSERT_EQ(longMutex.init(true), PRES_OK);
    ASSERT_EQ(longSem.init(4, true), PRES_OK);
    ASSERT_EQ(whole.init(0, true), PRES_OK);
    EXPECT_TRUE(nameExists(fitting.name));

    PMutex shortMutex(mutexGuard.wide());
    PSemaphore shortSem(semGuard.wide());
    EXPECT_EQ(shortMutex.init(true), PMUTEX_ERR_EXISTS);
    ASSERT_EQ(shortSem.init(0, false), PRES_OK);
    int value = -1;
    EXPECT_EQ(shortSem.getValue(value), PRES_OK);
    EXPECT_EQ(value, 4);

    // Close unlinks the shortened name, the one the system knows.
    EXPECT_EQ(longMutex.close(), PRES_OK);
    EXPECT_EQ(longSem.close(), PRES_OK);
    EXPECT_FALSE(nameExists(mutexGuard.name));
    EXPECT_FALSE(nameExists(semGuard.name));
}
