// Child processes, process trees and process queries, with real children:
// shell scripts written to a private directory, sleep and echo.
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "qrixPProcess.h"
#include "qrix_macosx.h"
#include "testSupport.h"

namespace {

const unsigned int NO_SUCH_PID = 0x7fffffff; // above any pid_max

template <class Done>
bool waitUntil(Done done)
{
    for (int i = 0; i < 1000 && !done(); ++i) // ten seconds at most
        usleep(10000);
    return done();
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
        for (unsigned int pid : pids)
            if (pid && ::kill((pid_t)pid, SIGKILL) == 0) // 0 would be our own group
                waitpid((pid_t)pid, nullptr, 0);
    }
};

// For children whose arguments hold blanks, which PProcess cannot pass.
unsigned int spawnChild(std::vector<std::string> args)
{
    std::vector<char*> argv;
    for (std::string& a : args)
        argv.push_back(&a[0]);
    argv.push_back(nullptr);
    pid_t pid = 0;
    return posix_spawn(&pid, argv[0], nullptr, nullptr, argv.data(), environ) == 0 ? (unsigned int)pid : 0;
}

// Says when it is ready, reports SIGTERM next to itself and otherwise runs until killed.
std::string waitingScript(const TempDir& dir, const std::string& name)
{
    writeFile(dir.file(name), "trap 'echo > \"$0.term\"; exit 3' TERM\necho > \"$0.ready\"\n"
                              "while :; do sleep 0.1; done\n");
    return dir.file(name);
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
    writeFile(dir.file("show.sh"), "{ printf '[%s]' \"$@\"; echo; pwd; env; } > out\n");
    ScopedEnv inherited("QRIX_PROC_OVERRIDE", "parent");
    std::vector<PString> env = {L"QRIX_NO_EQUALS", L"QRIX_EMPTY=", L"QRIX_TWO=x=y", L"QRIX_PROC_OVERRIDE=child"};
    // Outer blanks are trimmed; two blanks inside leave an empty argument.
    std::wstring cmdLine = L"  " + wide(dir.file("show.sh")) + L" a  b c  ";
    PProcess process(L" /bin/sh ", cmdLine.c_str(), (L" " + wide(dir.path()) + L" ").c_str(), env);
    CapturedStderr quiet;
    ASSERT_EQ(PRES_OK, process.start());
    EXPECT_FALSE(process.waitFinish(5000)); // collects the ended child, so the later wait finds none
    std::string out = readFile(dir.file("out"));
    EXPECT_EQ(0u, out.find("[a][][b][c]\n" + dir.path() + "\n")) << out;
    for (const char* entry : {"\nQRIX_EMPTY=\n", "\nQRIX_TWO=x=y\n", "\nQRIX_PROC_OVERRIDE=child\n"})
        EXPECT_NE(std::string::npos, out.find(entry)) << entry;
    EXPECT_EQ(std::string::npos, out.find("QRIX_NO_EQUALS"));

    // Collected, yet remembered: path and line fall back to what was given, trimmed.
    int exitCode = 0;
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.waitExitCode(exitCode));
    EXPECT_EQ(-1, exitCode);
    PString text;
    EXPECT_EQ(PRES_OK, process.getPath(text));
    EXPECT_EQ(L"/bin/sh", wide(text));
    EXPECT_EQ(PRES_OK, process.getCmdLine(text));
    EXPECT_EQ(wide(dir.file("show.sh")) + L" a  b c", wide(text));
}

TEST(ProcessLifecycle, RunningChildIsRefusedAndKilledByForce)
{
    TempDir dir;
    std::string script = waitingScript(dir, "run");
    PProcess process(L"/bin/sh", wide(script).c_str(), L"/");
    unsigned int first = 0, again = 0;
    ASSERT_EQ(PRES_OK, process.start());
    ASSERT_EQ(PRES_OK, process.getPID(first));
    ChildGuard guard{{first}};
    ASSERT_TRUE(waitForFile(script + ".ready"));
    EXPECT_EQ(PPROCESS_ERR_START, process.start());
    ASSERT_EQ(PRES_OK, process.getPID(again));
    EXPECT_EQ(first, again);
    EXPECT_TRUE(process.waitFinish(500));
    PString text;
    EXPECT_EQ(PRES_OK, process.getWorkingDir(text));
    EXPECT_EQ(L"/", wide(text));
    // SIGKILL cannot be trapped, so the script never writes its file.
    EXPECT_EQ(PRES_OK, process.kill());
    EXPECT_FALSE(isAlive(first));
    EXPECT_FALSE(pathExists(script + ".term"));
}

TEST(ProcessTree, ZombieSweepAndMissingProcesses)
{
    unsigned int child = spawnChild({"/bin/true"});
    ASSERT_TRUE(child && waitUntil([&] { return !isAlive(child); })); // a zombie until collected
    bool running = false;
    EXPECT_EQ(PRES_OK, check_pid_running_mac(child, running));
    EXPECT_TRUE(running); // a zombie still has its record
    EXPECT_EQ(PRES_OK, PProcess::isRunning(child, running));
    EXPECT_FALSE(running);

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
    writeFile(dir.file("root.sh"), "/bin/sh -c '/bin/sleep 60 & echo $! > grand; echo $$ > mid; exec /bin/sleep 60' &\n"
                                   "/bin/sh -c 'trap \"\" TERM; echo $$ > stubborn; exec /bin/sleep 60' &\n"
                                   "exec /bin/sleep 60\n");
    ChildGuard guard;
    unsigned int root = 0;
    ASSERT_EQ(PRES_OK, PProcess::start(L"/bin/sh", L"root.sh", wide(dir.path()).c_str(), root));
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
    unsigned int pid = spawnChild({program, script, "a", "b c"});
    ChildGuard guard{{pid}};
    ASSERT_TRUE(pid && waitForFile(script + ".ready"));

    PString text;
    EXPECT_EQ(PRES_OK, PProcess::getName(pid, text));
    EXPECT_EQ(L"a) (long progra", wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getPath(pid, text));
    EXPECT_EQ(std::filesystem::canonical("/bin/sh").wstring(), wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getCmdLine(pid, text));
    EXPECT_EQ(wide("\"" + program + "\" " + script + " a \"b c\""), wide(text));
    EXPECT_EQ(PRES_OK, PProcess::getWorkingDir(pid, text));
    EXPECT_EQ(std::filesystem::current_path().wstring(), wide(text));
    // The status file says "Uid:" and the search for "uid" is case-sensitive,
    // so no id is read and no passwd line matches.
    EXPECT_EQ(PRES_OK, PProcess::getUserName(pid, text));
    EXPECT_EQ(0u, text.len());
    int priority = 1000;
    EXPECT_EQ(PRES_OK, PProcess::getPriority(pid, priority));
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), priority);

    unsigned int ppid = 0;
    EXPECT_EQ(PRES_OK, PProcess::getParentPID(pid, ppid));
    EXPECT_EQ(PProcess::getCurrentPID(), ppid);
    std::vector<unsigned int> pids = {7}, ppids = {8};
    EXPECT_EQ(PRES_OK, PProcess::getChildPID(PProcess::getCurrentPID(), pids));
    EXPECT_TRUE(contains(pids, pid) && !contains(pids, 7));
    EXPECT_EQ(PRES_OK, PProcess::listPIDs(pids));
    EXPECT_TRUE(contains(pids, 1) && contains(pids, PProcess::getCurrentPID()) && contains(pids, pid));

    // The cut status name sends the comparison to the command line's program.
    pids = {7};
    EXPECT_EQ(PRES_OK, PProcess::find(L"/elsewhere/A) (LONG PROGRAM NAME", pids, ppids));
    size_t at = std::find(pids.begin(), pids.end(), pid) - pids.begin();
    ASSERT_TRUE(pids.size() == ppids.size() && at < pids.size());
    EXPECT_TRUE(pids[0] == 7 && ppids[0] == 8 && ppids[at] == PProcess::getCurrentPID());

    // The static kill asks politely, unlike the object's.
    EXPECT_EQ(PRES_OK, PProcess::kill(pid));
    EXPECT_TRUE(waitForFile(script + ".term"));

    unsigned int usage = 1000;
    EXPECT_EQ(PRES_OK, PProcess::getSpecCPUUsage(0, usage));
    EXPECT_LE(usage, 100u);
}
