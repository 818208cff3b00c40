#include <poll.h>
#include <cerrno>
#include "testSupport.h"

namespace {
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
    SemName guard('a');
    PMutex plain, named(guard.wide()), same(guard.wide());
    for (PMutex* m : {&plain, &named}) {
        EXPECT_TRUE(m->lock() == PMUTEX_ERR_NOT_INIT && m->close() == PMUTEX_ERR_NOT_INIT);
        ASSERT_TRUE(m->init() == PRES_OK && m->init(true) == PMUTEX_ERR_ALREADY_INIT);
        EXPECT_TRUE(m->close() == PRES_OK && m->close() == PMUTEX_ERR_NOT_INIT && m->unlock() == PMUTEX_ERR_NOT_INIT);
        EXPECT_EQ(m->init(), PRES_OK);
    }
    EXPECT_TRUE(same.init(true) == PMUTEX_ERR_EXISTS && PSemaphore(guard.wide()).init(0) == PSEM_ERR_EXISTS &&
                same.init(false) == PRES_OK && same.close() == PRES_OK);
    EXPECT_EQ(stderrOf([] { EXPECT_EQ(PMutex(L"").init(), PMUTEX_ERR_NOT_INIT); }),
              "\n\n[DBGONLY][PMuthex::init] Failed to create/open: 1 sem errno: 22 Invalid argument\n\n");
    // Releasing what nobody holds, destroying what somebody holds.
    EXPECT_TRUE(kThreadSanitizer || (plain.unlock() == PMUTEX_ERR_UNLOCK && plain.lock() == PRES_OK &&
                                     plain.close() == PMUTEX_ERR_CLOSE && plain.lock() == PMUTEX_ERR_NOT_INIT));

    PSemaphore sem, namedSem(SemName('e').wide());
    int value = -1;
    for (int res : {sem.post(), sem.wait(), sem.wait(10), sem.trywait(), sem.getValue(value), sem.close()})
        EXPECT_EQ(res, PSEM_ERR_NOT_INIT);
    ASSERT_TRUE(sem.init(1, true) == PRES_OK && sem.init(1, true) == PSEM_ERR_ALREADY_INIT);
    // The timed wait never waits and leaves the count; only an errno left
    // over from before tells its two failures apart.
    ScopedEnv debug("PL_DEBUG", "10");
    CapturedStderr err;
    EXPECT_EQ(sem.wait(1500), PSEM_ERR_WAIT);
    // The trace leaves errno alone, even when it cannot be written.
    int saved = dup(2), devFull = open("/dev/full", O_WRONLY);
    dup2(devFull, 2);
    errno = ETIMEDOUT;
    int res = sem.wait(10), direct = sem_timedwait_mac(nullptr, nullptr);
    dup2(saved, 2), close(saved), close(devFull), clearerr(stderr);
    EXPECT_TRUE(res == PSEM_ERR_TIMEOUT && direct == PRES_NOT_IMPLEMENTED);
    EXPECT_TRUE(sem.trywait() == PRES_OK && sem.trywait() == PSEM_ERR_WAIT && sem.post() == PRES_OK &&
                sem.post() == PRES_OK && sem.wait() == PRES_OK && sem.getValue(value) == PRES_OK && value == 1);
    EXPECT_TRUE(sem.close() == PRES_OK && sem.close() == PSEM_ERR_NOT_INIT);

    // Failed inits report; a failed unnamed one keeps its storage, so the
    // object counts as open until closed.
    EXPECT_TRUE(namedSem.init(~0u, true) == PSEM_ERR_NOT_INIT && namedSem.init(0, false) == PSEM_ERR_NOT_FOUND);
    EXPECT_EQ(sem.init(~0u, false), PSEM_ERR_NOT_INIT);
    EXPECT_EQ(err.text(), "[PL_DBG]<10> [sem_timedwait_mac] not implemented timeout [1.500000000]\n"
                          "\n\n[DBGONLY][PSemaphore::init] Failed to create/open: 1 sem errno: 22 Invalid argument\n\n"
                          "\n\n[DBGONLY][PSemaphore::init] Failed to sem_init errno: 22 Invalid argument\n\n");
    EXPECT_TRUE(sem.init(1, false) == PSEM_ERR_ALREADY_INIT && sem.close() == PRES_OK && sem.init(1, false) == PRES_OK);
    EXPECT_TRUE(printsFromLevel(10, "[PL_DBG]<10> [sem_timedwait_mac] not implemented timeout [2.7000000]\n",
                                [&] { sem.wait(2007); }));
    PSemaphore full;
    EXPECT_TRUE(full.init(SEM_VALUE_MAX, true) == PRES_OK && full.post() == PSEM_ERR_POST);
}

// The parent holds the mutex and the semaphore (count 0) that it created;
// the child opens both and reports each step, 'x' for a failed one. The
// late ones look for the names after both sides have closed one handle.
TEST(SyncTest, NamedMutexAndSemaphoreAreSharedBetweenProcesses)
{
    SemName mutexName('m'), semName('s');
    PMutex creator(mutexName.wide()), second(mutexName.wide()), opened(mutexName.wide()), late(mutexName.wide());
    PSemaphore counter(semName.wide()), secondSem(semName.wide()), openedSem(semName.wide()), lateSem(semName.wide());
    Pipe events, go;
    ASSERT_TRUE(creator.init(true) == PRES_OK && creator.lock() == PRES_OK && counter.init(0, true) == PRES_OK);
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        alarm(10); // bounds the parent's wait too
        events.send(second.init(true) == PMUTEX_ERR_EXISTS && opened.init(false) == PRES_OK &&
                    secondSem.init(0, true) == PSEM_ERR_EXISTS && openedSem.init(0, false) == PRES_OK ? 'o' : 'x');
        events.send(opened.lock() == PRES_OK ? 'l' : 'x');
        events.send(opened.unlock() == PRES_OK && opened.close() == PRES_OK && openedSem.wait() == PRES_OK ? 'w' : 'x');
        // Holds its semaphore open until the creator has closed.
        _exit(go.receive() == 'c' ? 0 : 1);
    }
    EXPECT_TRUE(events.receive() == 'o' && events.receive(300) == -1) << "the child got a mutex its parent holds";
    EXPECT_EQ(creator.unlock(), PRES_OK);
    EXPECT_TRUE(events.receive() == 'l' && events.receive(300) == -1) << "the child passed a semaphore of count 0";
    EXPECT_TRUE(counter.post() == PRES_OK && events.receive() == 'w');

    // Either side's close removes the name, also while the other side holds it.
    EXPECT_TRUE(counter.close() == PRES_OK && lateSem.init(0, false) == PSEM_ERR_NOT_FOUND);
    EXPECT_EQ(stderrOf([&] { EXPECT_EQ(late.init(false), PMUTEX_ERR_NOT_FOUND); }),
              "\n\n[DBGONLY][PMuthex::init] Failed to create/open: 0 sem errno: 2 No such file or directory\n\n");
    EXPECT_EQ(creator.close(), PRES_OK);
    go.send('c');
    int status = -1;
    EXPECT_TRUE(waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(SyncTest, OverlongNamesAreCutAfterThirteenCharacters)
{
    // The system refuses 300 characters and 253 after the slash (with
    // different errors) but takes 251 whole.
    SemName mutexName('L'), semName('K'), fitting('F', std::string(239, 'z'));
    PMutex longMutex(PString((mutexName.name + std::string(287, 'x')).c_str()));
    PSemaphore longSem(PString((semName.name + std::string(241, 'y')).c_str())), whole(fitting.wide());
    ASSERT_TRUE(longMutex.init(true) == PRES_OK && longSem.init(4, true) == PRES_OK && whole.init(0, true) == PRES_OK);
    EXPECT_TRUE(mutexName.exists() && semName.exists() && fitting.exists());
    // Close unlinks the shortened name, the one the system knows.
    EXPECT_TRUE(longMutex.close() == PRES_OK && longSem.close() == PRES_OK && !mutexName.exists() && !semName.exists());
}
