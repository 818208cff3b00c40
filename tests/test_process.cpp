// Child processes, process trees and process queries, with real children:
// shell scripts written to a private directory, sleep and echo.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qrixPProcess.h"
#include "qrix_macosx.h"
#include "testSupport.h"

namespace {

const unsigned int NO_SUCH_PID = INT_MAX; // above any pid_max

template <class Done>
bool waitUntil(Done done)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

bool waitForFile(const std::string& path)
{
    return waitUntil([&] { return pathExists(path); });
}

// A pid file counts once its line is complete.
unsigned int readPidFile(const std::string& path)
{
    std::string text;
    waitUntil([&] {
        text = pathExists(path) ? readFile(path) : "";
        return !text.empty() && text.back() == '\n';
    });
    return (unsigned int)std::strtoul(text.c_str(), nullptr, 10);
}

std::wstring wide(const std::string& s)
{
    return std::wstring(s.begin(), s.end());
}

std::wstring wide(const PLiteral& s)
{
    return s.ptr() ? std::wstring(s.ptr(), s.len()) : std::wstring();
}

std::wstring realPath(const std::string& path)
{
    char* resolved = realpath(path.c_str(), nullptr);
    std::wstring out = resolved ? wide(std::string(resolved)) : std::wstring();
    std::free(resolved);
    return out;
}

char procState(unsigned int pid)
{
    std::string path = "/proc/" + std::to_string(pid) + "/stat";
    std::string text = pathExists(path) ? readFile(path) : "";
    size_t close = text.rfind(')');
    return close == std::string::npos || close + 2 >= text.size() ? 0 : text[close + 2];
}

bool isAlive(unsigned int pid)
{
    char state = procState(pid);
    return state != 0 && state != 'Z';
}

// Kills whatever a test left running, so that a failed assertion leaves no child.
struct ChildGuard {
    std::vector<unsigned int> pids;
    ~ChildGuard()
    {
        for (unsigned int pid : pids) {
            if (isAlive(pid))
                ::kill((pid_t)pid, SIGKILL);
            waitpid((pid_t)pid, nullptr, 0);
        }
    }
};

pid_t forkExec(const std::vector<std::string>& args, const std::string& cwd = ".")
{
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::fflush(stdout);
    std::fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        if (chdir(cwd.c_str()) == 0)
            execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// A shell loop that reports SIGTERM in a file and says when it is ready.
std::wstring termReporter(const TempDir& dir, const std::string& name)
{
    std::string script = dir.file(name + ".sh");
    writeFile(script, "trap 'echo term > " + dir.file(name + ".term") + "; exit 3' TERM\necho > " +
                          dir.file(name + ".ready") + "\nwhile :; do sleep 0.2; done\n");
    return wide(script);
}

// A script that runs until a "go" file appears.
std::wstring waitingScript(const TempDir& dir)
{
    writeFile(dir.file("wait.sh"), "echo > " + dir.file("ready") + "\nwhile [ ! -e " + dir.file("go") +
                                        " ]; do sleep 0.1; done\n");
    return wide(dir.file("wait.sh"));
}

int exitCodeOf(PProcess& process)
{
    int exitCode = 12345;
    EXPECT_EQ(PRES_OK, process.start());
    EXPECT_EQ(PRES_OK, process.waitExitCode(exitCode));
    return exitCode;
}

bool contains(const std::vector<unsigned int>& v, unsigned int x)
{
    for (unsigned int e : v)
        if (e == x)
            return true;
    return false;
}

} // namespace

TEST(ProcessLifecycle, ExitCodesTellWhyAChildEnded)
{
    TempDir dir;
    writeFile(dir.file("seven.sh"), "exit 7\n");
    PProcess missingProgram(L"/nonexistent/program", L"");
    EXPECT_EQ(2, exitCodeOf(missingProgram));
    PProcess missingDir(L"/bin/sh", wide(dir.file("seven.sh")).c_str(), wide(dir.file("none")).c_str());
    EXPECT_EQ(139, exitCodeOf(missingDir));
    PProcess script(L"/bin/sh", wide(dir.file("seven.sh")).c_str());
    EXPECT_EQ(7, exitCodeOf(script));
    int exitCode = 0;
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, script.waitExitCode(exitCode));
    EXPECT_EQ(-1, exitCode);

    PProcess sleeper(L"/bin/sleep", L"30");
    ChildGuard guard;
    ASSERT_EQ(PRES_OK, sleeper.start());
    unsigned int pid = 0;
    ASSERT_EQ(PRES_OK, sleeper.getPID(pid));
    guard.pids.push_back(pid);
    ASSERT_EQ(0, ::kill((pid_t)pid, SIGTERM));
    EXPECT_EQ(PRES_OK, sleeper.waitExitCode(exitCode));
    EXPECT_EQ(-15, exitCode);

    PProcess blank(L"   ", L"x");
    EXPECT_EQ(PRES_NOT_FOUND, blank.start());
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, blank.getPID(pid));
}

TEST(ProcessLifecycle, ArgumentsEnvironmentAndDirectoryReachTheChild)
{
    TempDir dir;
    std::string work = dir.file("work");
    ASSERT_EQ(0, mkdir(work.c_str(), 0775));
    writeFile(dir.file("show.sh"), "for a in \"$@\"; do printf '[%s]' \"$a\"; done > " + dir.file("args") +
                                       "\npwd > " + dir.file("pwd") + "\nenv > " + dir.file("env") + "\n");
    ScopedEnv inherited("QRIX_PROC_OVERRIDE", "parent");
    std::vector<PString> env = {L"QRIX_NO_EQUALS", L"QRIX_EMPTY=", L"QRIX_TWO=x=y", L"QRIX_PROC_OVERRIDE=child"};
    // Outer blanks are trimmed; two blanks inside leave an empty argument.
    std::wstring cmdLine = L"  " + wide(dir.file("show.sh")) + L" a  b c  ";
    PProcess process(L" /bin/sh ", cmdLine.c_str(), (L" " + wide(work) + L" ").c_str(), env);
    CapturedStderr err;
    EXPECT_EQ(0, exitCodeOf(process));

    EXPECT_NE(std::string::npos, err.text().find("Invalid environment variable. Syntax is '<name>=<value>'"));
    EXPECT_EQ("[a][][b][c]", readFile(dir.file("args")));
    EXPECT_EQ(work + "\n", readFile(dir.file("pwd")));
    std::string childEnv = "\n" + readFile(dir.file("env"));
    EXPECT_NE(std::string::npos, childEnv.find("\nQRIX_EMPTY=\n"));
    EXPECT_NE(std::string::npos, childEnv.find("\nQRIX_TWO=x=y\n"));
    EXPECT_NE(std::string::npos, childEnv.find("\nQRIX_PROC_OVERRIDE=child\n"));
    EXPECT_EQ(std::string::npos, childEnv.find("QRIX_NO_EQUALS"));
}

TEST(ProcessLifecycle, SecondStartIsRefusedAndOnlyStaticKillTerminates)
{
    TempDir dir;
    ChildGuard guard;
    PProcess process(L"/bin/sh", termReporter(dir, "forced").c_str());
    ASSERT_EQ(PRES_OK, process.start());
    ASSERT_TRUE(waitForFile(dir.file("forced.ready")));
    unsigned int first = 0;
    unsigned int again = 0;
    ASSERT_EQ(PRES_OK, process.getPID(first));
    guard.pids.push_back(first);
    EXPECT_EQ(PPROCESS_ERR_START, process.start());
    ASSERT_EQ(PRES_OK, process.getPID(again));
    EXPECT_EQ(first, again);

    // SIGKILL cannot be trapped, so this reporter never writes its file.
    EXPECT_EQ(PRES_OK, process.kill());
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.getPID(again));
    EXPECT_FALSE(isAlive(first));
    EXPECT_FALSE(pathExists(dir.file("forced.term")));

    unsigned int polite = 0;
    ASSERT_EQ(PRES_OK, PProcess::start(L"/bin/sh", termReporter(dir, "polite").c_str(), polite));
    guard.pids.push_back(polite);
    ASSERT_TRUE(waitForFile(dir.file("polite.ready")));
    EXPECT_EQ(PRES_OK, PProcess::kill(polite));
    ASSERT_TRUE(waitForFile(dir.file("polite.term")));
    EXPECT_FALSE(PProcess::waitFinish(polite, 5000));
}

TEST(ProcessLifecycle, WaitFinishCollectsAndQueriesFallBack)
{
    TempDir dir;
    std::wstring cmdLine = waitingScript(dir) + L" x";
    PProcess process(L"/bin/sh", cmdLine.c_str(), wide(dir.path()).c_str());
    ChildGuard guard;
    ASSERT_EQ(PRES_OK, process.start());
    unsigned int pid = 0;
    ASSERT_EQ(PRES_OK, process.getPID(pid));
    guard.pids.push_back(pid);
    ASSERT_TRUE(waitForFile(dir.file("ready")));

    PString text;
    EXPECT_EQ(PRES_OK, process.getName(text));
    EXPECT_EQ(L"sh", wide(text));
    EXPECT_EQ(PRES_OK, process.getCmdLine(text));
    EXPECT_EQ(L"/bin/sh " + cmdLine, wide(text));
    EXPECT_EQ(PRES_OK, process.getWorkingDir(text));
    EXPECT_EQ(realPath(dir.path()), wide(text));
    EXPECT_EQ(PPROCESS_ERR_START, process.startProcAsDifferentUser(L"u", L"p"));
    EXPECT_TRUE(process.waitFinish(500));

    writeFile(dir.file("go"), "");
    EXPECT_FALSE(process.waitFinish(5000));
    int exitCode = 0;
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.waitExitCode(exitCode)); // waitFinish took the status
    EXPECT_EQ(-1, exitCode);
    // The child is gone but still remembered: path and line fall back to what was given.
    EXPECT_EQ(PRES_OK, process.getPath(text));
    EXPECT_EQ(L"/bin/sh", wide(text));
    EXPECT_EQ(PRES_OK, process.getCmdLine(text));
    EXPECT_EQ(cmdLine, wide(text));
    EXPECT_EQ(PRES_NOT_FOUND, process.getName(text));
    EXPECT_EQ(PRES_NOT_FOUND, process.getWorkingDir(text));

    PProcess idle(L"/bin/sleep", L"30");
    unsigned long long bytes = 5;
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, idle.getPath(text));
    EXPECT_EQ(PRES_OK, idle.getMemoryUsage(bytes));
    EXPECT_EQ(0u, bytes);
    EXPECT_EQ(PRES_NOT_IMPLEMENTED, idle.startProcAsDifferentUser(L"u", L"p"));
    EXPECT_FALSE(idle.waitFinish(5000));
}

TEST(ProcessLifecycle, ChildOutlivesItsObject)
{
    ChildGuard guard;
    unsigned int pid = 0;
    {
        PProcess process(L"/bin/sleep", L"30");
        ASSERT_EQ(PRES_OK, process.start());
        ASSERT_EQ(PRES_OK, process.getPID(pid));
        guard.pids.push_back(pid);
    }
    EXPECT_TRUE(isAlive(pid));
}

TEST(ProcessTree, ZombieSweepAndMissingProcesses)
{
    pid_t child = forkExec({"/bin/sh", "-c", "exit 0"});
    ASSERT_GT(child, 0);
    ASSERT_TRUE(waitUntil([&] { return procState((unsigned int)child) == 'Z'; }));
    bool running = false;
    EXPECT_EQ(PRES_OK, check_pid_running_mac(child, running));
    EXPECT_TRUE(running); // a zombie still has its record
    EXPECT_EQ(PRES_OK, PProcess::isRunning((unsigned int)child, running));
    EXPECT_FALSE(running);
    EXPECT_EQ(-1, waitpid(child, nullptr, WNOHANG));

    CapturedStderr err;
    EXPECT_EQ(PRES_OK, PProcess::isRunning(NO_SUCH_PID, running));
    EXPECT_FALSE(running);
    EXPECT_FALSE(PProcess::waitFinish(NO_SUCH_PID, 10000));
    EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::kill(NO_SUCH_PID));
    unsigned int ppid = 99;
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getParentPID(NO_SUCH_PID, ppid));
    EXPECT_EQ(0u, ppid);
    PString text(L"stale");
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getName(NO_SUCH_PID, text));
    EXPECT_EQ(0u, text.len());
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getCmdLine(NO_SUCH_PID, text));
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getUserName(NO_SUCH_PID, text));
    EXPECT_NE(std::string::npos, err.text().find("[PL_DBG]<-1> [PProcess::killSignal] kill(2147483647, 15) failed."));
}

TEST(ProcessTree, TableGivesParentsAndChildrenWhateverTheCommandName)
{
    // The table's command field may hold blanks and parentheses.
    TempDir dir;
    ASSERT_EQ(0, symlink("/bin/sleep", dir.file("x) (y z").c_str()));
    ChildGuard guard;
    pid_t child = forkExec({dir.file("x) (y z"), "30"});
    ASSERT_GT(child, 0);
    guard.pids.push_back((unsigned int)child);
    ASSERT_TRUE(waitUntil([&] { return readFile("/proc/" + std::to_string(child) + "/comm") == "x) (y z\n"; }));

    unsigned int ppid = 0;
    EXPECT_EQ(PRES_OK, PProcess::getParentPID((unsigned int)child, ppid));
    EXPECT_EQ((unsigned int)getpid(), ppid);
    std::vector<unsigned int> pids = {42};
    EXPECT_EQ(PRES_OK, PProcess::getChildPID((unsigned int)getpid(), pids));
    EXPECT_TRUE(contains(pids, (unsigned int)child));
    EXPECT_FALSE(contains(pids, 42));
    EXPECT_EQ(PRES_OK, PProcess::getChildPID((unsigned int)child, pids));
    EXPECT_TRUE(pids.empty());
    EXPECT_EQ(PRES_OK, PProcess::listPIDs(pids));
    EXPECT_TRUE(contains(pids, 1) && contains(pids, (unsigned int)getpid()) && contains(pids, (unsigned int)child));

    // The pause after the signal lets our own child die and be collected.
    EXPECT_EQ(PRES_OK, PProcess::killSignal((unsigned int)child, PPROCESS_TERMINATE));
    EXPECT_EQ(-1, waitpid(child, nullptr, WNOHANG));
}

TEST(ProcessTree, KillTreeStopsRootFirstAndForcesWhatIgnoresTermination)
{
    // Orphans come back to us, so that their ends are collected here.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    TempDir dir;
    writeFile(dir.file("mid.sh"), "/bin/sleep 60 &\necho $! > " + dir.file("grand") + "\necho $$ > " +
                                      dir.file("mid") + "\nexec /bin/sleep 60\n");
    writeFile(dir.file("stubborn.sh"), "trap '' TERM\necho $$ > " + dir.file("stubborn") + "\nexec /bin/sleep 60\n");
    writeFile(dir.file("root.sh"), "/bin/sh " + dir.file("mid.sh") + " &\n/bin/sh " + dir.file("stubborn.sh") +
                                       " &\nexec /bin/sleep 60\n");
    ChildGuard guard;
    unsigned int root = 0;
    ASSERT_EQ(PRES_OK, PProcess::start(L"/bin/sh", wide(dir.file("root.sh")).c_str(), root));
    unsigned int mid = readPidFile(dir.file("mid"));
    unsigned int grand = readPidFile(dir.file("grand"));
    unsigned int stubborn = readPidFile(dir.file("stubborn"));
    guard.pids = {root, mid, grand, stubborn};
    ASSERT_TRUE(mid && grand && stubborn);
    // Every shell has become its sleep before the tree is taken.
    for (unsigned int pid : guard.pids)
        ASSERT_TRUE(waitUntil([&] { return readFile("/proc/" + std::to_string(pid) + "/comm") == "sleep\n"; }));

    ScopedEnv debug("PL_DEBUG", "1");
    CapturedStderr err;
    EXPECT_EQ(PRES_OK, PProcess::killTree(root));
    std::string log = err.text();
    auto killing = [&](unsigned int pid) {
        return log.find("[PL_DBG]<01> [PProcess::killTree] killing pid [" + std::to_string(pid) + "]\n");
    };
    ASSERT_NE(std::string::npos, killing(grand));
    EXPECT_LT(killing(root), killing(mid));
    EXPECT_LT(killing(root), killing(stubborn));
    EXPECT_LT(killing(mid), killing(grand));
    EXPECT_LT(killing(stubborn), killing(grand));
    EXPECT_NE(std::string::npos, log.find("pid[" + std::to_string(stubborn) + "] is still alive.\n"));
    EXPECT_EQ(1, countOccurrences(log, "is still alive."));
    for (unsigned int pid : guard.pids)
        EXPECT_TRUE(waitUntil([&] { return !isAlive(pid); })) << pid;
}

TEST(ProcessQuery, ChildWithLongNameAndQuotedArgument)
{
    TempDir dir;
    std::string program = dir.file("a_long_program_name_22");
    ASSERT_EQ(0, symlink("/bin/sh", program.c_str()));
    waitingScript(dir);
    ChildGuard guard;
    pid_t child = forkExec({program, dir.file("wait.sh"), "a", "b c"}, "/");
    ASSERT_GT(child, 0);
    unsigned int pid = (unsigned int)child;
    guard.pids.push_back(pid);
    ASSERT_TRUE(waitForFile(dir.file("ready")));

    PString text;
    EXPECT_EQ(PRES_OK, PProcess::getName(pid, text));
    EXPECT_EQ(L"a_long_program_", wide(text)); // the kernel keeps 15 characters
    EXPECT_EQ(PRES_OK, PProcess::getPath(pid, text));
    EXPECT_EQ(realPath("/bin/sh"), wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getCmdLine(pid, text));
    EXPECT_EQ(wide(program + " " + dir.file("wait.sh") + " a \"b c\""), wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getWorkingDir(pid, text));
    EXPECT_EQ(L"/", wide(text));

    // Past 15 characters the command line's program name decides, in any case.
    std::vector<unsigned int> pids = {7};
    std::vector<unsigned int> ppids = {8};
    EXPECT_EQ(PRES_OK, PProcess::find(L"/elsewhere/A_LONG_PROGRAM_NAME_22", pids, ppids));
    ASSERT_EQ(pids.size(), ppids.size());
    EXPECT_EQ(7u, pids[0]);
    size_t at = 0;
    while (at < pids.size() && pids[at] != pid)
        ++at;
    ASSERT_LT(at, pids.size());
    EXPECT_EQ((unsigned int)getpid(), ppids[at]);
    // The cut name is 15 long as well, so it too is compared with the command line.
    pids.clear();
    EXPECT_EQ(PRES_OK, PProcess::find(L"a_long_program_", pids, ppids));
    EXPECT_FALSE(contains(pids, pid));
}

TEST(ProcessQuery, OwnProcessAnswers)
{
    errno = 0;
    int expected = getpriority(PRIO_PROCESS, 0);
    int priority = 1000;
    EXPECT_EQ(PRES_OK, PProcess::getPriority(PProcess::getCurrentPID(), priority));
    EXPECT_EQ(expected, priority);
    // The status file says "Uid:" and the search for "uid" is case-sensitive,
    // so no id is read and no passwd line matches.
    PString user(L"stale");
    EXPECT_EQ(PRES_OK, PProcess::getUserName(PProcess::getCurrentPID(), user));
    EXPECT_EQ(0u, user.len());
    unsigned int usage = 1000;
    EXPECT_EQ(PRES_OK, PProcess::getSpecCPUUsage(0, usage));
    EXPECT_LE(usage, 100u);
    EXPECT_EQ(PRES_FAILED, PProcess::getSpecCPUUsage(4000000, usage));
}
