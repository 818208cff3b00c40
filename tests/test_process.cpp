// Child processes, process trees and process queries, with real children:
// shell scripts written to a private directory, sleep and echo.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "qrixPProcess.h"
#include "qrix_macosx.h"
#include "testSupport.h"

namespace {

const unsigned int NO_SUCH_PID = 0x7fffffff; // above any pid_max

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
    waitUntil([&] { return pathExists(path) && !(text = readFile(path)).empty() && text.back() == '\n'; });
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

// Neither gone nor a zombie.
bool isAlive(unsigned int pid)
{
    std::string path = "/proc/" + std::to_string(pid) + "/stat";
    std::string text = pathExists(path) ? readFile(path) : "";
    size_t close = text.rfind(')');
    return close != std::string::npos && close + 2 < text.size() && text[close + 2] != 'Z';
}

bool contains(const std::vector<unsigned int>& v, unsigned int x)
{
    return std::find(v.begin(), v.end(), x) != v.end();
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

// For children whose arguments hold blanks, which PProcess cannot pass.
pid_t forkExec(const std::vector<std::string>& args)
{
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    std::fflush(stdout);
    std::fflush(stderr);
    pid_t pid = fork();
    if (pid == 0) {
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

// A script that says when it is ready, reports SIGTERM in a file and
// otherwise runs until killed.
std::string waitingScript(const TempDir& dir, const std::string& name)
{
    std::string script = dir.file(name + ".sh");
    writeFile(script, "trap 'echo > " + dir.file(name + ".term") + "; exit 3' TERM\necho > " +
                          dir.file(name + ".ready") + "\nwhile :; do sleep 0.1; done\n");
    return script;
}

int exitCodeOf(PProcess& process)
{
    int exitCode = 12345;
    EXPECT_EQ(PRES_OK, process.start());
    EXPECT_EQ(PRES_OK, process.waitExitCode(exitCode));
    return exitCode;
}

} // namespace

TEST(ProcessLifecycle, ExitCodesTellWhyAChildEnded)
{
    TempDir dir;
    CapturedStderr quiet;
    PProcess missingProgram(L"/nonexistent/program", L"");
    EXPECT_EQ(2, exitCodeOf(missingProgram));
    PProcess missingDir(L"/bin/true", L"", wide(dir.file("none")).c_str());
    EXPECT_EQ(139, exitCodeOf(missingDir));
    // Arguments split on blanks, so the shell's own ${IFS} joins its words.
    PProcess terminated(L"/bin/sh", L"-c kill${IFS}-TERM${IFS}$$");
    EXPECT_EQ(-15, exitCodeOf(terminated));
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
    CapturedStderr quiet;
    EXPECT_EQ(0, exitCodeOf(process));

    EXPECT_EQ("[a][][b][c]", readFile(dir.file("args")));
    EXPECT_EQ(work + "\n", readFile(dir.file("pwd")));
    std::string childEnv = "\n" + readFile(dir.file("env"));
    EXPECT_NE(std::string::npos, childEnv.find("\nQRIX_EMPTY=\n"));
    EXPECT_NE(std::string::npos, childEnv.find("\nQRIX_TWO=x=y\n"));
    EXPECT_NE(std::string::npos, childEnv.find("\nQRIX_PROC_OVERRIDE=child\n"));
    EXPECT_EQ(std::string::npos, childEnv.find("QRIX_NO_EQUALS"));
}

TEST(ProcessLifecycle, RunningChildIsRefusedAwaitedAndRemembered)
{
    TempDir dir;
    std::wstring cmdLine = wide(waitingScript(dir, "run")) + L" x";
    PProcess process(L"/bin/sh", cmdLine.c_str(), L"/");
    ChildGuard guard;
    ASSERT_EQ(PRES_OK, process.start());
    unsigned int first = 0;
    unsigned int again = 0;
    ASSERT_EQ(PRES_OK, process.getPID(first));
    guard.pids.push_back(first);
    ASSERT_TRUE(waitForFile(dir.file("run.ready")));
    EXPECT_EQ(PPROCESS_ERR_START, process.start());
    ASSERT_EQ(PRES_OK, process.getPID(again));
    EXPECT_EQ(first, again);
    EXPECT_TRUE(process.waitFinish(500));
    PString text;
    EXPECT_EQ(PRES_OK, process.getWorkingDir(text));
    EXPECT_EQ(L"/", wide(text));

    // The static kill asks politely, unlike the object's.
    EXPECT_EQ(PRES_OK, PProcess::kill(first));
    EXPECT_TRUE(waitForFile(dir.file("run.term")));
    EXPECT_FALSE(process.waitFinish(5000));
    int exitCode = 0;
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.waitExitCode(exitCode)); // already collected
    EXPECT_EQ(-1, exitCode);
    // The child is gone but still remembered: path and line fall back to what was given.
    CapturedStderr quiet;
    EXPECT_EQ(PRES_OK, process.getPath(text));
    EXPECT_EQ(L"/bin/sh", wide(text));
    EXPECT_EQ(PRES_OK, process.getCmdLine(text));
    EXPECT_EQ(cmdLine, wide(text));
}

TEST(ProcessLifecycle, ObjectKillForces)
{
    TempDir dir;
    ChildGuard guard;
    PProcess process(L"/bin/sh", wide(waitingScript(dir, "forced")).c_str());
    ASSERT_EQ(PRES_OK, process.start());
    unsigned int pid = 0;
    ASSERT_EQ(PRES_OK, process.getPID(pid));
    guard.pids.push_back(pid);
    ASSERT_TRUE(waitForFile(dir.file("forced.ready")));
    // SIGKILL cannot be trapped, so the script never writes its file.
    EXPECT_EQ(PRES_OK, process.kill());
    EXPECT_FALSE(isAlive(pid));
    EXPECT_FALSE(pathExists(dir.file("forced.term")));
}

TEST(ProcessTree, ZombieSweepAndMissingProcesses)
{
    pid_t child = forkExec({"/bin/sh", "-c", "exit 0"});
    ASSERT_GT(child, 0);
    ASSERT_TRUE(waitUntil([&] { return !isAlive((unsigned int)child); })); // a zombie until collected
    bool running = false;
    EXPECT_EQ(PRES_OK, check_pid_running_mac(child, running));
    EXPECT_TRUE(running); // a zombie still has its record
    EXPECT_EQ(PRES_OK, PProcess::isRunning((unsigned int)child, running));
    EXPECT_FALSE(running);
    EXPECT_EQ(-1, waitpid(child, nullptr, WNOHANG));

    CapturedStderr quiet;
    EXPECT_FALSE(PProcess::waitFinish(NO_SUCH_PID, 10000));
    EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::kill(NO_SUCH_PID));
    unsigned int ppid = 99;
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getParentPID(NO_SUCH_PID, ppid));
    EXPECT_EQ(0u, ppid);
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

    ScopedEnv debug("PL_DEBUG", "1");
    CapturedStderr err;
    EXPECT_EQ(PRES_OK, PProcess::killTree(root));
    std::string log = err.text();
    auto killing = [&](unsigned int pid) {
        return log.find("[PL_DBG]<01> [PProcess::killTree] killing pid [" + std::to_string(pid) + "]\n");
    };
    ASSERT_NE(std::string::npos, killing(grand));
    EXPECT_LT(killing(root), std::min(killing(mid), killing(stubborn)));
    EXPECT_LT(std::max(killing(mid), killing(stubborn)), killing(grand));
    EXPECT_NE(std::string::npos, log.find("pid[" + std::to_string(stubborn) + "] is still alive.\n"));
    EXPECT_EQ(1, countOccurrences(log, "is still alive."));
    for (unsigned int pid : guard.pids)
        EXPECT_TRUE(waitUntil([&] { return !isAlive(pid); })) << pid;
}

TEST(ProcessQuery, ChildWithAWaywardNameAndAQuotedArgument)
{
    // Blanks and parentheses in the command name, and a name past the
    // kernel's 15 characters.
    TempDir dir;
    std::string program = dir.file("a) (long program name");
    ASSERT_EQ(0, symlink("/bin/sh", program.c_str()));
    std::string script = waitingScript(dir, "query");
    ChildGuard guard;
    pid_t child = forkExec({program, script, "a", "b c"});
    ASSERT_GT(child, 0);
    unsigned int pid = (unsigned int)child;
    guard.pids.push_back(pid);
    ASSERT_TRUE(waitForFile(dir.file("query.ready")));

    PString text;
    EXPECT_EQ(PRES_OK, PProcess::getName(pid, text));
    EXPECT_EQ(L"a) (long progra", wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getPath(pid, text));
    EXPECT_EQ(std::filesystem::canonical("/bin/sh").wstring(), wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getCmdLine(pid, text));
    EXPECT_EQ(wide("\"" + program + "\" " + script + " a \"b c\""), wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getWorkingDir(pid, text));
    EXPECT_EQ(std::filesystem::current_path().wstring(), wide(text));

    unsigned int ppid = 0;
    EXPECT_EQ(PRES_OK, PProcess::getParentPID(pid, ppid));
    EXPECT_EQ(PProcess::getCurrentPID(), ppid);
    std::vector<unsigned int> pids = {7};
    EXPECT_EQ(PRES_OK, PProcess::getChildPID(PProcess::getCurrentPID(), pids));
    EXPECT_TRUE(contains(pids, pid) && !contains(pids, 7));
    EXPECT_EQ(PRES_OK, PProcess::listPIDs(pids));
    EXPECT_TRUE(contains(pids, 1) && contains(pids, PProcess::getCurrentPID()) && contains(pids, pid));

    // The cut status name sends the comparison to the command line's program.
    pids = {7};
    std::vector<unsigned int> ppids = {8};
    EXPECT_EQ(PRES_OK, PProcess::find(L"/elsewhere/A) (LONG PROGRAM NAME", pids, ppids));
    ASSERT_EQ(pids.size(), ppids.size());
    EXPECT_EQ(7u, pids[0]);
    size_t at = std::find(pids.begin(), pids.end(), pid) - pids.begin();
    ASSERT_LT(at, pids.size());
    EXPECT_EQ(PProcess::getCurrentPID(), ppids[at]);
}

TEST(ProcessQuery, OwnProcessAnswers)
{
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
}
