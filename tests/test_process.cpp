// Child processes, process trees and process queries, with real children:
// shell scripts written to a private directory, sleep and echo.
#include <signal.h>
#include <spawn.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "qrixPProcess.h"
#include "qrix_macosx.h"
#include "testSupport.h"

namespace {

constexpr unsigned int NO_SUCH_PID = 0x7fffffff; // above any pid_max

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

} // namespace

// ---------------------------------------------------------------------------
// Child lifecycle

TEST(ProcessLifecycle, ExitCodeTellsWhyAChildEnded)
{
    TempDir dir;
    struct Row { const char* why; const wchar_t* path; std::wstring cmdLine, workingDir; int exitCode; } rows[] = {
        {"missing program: execvp's errno", L"/nonexistent/program", L"", L"", 2},
        {"missing working directory", L"/bin/true", L"", wide(dir.file("none")), 139},
        // Arguments split on blanks, so the shell's own ${IFS} joins its words.
        {"ended by SIGTERM", L"/bin/sh", L"-c kill${IFS}-TERM${IFS}$$", L"", -15},
    };
    CapturedStderr quiet;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.why);
        PProcess process(row.path, row.cmdLine.c_str(), row.workingDir.c_str());
        int exitCode = 12345;
        ASSERT_EQ(PRES_OK, process.start());
        EXPECT_EQ(PRES_OK, process.waitExitCode(exitCode));
        EXPECT_EQ(row.exitCode, exitCode);
    }
}

// A child of /bin/sh that writes its arguments, directory and environment to "out".
class ShowingChild : public ::testing::Test {
protected:
    std::string run(const std::vector<PString>& env)
    {
        writeFile(dir.file("show.sh"), "{ printf '[%s]' \"$@\"; echo; pwd; env; } > out\n");
        // Outer blanks are trimmed; two blanks inside leave an empty argument.
        std::wstring cmdLine = L"  " + wide(dir.file("show.sh")) + L" a  b c  ";
        process.reset(new PProcess(L" /bin/sh ", cmdLine.c_str(), (L" " + wide(dir.path()) + L" ").c_str(), env));
        CapturedStderr quiet;
        int exitCode = -1;
        EXPECT_EQ(PRES_OK, process->start());
        EXPECT_EQ(PRES_OK, process->waitExitCode(exitCode));
        EXPECT_EQ(0, exitCode);
        return readFile(dir.file("out"));
    }
    TempDir dir;
    std::unique_ptr<PProcess> process;
};

TEST_F(ShowingChild, ArgumentsSplitOnBlanksAndDirectoryIsEntered)
{
    EXPECT_EQ(0u, run({}).find("[a][][b][c]\n" + dir.path() + "\n"));
}

TEST_F(ShowingChild, EnvironmentEntriesAreSplitAtTheFirstEquals)
{
    ScopedEnv inherited("QRIX_PROC_OVERRIDE", "parent");
    std::string out = run({L"QRIX_NO_EQUALS", L"QRIX_EMPTY=", L"QRIX_TWO=x=y", L"QRIX_PROC_OVERRIDE=child"});
    struct Row { const char* text; bool present; } rows[] = {{"QRIX_NO_EQUALS", false},
                {"\nQRIX_EMPTY=\n", true},
                {"\nQRIX_TWO=x=y\n", true},
                {"\nQRIX_PROC_OVERRIDE=child\n", true}};
    for (const Row& row : rows)
        EXPECT_EQ(row.present, out.find(row.text) != std::string::npos) << row.text;
}

TEST_F(ShowingChild, CollectedChildFallsBackToTheGivenPathAndLine)
{
    run({});
    PString text;
    EXPECT_EQ(PRES_OK, process->getPath(text));
    EXPECT_EQ(L"/bin/sh", wide(text));
    EXPECT_EQ(PRES_OK, process->getCmdLine(text));
    EXPECT_EQ(wide(dir.file("show.sh")) + L" a  b c", wide(text));
}

TEST(ProcessLifecycle, WaitFinishCollectsSoTheExitCodeIsLost)
{
    PProcess process(L"/bin/true", L"");
    ASSERT_EQ(PRES_OK, process.start());
    EXPECT_FALSE(process.waitFinish(5000));
    CapturedStderr quiet;
    int exitCode = 0;
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.waitExitCode(exitCode));
    EXPECT_EQ(-1, exitCode);
}

// An object whose child runs the waiting script in "/".
class RunningChild : public ::testing::Test {
protected:
    void SetUp() override
    {
        script = waitingScript(dir, "run");
        process.reset(new PProcess(L"/bin/sh", wide(script).c_str(), L"/"));
        ASSERT_EQ(PRES_OK, process->start());
        ASSERT_EQ(PRES_OK, process->getPID(pid));
        guard.pids = {pid};
        ASSERT_TRUE(waitForFile(script + ".ready"));
    }
    TempDir dir;
    std::string script;
    std::unique_ptr<PProcess> process;
    unsigned int pid = 0;
    ChildGuard guard;
};

TEST_F(RunningChild, SecondStartIsRefusedAndLeavesTheChild)
{
    CapturedStderr quiet;
    EXPECT_EQ(PPROCESS_ERR_START, process->start());
    unsigned int again = 0;
    ASSERT_EQ(PRES_OK, process->getPID(again));
    EXPECT_EQ(pid, again);
}

TEST_F(RunningChild, ShortWaitChecksOnceAndSaysRunning)
{
    EXPECT_TRUE(process->waitFinish(500));
}

TEST_F(RunningChild, WorkingDirectoryIsTheGivenOne)
{
    PString text;
    EXPECT_EQ(PRES_OK, process->getWorkingDir(text));
    EXPECT_EQ(L"/", wide(text));
}

TEST_F(RunningChild, ObjectKillUsesSigkill)
{
    EXPECT_EQ(PRES_OK, process->kill());
    EXPECT_FALSE(isAlive(pid));
    EXPECT_FALSE(pathExists(script + ".term")); // SIGKILL cannot be trapped
}

TEST_F(RunningChild, StaticKillAsksPolitely)
{
    EXPECT_EQ(PRES_OK, PProcess::kill(pid));
    EXPECT_TRUE(waitForFile(script + ".term"));
}

// ---------------------------------------------------------------------------
// Process table and trees

TEST(ProcessTree, ZombieKeepsItsRecordUntilTheSweepCollectsIt)
{
    unsigned int child = spawnChild({"/bin/true"});
    ASSERT_TRUE(child && waitUntil([&] { return !isAlive(child); })); // a zombie until collected
    bool running = false;
    EXPECT_EQ(PRES_OK, check_pid_running_mac(child, running));
    EXPECT_TRUE(running);
    EXPECT_EQ(PRES_OK, PProcess::isRunning(child, running));
    EXPECT_FALSE(running);
}

TEST(ProcessTree, MissingProcessIsReportedByEachOperation)
{
    CapturedStderr quiet;
    unsigned int ppid = 99;
    EXPECT_FALSE(PProcess::waitFinish(NO_SUCH_PID, 10000));
    EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::kill(NO_SUCH_PID));
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getParentPID(NO_SUCH_PID, ppid));
    EXPECT_EQ(0u, ppid);
    int (*queries[])(unsigned int, PString&) = {&PProcess::getName, &PProcess::getPath, &PProcess::getCmdLine,
                                                &PProcess::getWorkingDir};
    PString text;
    for (size_t i = 0; i < sizeof(queries) / sizeof(queries[0]); ++i)
        EXPECT_EQ(PRES_NOT_FOUND, queries[i](NO_SUCH_PID, text)) << "query " << i;
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getUserName(NO_SUCH_PID, text));
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

// ---------------------------------------------------------------------------
// Queries about a process that is not ours

// Blanks and parentheses in the command name, a name past the kernel's 15
// characters, and an argument with a blank.
class WaywardChild : public ::testing::Test {
protected:
    void SetUp() override
    {
        program = dir.file("a) (long program name");
        ASSERT_EQ(0, symlink("/bin/sh", program.c_str()));
        script = waitingScript(dir, "query");
        pid = spawnChild({program, script, "a", "b c"});
        guard.pids = {pid};
        ASSERT_TRUE(pid && waitForFile(script + ".ready"));
    }
    TempDir dir;
    std::string program;
    std::string script;
    unsigned int pid = 0;
    ChildGuard guard;
    PString text;
};

TEST_F(WaywardChild, TextQueriesReadProc)
{
    struct Row { const char* what; int (*query)(unsigned int, PString&); std::wstring text; } rows[] = {
        {"getName: the kernel's cut of the program name", &PProcess::getName, L"a) (long progra"},
        {"getPath: the executable behind the link", &PProcess::getPath,
         std::filesystem::canonical("/bin/sh").wstring()},
        {"getCmdLine: an argument with a blank in quotes", &PProcess::getCmdLine,
         wide("\"" + program + "\" " + script + " a \"b c\"")},
        {"getWorkingDir: ours, inherited", &PProcess::getWorkingDir, std::filesystem::current_path().wstring()},
    };
    for (const Row& row : rows) {
        PString text;
        EXPECT_EQ(PRES_OK, row.query(pid, text)) << row.what;
        EXPECT_EQ(row.text, wide(text)) << row.what;
    }
}

TEST_F(WaywardChild, UserNameIsEmptyBecauseTheUidSearchIsCaseSensitive)
{
    // The status file says "Uid:", so no id is read and no passwd line matches.
    EXPECT_EQ(PRES_OK, PProcess::getUserName(pid, text));
    EXPECT_EQ(0u, text.len());
}

TEST_F(WaywardChild, PriorityIsTheInheritedNiceValue)
{
    int priority = 1000;
    EXPECT_EQ(PRES_OK, PProcess::getPriority(pid, priority));
    EXPECT_EQ(getpriority(PRIO_PROCESS, 0), priority);
}

TEST_F(WaywardChild, TableKnowsItsParentAndListsIt)
{
    unsigned int ppid = 0;
    EXPECT_EQ(PRES_OK, PProcess::getParentPID(pid, ppid));
    EXPECT_EQ(PProcess::getCurrentPID(), ppid);
    std::vector<unsigned int> pids = {7};
    EXPECT_EQ(PRES_OK, PProcess::getChildPID(PProcess::getCurrentPID(), pids));
    EXPECT_TRUE(contains(pids, pid) && !contains(pids, 7));
    EXPECT_EQ(PRES_OK, PProcess::listPIDs(pids));
    EXPECT_TRUE(contains(pids, 1) && contains(pids, PProcess::getCurrentPID()) && contains(pids, pid));
}

TEST_F(WaywardChild, FindComparesTheCommandLinesProgramWhenTheStatusNameIsCut)
{
    std::vector<unsigned int> pids = {7}, ppids = {8};
    CapturedStderr quiet;
    EXPECT_EQ(PRES_OK, PProcess::find(L"/elsewhere/A) (LONG PROGRAM NAME", pids, ppids));
    size_t at = std::find(pids.begin(), pids.end(), pid) - pids.begin();
    ASSERT_TRUE(pids.size() == ppids.size() && at < pids.size());
    EXPECT_TRUE(pids[0] == 7 && ppids[0] == 8); // appended to, not emptied
    EXPECT_EQ(PProcess::getCurrentPID(), ppids[at]);
}

TEST(ProcessQuery, CpuUsageIsAPercentage)
{
    CapturedStderr quiet;
    unsigned int usage = 1000;
    EXPECT_EQ(PRES_OK, PProcess::getSpecCPUUsage(0, usage));
    EXPECT_LE(usage, 100u);
    EXPECT_EQ(PRES_FAILED, PProcess::getSpecCPUUsage(UINT_MAX, usage));
}
