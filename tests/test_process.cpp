// Child processes, process trees and process queries, with real children:
// shell scripts written to a private directory, sleep and true.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <sstream>

#include <gtest/gtest.h>

#include "qrixPProcess.h"
#include "qrix_macosx.h"
#include "testSupport.h"

namespace {

constexpr unsigned int NO_SUCH_PID = 0x7fffffff; // above any pid_max
const std::string NONE = std::to_string(NO_SUCH_PID);
const std::string SELF = std::to_string(getpid());

// The text of a file once its last line is complete; empty after ten seconds.
std::string waitForLine(const std::string& path)
{
    std::string text;
    waitUntil([&] { return pathExists(path) && !(text = readFile(path)).empty() && text.back() == '\n'; });
    return text;
}

double secondsOf(const std::function<void()>& run)
{
    auto start = std::chrono::steady_clock::now();
    run();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool contains(const std::vector<unsigned int>& v, unsigned int x)
{
    return std::find(v.begin(), v.end(), x) != v.end();
}

// Every instance query of `p` as "code answer", '|' between them.
std::string answers(const PProcess& p)
{
    PString text[4] = {L"?", L"?", L"?", L"?"};
    int priority = 99;
    std::vector<PString> env(1);
    unsigned long long bytes = 99;
    int rc[] = {p.getName(text[0]), p.getPath(text[1]), p.getCmdLine(text[2]), p.getWorkingDir(text[3]),
                p.getPriority(priority), p.getEnvironment(env), p.getMemoryUsage(bytes)};
    std::ostringstream out;
    for (int i = 0; i < 4; ++i)
        out << rc[i] << ' ' << narrowed(text[i]) << '|';
    out << rc[4] << ' ' << priority << '|' << rc[5] << ' ' << env.size() << '|' << rc[6] << ' ' << bytes;
    return out.str();
}

} // namespace

// ---------------------------------------------------------------------------
// Child lifecycle

TEST(ProcessLifecycle, ExitCodeTellsWhyAChildEnded)
{
    TempDir dir;
    struct Row { const char* why; const wchar_t* path; PString cmdLine, dir; int exitCode; const char* report; };
    Row rows[] = {
        {"missing program: execvp's errno", L"/nonexistent/program", L"", L"", 2, "] Failed to execvp(...) errno: 2 "},
        {"missing working directory", L"/bin/true", L"", widen(dir.file("none")), 139, "] Failed to chdir to /tmp/"},
        // Arguments split on blanks, so the shell's own ${IFS} joins its words.
        {"ended by SIGTERM", L"/bin/sh", L"-c kill${IFS}-TERM${IFS}$$", L"", -15, "exitCode:[-15] -> res:[0]\n"},
        {"separators fixed in path and directory", L"\\bin\\sh", L"-c exit${IFS}7", L"\\tmp", 7, ""},
    };
    ScopedEnv silent("PL_DEBUG", "-2"); // the reports print all the same
    for (const Row& row : rows) {
        SCOPED_TRACE(row.why);
        CapturedStderr err;
        PProcess process(row.path, row.cmdLine, row.dir);
        int exitCode = 12345;
        siginfo_t zombie{};
        ASSERT_EQ(PRES_OK, process.start());
        EXPECT_EQ(PRES_OK, process.waitExitCode(exitCode));
        // Collected: no child of ours is left to wait for.
        EXPECT_TRUE(waitid(P_ALL, 0, &zombie, WEXITED | WNOHANG | WNOWAIT) == -1 || zombie.si_pid == 0);
        EXPECT_EQ(row.exitCode, exitCode);
        EXPECT_NE(std::string::npos, err.text().find(row.report));
    }
    // A child whose exec fails leaves through exit(), which writes out the
    // stdio buffers it inherited: they must have been empty.
    int saved = dup(1), exitCode = 0;
    CapturedStderr quiet;
    std::fflush(stdout);
    dup2(open(dir.file("stdout").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), 1);
    std::printf("once");
    PProcess missing(L"/nonexistent/program", L"");
    EXPECT_TRUE(missing.start() == PRES_OK && missing.waitExitCode(exitCode) == PRES_OK);
    std::fflush(stdout);
    dup2(saved, 1), close(saved);
    EXPECT_EQ(readFile(dir.file("stdout")), "once");
}

TEST(ProcessLifecycle, ObjectWithoutAChildAnswersNoProcess)
{
    PProcess process(L" ", L"x");
    CapturedStderr err;
    int exitCode = 0;
    unsigned int pid = 7;
    EXPECT_EQ("-743 ?|-743 ?|-743 ?|-743 ?|-743 99|-743 1|0 0", answers(process));
    // An empty path never forks: there is nothing to wait for then.
    EXPECT_EQ(PRES_NOT_FOUND, process.start());
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::start(L"", L"x", pid));
    EXPECT_EQ(PRES_NOT_IMPLEMENTED, process.startProcAsDifferentUser(L"user", L"password"));
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.getPID(pid));
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.waitExitCode(exitCode));
    EXPECT_EQ(PRES_OK, process.kill());
    EXPECT_FALSE(process.waitFinish(5000));
    EXPECT_TRUE(pid == 7 && exitCode == -1);
    EXPECT_NE(std::string::npos, err.text().find("\n\n[DBGONLY][PProcess::start] Empty process path: "));
}

// Each start waits for its go file, so that the child still runs when its id
// is read, and then shows its pid, arguments, directory and environment.
TEST(ProcessLifecycle, EveryStartPassesArgumentsDirectoryAndEnvironment)
{
    TempDir dir;
    writeFile(dir.file("show.sh"), "until [ -e \"$0.go\" ]; do sleep 0.1; done\n"
                                   "{ echo $$; printf '[%s]' \"$@\"; echo; pwd; env; } > \"$0.new\"\n"
                                   "mv \"$0.new\" \"$0.out\"\n");
    ScopedEnv inherited("QRIX_PROC_OVERRIDE", "parent");
    // Outer blanks are trimmed; two blanks inside leave an empty argument.
    PString sh(L" /bin/sh "), line(widen("  " + dir.file("show.sh") + " a  b c  ")), cwd(widen(" " + dir.path() + " "));
    std::vector<PString> env = {L"QRIX_NO_EQUALS", L"QRIX_EMPTY=", L"QRIX_TWO=x=y", L"QRIX_PROC_OVERRIDE=child"};
    PProcess process(sh, line, cwd, env), withEnv(sh, line, env);
    struct Row { bool inDir, withEnv; std::function<int(unsigned int&)> start; } rows[] = {
        {false, false, [&](unsigned int& pid) { return PProcess::start(sh, line, pid); }},
        {true, false, [&](unsigned int& pid) { return PProcess::start(sh, line, cwd, pid); }},
        {false, true, [&](unsigned int& pid) { return PProcess::start(sh, line, env, pid); }},
        {true, true, [&](unsigned int& pid) { return PProcess::start(sh, line, cwd, env, pid); }},
        {false, true, [&](unsigned int& pid) { return withEnv.start() ? -1 : withEnv.getPID(pid); }},
        // Last, since the other starts collect ended children.
        {true, true, [&](unsigned int& pid) { return process.start() ? -1 : process.getPID(pid); }},
    };
    ChildGuard guard;
    CapturedStderr quiet;
    for (const Row& row : rows) {
        unlink(dir.file("show.sh.go").c_str());
        unlink(dir.file("show.sh.out").c_str());
        guard.pids.push_back(0);
        ASSERT_EQ(PRES_OK, row.start(guard.pids.back()));
        writeFile(dir.file("show.sh.go"), "");
        std::string out = waitForLine(dir.file("show.sh.out"));
        std::string where = row.inDir ? dir.path() : std::filesystem::current_path().string();
        EXPECT_EQ(0u, out.find(std::to_string(guard.pids.back()) + "\n[a][][b][c]\n" + where + "\n")) << out;
        for (const char* entry : {"\nQRIX_EMPTY=\n", "\nQRIX_TWO=x=y\n", "\nQRIX_PROC_OVERRIDE=child\n"})
            EXPECT_EQ(row.withEnv, out.find(entry) != std::string::npos) << entry;
        EXPECT_EQ(std::string::npos, out.find("QRIX_NO_EQUALS"));
    }
    // Collected by the wait, which throws the exit code away.
    int exitCode = 0;
    EXPECT_FALSE(process.waitFinish(5000));
    EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, process.waitExitCode(exitCode));
    EXPECT_EQ(-1, exitCode);
    // A query that fails gives what the object was made with, if it has such a value.
    EXPECT_EQ("-504 |0 /bin/sh|0 " + dir.file("show.sh") + " a  b c|-504 ?|-504 99|-743 1|0 0", answers(process));
}

// An object whose child runs a script in "/" that says when it is ready,
// reports SIGTERM next to itself and otherwise runs for a minute; the shell
// runs under a name with blanks and parentheses, longer than the kernel keeps.
class RunningChild : public ::testing::Test {
protected:
    void SetUp() override
    {
        program = dir.file("a) (long program name");
        ASSERT_EQ(0, symlink("/bin/sh", program.c_str()));
        script = dir.file("run");
        writeFile(script, "trap 'echo > \"$0.term\"; exit 3' TERM\necho > \"$0.ready\"\n"
                          "for i in $(seq 600); do sleep 0.1; done\n");
        process.reset(new PProcess(widen(program), widen(script), L"/"));
        ASSERT_EQ(PRES_OK, process->start());
        ASSERT_EQ(PRES_OK, process->getPID(pid));
        guard.pids = {pid};
        me = std::to_string(pid);
        ASSERT_FALSE(waitForLine(script + ".ready").empty());
    }
    TempDir dir;
    std::string program, script, me;
    std::unique_ptr<PProcess> process;
    unsigned int pid = 0;
    ChildGuard guard;
};

TEST_F(RunningChild, QueriesReadProcAndTheTableAndStartsAreRefused)
{
    std::string sh = std::filesystem::canonical("/bin/sh").string();
    // -1 is a priority like any other, where we may lower it.
    std::string nice = setpriority(PRIO_PROCESS, pid, -1) == 0 ? "-1" : std::to_string(getpriority(PRIO_PROCESS, 0));
    CapturedStderr quiet;
    EXPECT_EQ("0 a) (long progra|0 " + sh + "|0 \"" + program + "\" " + script + "|0 /|0 " + nice + "|-743 1|0 0",
              answers(*process));
    // The status file says "Uid:", so no id is read and no passwd line matches.
    PString user(L"x");
    EXPECT_EQ(PRES_OK, PProcess::getUserName(pid, user));
    EXPECT_EQ(0u, user.len());
    EXPECT_EQ(PPROCESS_ERR_START, process->start());
    EXPECT_EQ(PPROCESS_ERR_START, process->startProcAsDifferentUser(L"user", L"password"));
    unsigned int again = 0, ppid = 0;
    ASSERT_EQ(PRES_OK, process->getPID(again));
    EXPECT_EQ(pid, again);
    EXPECT_EQ(PRES_OK, PProcess::getParentPID(pid, ppid));
    EXPECT_EQ(PProcess::getCurrentPID(), ppid);
    std::vector<unsigned int> pids = {7}, appended = {7};
    EXPECT_EQ(PRES_OK, PProcess::getChildPID(PProcess::getCurrentPID(), pids));
    EXPECT_TRUE(contains(pids, pid) && !contains(pids, 7));
    EXPECT_EQ(PRES_OK, list_pids_mac((int)PProcess::getCurrentPID(), appended));
    EXPECT_TRUE(contains(appended, pid) && appended[0] == 7);
    pids.assign(1, NO_SUCH_PID); // replaced, not appended to
    EXPECT_EQ(PRES_OK, PProcess::listPIDs(pids));
    EXPECT_TRUE(contains(pids, 1) && contains(pids, PProcess::getCurrentPID()) && contains(pids, pid) &&
                !contains(pids, NO_SUCH_PID));
    process->clearProcessInfo(); // forgets the child, which runs on
    EXPECT_TRUE(process->getPID(again) == PPROCESS_ERR_NO_PROCESS && pathExists("/proc/" + me));
}

TEST_F(RunningChild, FindMatchesWholeNamesAndTheCommandLinesProgramWhenTheStatusNameIsCut)
{
    struct Row { std::wstring name; unsigned int pid, ppid; bool found; } rows[] = {
        {L"/elsewhere/A) (LONG PROGRAM NAME", pid, PProcess::getCurrentPID(), true},
        {L"a) (long program nam", pid, 0, false}, // a part only
        {L"a) (long progra", pid, 0, false},      // the cut, which the command line does not give
        {L"/test_process", PProcess::getCurrentPID(), (unsigned int)getppid(), true},
    };
    CapturedStderr quiet;
    for (const Row& row : rows) {
        std::vector<unsigned int> pids = {7}, ppids = {8};
        EXPECT_EQ(PRES_OK, PProcess::find(row.name.c_str(), pids, ppids));
        size_t at = std::find(pids.begin(), pids.end(), row.pid) - pids.begin();
        ASSERT_TRUE(pids.size() == ppids.size() && pids[0] == 7 && ppids[0] == 8); // appended to, not emptied
        EXPECT_EQ(row.found, at < pids.size()) << narrowed(PString(row.name.c_str()));
        EXPECT_TRUE(!row.found || ppids[at] == row.ppid);
    }
}

TEST_F(RunningChild, WaitsPollInWholeSecondStepsUpToTheBound)
{
    // Each poll of the static form asks isRunning, whose level-10 line counts it.
    struct Row { unsigned int ms; int polls; } rows[] = {{500, 1}, {1999, 2}, {2500, 3}};
    for (const Row& row : rows) {
        ScopedEnv debug("PL_DEBUG", "10");
        CapturedStderr err;
        EXPECT_TRUE(PProcess::waitFinish(pid, row.ms));
        EXPECT_EQ(row.polls, countOccurrences(err.text(), "wait zombies for PID: " + me + "\n")) << row.ms;
    }
    // The object's polls leave no line: two whole-second sleeps, not three.
    double seconds = secondsOf([&] { EXPECT_TRUE(process->waitFinish(2500)); });
    EXPECT_TRUE(seconds > 1.5 && seconds < 2.9) << seconds;
    // A long wait polls every tenth of it: a child of one second is seen gone after three.
    unsigned int brief = 0;
    ASSERT_EQ(PRES_OK, PProcess::start(L"/bin/sleep", L"1", brief));
    seconds = secondsOf([&] { EXPECT_FALSE(PProcess::waitFinish(brief, 30000)); });
    EXPECT_TRUE(seconds > 2.5 && seconds < 5) << seconds;
}

TEST_F(RunningChild, WaitExitCodeTellsAnInterruptedWaitAndAStop)
{
    CapturedStderr quiet;
    int exitCode = 0;
    struct sigaction onAlarm = {}, old = {};
    onAlarm.sa_handler = [](int) {}; // without SA_RESTART, so that waitpid gives EINTR
    sigaction(SIGALRM, &onAlarm, &old);
    alarm(1);
    EXPECT_EQ(PRES_FAILED, process->waitExitCode(exitCode));
    sigaction(SIGALRM, &old, nullptr);
    // waitpid reports a stop to a tracer only.
    ASSERT_EQ(0, ptrace(PTRACE_ATTACH, (pid_t)pid, nullptr, nullptr));
    EXPECT_EQ(PPROCESS_ERR_STOPPED, process->waitExitCode(exitCode));
    EXPECT_EQ(-1, exitCode);
}

TEST_F(RunningChild, EachMessageShowsFromItsOwnLevel)
{
    bool running = false;
    unsigned int u = 0;
    int code = 0;
    unsigned long long bytes = 0;
    std::vector<PString> env;
    std::vector<unsigned int> pids;
    PString text;
    auto own = [&] { process->isRunning(running); };
    auto getPid = [&] { process->getPID(u); };
    auto again = [&] { process->start(); };
    auto empty = [&] { PProcess(L"", L"x").start(); };
    auto child = [&] { PProcess p(L"/bin/true", L""); p.start(); p.waitExitCode(code); };
    auto tree = [&] { PProcess::killTree(NO_SUCH_PID); };
    auto children = [&] { PProcess::getChildPID(PProcess::getCurrentPID(), pids); };
    // Forgets a running child, one that SIGKILL ended and one that exited.
    auto forget = [&] {
        siginfo_t info;
        for (int ended = 0; ended < 3; ++ended) {
            PProcess p(ended == 2 ? L"/bin/true" : L"/bin/sleep", ended == 2 ? L"" : L"60");
            if (p.start() != PRES_OK || p.getPID(u) != PRES_OK || u == 0) // 0 would signal our own group
                continue;
            if (ended)
                ::kill((pid_t)u, ended == 1 ? SIGKILL : 0), waitid(P_PID, u, &info, WEXITED | WNOWAIT);
            p.clearProcessInfo();
            ::kill((pid_t)u, SIGKILL), waitpid((pid_t)u, nullptr, 0);
        }
    };
    auto parent = [&] { PProcess::getParentPID(pid, u), PProcess::getParentPID(NO_SUCH_PID, u); };
    auto queries = [&] {
        PProcess::getName(pid, text), PProcess::getPath(pid, text), PProcess::getCmdLine(pid, text);
        PProcess::getWorkingDir(pid, text), PProcess::getUserName(pid, text), PProcess::find(L"x", pids, pids);
        PProcess::getSpecCPUUsage(UINT_MAX, u), PProcess::getEnvironment(pid, env);
        PProcess::getCurrentEnvironment(env);
    };
    auto unmeasured = [&] {
        PProcess::getMemoryUsage(pid, bytes), PProcess::getFreeMemory(bytes);
        PProcess::getCPUUsage(u), PProcess::getCPUUsage(pid, u);
    };
    const std::string warning = ". WARNING! not implemented on MAC!\n";
    struct Row { int level; std::string text; std::function<void()> trigger; };
    std::vector<Row> rows = {
        {11, "[PProcess::isRunning] () fPid: " + me + "\n", own},
        {1, "[PProcess::isRunning] own PID not set -> false\n", own},
        {10, "[PProcess::isRunning] wait zombies for PID: " + me + "\n", own},
        {10, "[PProcess::isRunning] iPID: " + me + ", running: 1 res: 0\n", own},
        {10, "[PProcess::isRunning] ### check_pid_running_mac(iPID:" + me + ", proc_id:", own},
        {13, ") -> bufSize: ", own},
        {10, ") count: 1\n", own},
        {2, "[check_pid_running_mac] kinfo_proc { pid: " + me + ", ", own},
        {10, "[PProcess::getPID] isRunning: 1, res: 0\n", getPid},
        {3, "[PProcess::getPID] return PID: " + me + "\n", getPid},
        {1, "', running: 1\n", again},
        {-1, "[PProcess::start] Process already running fPath: '" + program + "', fCmdLine: '" + script + "'\n", again},
        {1, "', fCmdLine: 'x', running: 0\n", empty},
        {1, "', fCmdLine: 'x', fEnv.size: 0\n", empty},
        {1, "[PProcess::start] Child process pid: ", child},
        {0, "[PProcess::start] Child process started with pid: ", child},
        {1, "[PProcess::start] execvp('/bin/true') pid: ", child},
        {1, "[PProcess::clearProcessInfo] process pid: ", forget},
        {1, "[PProcess::clearProcessInfo] Process was terminated by a signal pid: ", forget},
        {1, "[PProcess::clearProcessInfo] Process was terminated normally pid: ", forget},
        // A child still running after the pause counts as ended normally.
        {5, "[PProcess::killSignal] Process was terminated normally pid: " + me + "\n", [&] { PProcess::killSignal(pid, 0); }},
        {1, ", pgid: " + std::to_string(getpgid(0)) + "\n", child},
        {0, "[PProcess::killTree] pid [" + NONE + "]\n", tree},
        {0, "[DBGONLY][PProcess::killTree] getChildPID for PID [" + NONE + "]\n", tree},
        {2, "[PProcess::killTree] got [0] children for PID [" + NONE + "]\n", tree},
        {1, "[PProcess::killTree] killing pid [" + NONE + "]\n", tree},
        {-1, "[PProcess::killTree] PProcess::killSignal(" + NONE + ", PPROCESS_TERMINATE) failed with error: -742\n",
         tree},
        {10, "[PProcess::killTree] waitpid pid [" + NONE + "] for 2000ms\n", tree},
        {2, "[PProcess::killSignal] kill(" + NONE + ", 15)\n", tree},
        {-1, "[PProcess::killSignal] kill(" + NONE + ", 15) failed. errno:3 (", tree},
        {5, "[list_pids_mac] total PID count: ", tree},
        {10, "[list_pids_mac] Checking PPid: ", children},
        {5, "[list_pids_mac] Found child Pid:" + me + " for PPid:" + SELF + "\n", children},
        {3, "[list_pids_mac] Found 0 child pids for PPid:" + NONE + "\n", tree},
        {10, "[list_pids_mac] sysctl(KERN_PROC_ALL, 0) -> bufSize: ", tree},
        {4, "[PProcess::getParentPID] sysctl(KERN_PROC_PID) for pid [" + me + "], length: ", parent},
        {3, "[PProcess::getParentPID] pid: " + me + " -> ppid: " + SELF + "\n", parent},
        {0, "[PProcess::getParentPID] sysctl(KERN_PROC_PID) not found for pid [" + NONE + "]\n\n", parent},
        {-1, "[PProcess::find] name: x" + warning, queries},
        {-1, "[PProcess::getSpecCPUUsage] cpu: -1" + warning, queries},
        {-1, "[PProcess::getEnvironment] pid: " + me + " WARNING! not implemented on MAC!\n", queries},
        {-1, "[PProcess::getEnvironment] pid: " + SELF + " WARNING!", queries},
        {1000, "[PProcess::getMemoryUsage] pid: " + me + warning, unmeasured},
        {1000, "[PProcess::getFreeMemory] WARNING! not implemented on MAC!\n", unmeasured},
        {10, "[PProcess::getCPUUsage] WARNING! not implemented on MAC!\n", unmeasured},
        {10000, "[PProcess::getCPUUsage] PID: " + me + warning, unmeasured},
    };
    for (const char* query : {"getName", "getPath", "getCmdLine", "getWorkingDir", "getUserName"})
        rows.push_back({-1, std::string("[PProcess::") + query + "] pid: " + me + warning, queries});
    for (const Row& row : rows)
        EXPECT_TRUE(printsFromLevel(row.level, row.text, row.trigger, 0));
}

TEST_F(RunningChild, ObjectKillUsesSigkill)
{
    ScopedEnv debug("PL_DEBUG", "1");
    CapturedStderr err;
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(PRES_OK, process->kill()); }), 0.99); // lets the child die
    EXPECT_NE(std::string::npos, err.text().find("[PL_DBG]<01> [PProcess::kill] kill(PID: " + me + ", sig:9)\n"));
    EXPECT_FALSE(pathExists("/proc/" + me)); // and collected
    EXPECT_FALSE(pathExists(script + ".term")); // SIGKILL cannot be trapped
}

TEST_F(RunningChild, StaticKillAsksPolitely)
{
    // It ends within the pause, and is collected, being our child; the
    // collection then reports whatever errno held.
    ScopedEnv debug("PL_DEBUG", "-1");
    CapturedStderr err;
    errno = 0;
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(PRES_OK, PProcess::kill(pid)); }), 0.99);
    EXPECT_FALSE(pathExists("/proc/" + me));
    EXPECT_EQ(err.text(), "[PL_DBG]<-1> [PProcess::killSignal] waitpid(...) pid: " + me + " errno: 0 Success\n");
    EXPECT_FALSE(waitForLine(script + ".term").empty());
}

// ---------------------------------------------------------------------------
// Process table and trees

// The table lists a zombie until some call collects it.
TEST(ProcessTree, SweepingCallsCollectZombiesThatTheTableStillLists)
{
    PString text;
    bool running = true;
    std::function<void(unsigned int)> sweeps[] = {[&](unsigned int pid) { PProcess::getName(pid, text); },
                                                  [&](unsigned int pid) { PProcess::getPath(pid, text); },
                                                  [&](unsigned int pid) { PProcess::isRunning(pid, running); }};
    CapturedStderr quiet;
    // Every ended child of our process group goes: one whose object is gone
    // and a forked one. The third has a group of its own and stays.
    for (const auto& sweep : sweeps) {
        pid_t children[3] = {};
        for (int k = 0; k < 3; ++k) {
            std::fflush(nullptr);
            if (k == 0) {
                PProcess forgotten(L"/bin/sleep", L"30");
                unsigned int pid = 0, none = 0;
                ASSERT_TRUE(forgotten.start() == PRES_OK && forgotten.getPID(pid) == PRES_OK && pid > 0);
                forgotten.initProcessInfo(); // forgotten, not collected
                EXPECT_EQ(PPROCESS_ERR_NO_PROCESS, forgotten.getPID(none));
                ::kill(children[0] = (pid_t)pid, SIGKILL);
            } else if ((children[k] = fork()) == 0) {
                _exit(k == 2 ? setpgid(0, 0) : 0);
            }
            // Waitable, not merely shown as 'Z': a leader whose other threads
            // (a sanitizer's, say) still exit cannot be collected yet.
            siginfo_t info{};
            ASSERT_TRUE(children[k] > 0 && waitUntil([&] {
                return waitid(P_PID, children[k], &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == children[k];
            }));
        }
        EXPECT_EQ(PRES_OK, check_pid_running_mac(children[0], running));
        EXPECT_TRUE(running);
        sweep(children[0]);
        for (int k = 0; k < 3; ++k)
            EXPECT_EQ(k == 2, pathExists("/proc/" + std::to_string(children[k]))) << k;
        // A zombie has no program and no command line left to read.
        EXPECT_EQ(PProcess::getPath(children[2], text), PRES_NOT_FOUND);
        EXPECT_TRUE(PProcess::getCmdLine(children[2], text) == PRES_OK && text.len() == 0) << narrowed(text);
        waitpid(children[2], nullptr, 0);
    }
    EXPECT_FALSE(running);
}

TEST(ProcessTree, MissingProcessIsReportedAtOnce)
{
    CapturedStderr quiet;
    unsigned int ppid = 99;
    std::vector<unsigned int> children = {7};
    PString user(L"x");
    // Nothing was signalled, so nothing pauses.
    EXPECT_LT(secondsOf([&] {
        EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::killSignal(NO_SUCH_PID, PPROCESS_KILL));
        EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::kill(NO_SUCH_PID));
        EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::killTree(NO_SUCH_PID));
        EXPECT_FALSE(PProcess::waitFinish(NO_SUCH_PID, 10000));
    }), 0.9);
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getParentPID(NO_SUCH_PID, ppid));
    EXPECT_EQ(PRES_OK, PProcess::getChildPID(NO_SUCH_PID, children));
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getUserName(NO_SUCH_PID, user));
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getCmdLine(NO_SUCH_PID, user));
    EXPECT_EQ(PRES_NOT_FOUND, PProcess::getParentPID(0, ppid)); // no record, though kill(0, 0) succeeds
    EXPECT_TRUE(ppid == 0 && children.empty() && user.len() == 0);
}

TEST(ProcessTree, KillTreeStopsRootFirstForcesWhatIgnoresTerminationAndReportsTheLastFailure)
{
    // Orphans come back to us, so that their ends are collected here.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    TempDir dir;
    // mid takes its first child with it, not the second.
    writeFile(dir.file("mid.sh"), "/bin/sleep 60 & g=$!\n/bin/sleep 60 & echo $! > late\n"
                                  "trap 'kill $g; wait $g; exit' TERM\necho $g > grand; echo $$ > mid\nwait\n");
    writeFile(dir.file("root.sh"), "/bin/sh mid.sh &\n"
                                   "/bin/sh -c 'trap \"\" TERM; echo $$ > stubborn; exec /bin/sleep 60' &\n"
                                   "exec /bin/sleep 60\n");
    ChildGuard guard;
    unsigned int root = 0;
    ASSERT_EQ(PRES_OK, PProcess::start(L"/bin/sh", L"root.sh", widen(dir.path()), root));
    for (const char* name : {"mid", "grand", "stubborn", "late"})
        guard.pids.push_back((unsigned int)std::strtoul(waitForLine(dir.file(name)).c_str(), nullptr, 10));
    unsigned int mid = guard.pids[0], grand = guard.pids[1], stubborn = guard.pids[2], late = guard.pids[3];
    guard.pids.push_back(root);
    ASSERT_TRUE(mid && grand && stubborn && late);

    ScopedEnv debug("PL_DEBUG", "1");
    CapturedStderr err;
    // One second's pause per signal sent, two of grace for the stubborn one.
    double seconds = secondsOf([&] { EXPECT_EQ(PPROCESS_ERR_KILL, PProcess::killTree(root)); });
    EXPECT_TRUE(seconds > 6.9 && seconds < 10) << seconds;
    std::string log = err.text();
    auto killing = [&](unsigned int pid) { return log.find("killing pid [" + std::to_string(pid) + "]\n"); };
    ASSERT_NE(std::string::npos, killing(late));
    EXPECT_LT(killing(root), std::min(killing(mid), killing(stubborn)));
    EXPECT_LT(std::max(killing(mid), killing(stubborn)), std::min(killing(grand), killing(late)));
    EXPECT_NE(std::string::npos,
              log.find("<-1> [PProcess::killTree] pid[" + std::to_string(stubborn) + "] is still alive.\n"));
    EXPECT_EQ(1, countOccurrences(log, "is still alive."));
    EXPECT_NE(std::string::npos, log.find("killSignal(" + std::to_string(grand) + ", PPROCESS_TERMINATE) failed"));
    EXPECT_EQ(1, countOccurrences(log, "failed with error"));
    for (unsigned int pid : guard.pids)
        EXPECT_TRUE(waitUntil([&] { return procState(pid) == 0 || procState(pid) == 'Z'; })) << pid;
}

TEST(ProcessQuery, UnmeasuredAnswersAreZeroAndCpuUsageIsAPercentage)
{
    std::vector<PString> env(2), current(2);
    unsigned long long bytes = 5, freeBytes = 5;
    unsigned int usage = 5, oneUsage = 5, cpu = 1000;
    CapturedStderr quiet;
    int rc[] = {PProcess::getEnvironment(1, env), PProcess::getCurrentEnvironment(current),
                PProcess::getMemoryUsage(1, bytes), PProcess::getFreeMemory(freeBytes),
                PProcess::getCPUUsage(usage), PProcess::getCPUUsage(1, oneUsage)};
    for (int r : rc)
        EXPECT_EQ(PRES_OK, r);
    EXPECT_TRUE(env.empty() && current.empty());
    EXPECT_EQ(5u, bytes); // not written
    // The two samples are 400 ms apart.
    EXPECT_GE(secondsOf([&] { EXPECT_EQ(PRES_OK, PProcess::getSpecCPUUsage(0, cpu)); }), 0.39);
    EXPECT_TRUE(freeBytes == 0 && usage == 0 && oneUsage == 0 && cpu <= 100);
    EXPECT_EQ(PRES_FAILED, PProcess::getSpecCPUUsage(UINT_MAX, cpu));
}

// The working directory's link is read into 512 bytes, terminator included,
// and trimmed.
TEST(ProcessQuery, LinkTargetsAreCutAt511BytesAndTrimmed)
{
    TempDir dir;
    std::string deep = dir.path(), blank = dir.file("blank ");
    while (deep.size() < 600)
        ASSERT_EQ(mkdir((deep += "/" + std::string(50, 'd')).c_str(), 0700), 0);
    // Reached through a link: the start trims the directory it is given.
    ASSERT_TRUE(mkdir(blank.c_str(), 0700) == 0 && symlink(blank.c_str(), dir.file("link").c_str()) == 0);
    ChildGuard guard;
    guard.pids.assign(2, 0);
    const std::pair<std::string, std::string> rows[] = {{deep, deep.substr(0, 511)}, {dir.file("link"), dir.file("blank")}};
    for (const auto& row : rows) {
        unsigned int& pid = guard.pids[&row - rows];
        ASSERT_EQ(PRES_OK, PProcess::start(L"/bin/sleep", L"30", widen(row.first), pid));
        PString cwd;
        ASSERT_TRUE(waitUntil([&] { return PProcess::getWorkingDir(pid, cwd) == PRES_OK &&
                                               narrowed(cwd).rfind(dir.path(), 0) == 0; })); // after its chdir
        EXPECT_EQ(narrowed(cwd), row.second);
    }
}
