/// @file
/// PProcess: one child process the caller starts (program, arguments, working
/// directory, extra environment), plus static operations on any process id:
/// signalling, waiting, existence, parent and children, whole-tree stopping and
/// queries about name, path, command line and the like.
#ifndef QRIX_PPROCESS_H
#define QRIX_PPROCESS_H

#include <vector>

#include "qrixPString.h"
#include "qrixPThread.h"
#include "qrixTypes.h"

/// @name Signal kinds of PProcess::killSignal: the POSIX signal numbers themselves
///@{
constexpr int PPROCESS_TERMINATE = 15; ///< SIGTERM.
constexpr int PPROCESS_KILL = 9;       ///< SIGKILL.
///@}

/// A child process the caller starts, and operations on any process id.
///
/// One object is used by one thread at a time; nothing locks. The static
/// operations take any id and pass it to the system unchecked.
///
/// @warning Many calls collect ended children, and with them their exit
/// status: isRunning() (both forms), getPID(), start(), kill() (both forms),
/// killSignal(), killTree(), waitFinish() (both forms), getName(), getPath(),
/// startProcAsDifferentUser(), clearProcessInfo() and the destructor. The
/// isRunning() sweep, which most of them make, collects every ended child in
/// the caller's process group, whoever started it. A child collected that way
/// is gone for waitExitCode(), which then returns #PPROCESS_ERR_NO_PROCESS
/// (-743). To get an exit code, call waitExitCode() after start() and none of
/// those calls in between, in any thread; waitExitCode() shows how to wait
/// with a time-out.
/// @note The queries that read /proc print a level -1 line ending in
/// "WARNING! not implemented on MAC!" at every call, also on Linux, where they
/// work; `PL_DEBUG=-2` silences it. Level 0 and 1 lines about starting and
/// stopping show by default too.
class QRIX_EXPORT PProcess {
public:
    ///@{
    /// Records what to run; nothing starts before start().
    ///
    /// The path is trimmed and its '\\' turned into '/'; a name without '/'
    /// is searched on `PATH`. The command line holds the arguments only,
    /// separated by single blanks (see start()). The working directory, trimmed
    /// and fixed the same way, is entered by the child; empty keeps the
    /// caller's. Environment entries are "NAME=VALUE" (the value may be empty)
    /// and are added to the inherited environment, overwriting a variable of
    /// the same name.
    PProcess(const PLiteral& path, const PLiteral& cmdLine);
    PProcess(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir);
    PProcess(const PLiteral& path, const PLiteral& cmdLine, const std::vector<PString>& env);
    PProcess(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
             const std::vector<PString>& env);
    ///@}
    /// Forgets the child, collecting it if it has ended.
    /// @note Never signals it: a running child goes on by itself, owned by
    /// nobody; the next sweep of any collecting call collects its end.
    virtual ~PProcess();

    PProcess(const PProcess&) = delete;            ///< Not copyable.
    PProcess& operator=(const PProcess&) = delete; ///< Not copyable.

    /// Starts the child with `fork` and `execvp`; returns once it is forked.
    ///
    /// The arguments are the command line split at every blank, with no
    /// quoting or escaping; element 0 is the path. The child keeps the
    /// caller's process group, descriptors (the library's own are
    /// close-on-exec) and signal dispositions.
    /// @returns #PRES_OK (0) in the caller; #PPROCESS_ERR_START (-744) while
    /// this object's child still runs (it is left alone); #PRES_NOT_FOUND
    /// (-504) for an empty path, and #PRES_NO_MEMORY (-501) when the argument
    /// vector cannot be allocated, both without forking.
    /// @warning An argument can never hold a blank: "a 'b c'" gives the three
    /// arguments `a`, `'b` and `c'`, and two blanks in a row give an empty
    /// argument. Pass such values through the environment or a file.
    /// @warning Failures in the child show only in its exit status, read with
    /// waitExitCode(): 139 when the working directory cannot be entered (or
    /// converted), the `errno` of `execvp` when the program cannot run (2 for
    /// a missing program, 13 when it is not executable). Bad environment
    /// entries (no '=', not convertible) are reported and skipped.
    /// @warning The child leaves those failures through `exit`, not `_exit`:
    /// the caller's `atexit` handlers and static destructors run in it, and
    /// stdio buffers other than stdout and stderr (flushed before the fork)
    /// are written twice. Check the program and directory beforehand
    /// (PFile::exists()), and keep exit handlers harmless in a child.
    /// @note A failed `fork` is only reported by a level -1 line: the result
    /// is still 0, getPID() then gives #PPROCESS_ERR_NO_PROCESS, and
    /// waitExitCode() would wait for any child of the process.
    /// @note Path, arguments, directory and entries are cut or lost like any
    /// non-ASCII text (PLiteral::pwchar2pchar()).
    int start();
    /// Sets @p running to whether the child still runs; false when there is
    /// none. When there is one, collects ended children first (see the class).
    /// @returns #PRES_OK (0), always.
    int isRunning(bool& running) const;
    /// The child's id, while it runs; when there is one, collects ended
    /// children first.
    /// @returns #PRES_OK (0); #PPROCESS_ERR_NO_PROCESS (-743) when no child
    /// runs, @p pid untouched.
    int getPID(unsigned int& pid) const;
    /// Kills the running child with SIGKILL, pauses one second, then forgets
    /// it (its exit status is collected and lost).
    /// @returns #PRES_OK (0), also when there was no running child (it is
    /// forgotten all the same); #PPROCESS_ERR_KILL (-742) when the signal
    /// fails.
    /// @note SIGKILL, unlike the static kill(unsigned int), which sends SIGTERM.
    int kill();
    /// Waits for the child to end, for at most about @p ms milliseconds.
    ///
    /// Polls in steps of @p ms / 10, but at least 1000 ms, and sleeps only
    /// whole steps: 500 does not wait at all (one check), 1500 waits one
    /// second, 60000 polls every 6 seconds.
    /// @returns true when the child still runs at the end; false when it
    /// ended, or there is none.
    /// @warning The child's end is collected here and its exit status thrown
    /// away: a later waitExitCode() returns #PPROCESS_ERR_NO_PROCESS (-743).
    /// When the exit code matters, wait with waitExitCode() instead.
    bool waitFinish(unsigned int ms);
    /// Waits, without limit, for the child to end and gives its exit code.
    ///
    /// @param exitCode receives the exit status (0..255), or minus the signal
    ///        number that ended the child (-9 for SIGKILL); -1 on failure.
    /// @returns #PRES_OK (0); #PPROCESS_ERR_NO_PROCESS (-743) when there is no
    /// child, or it was collected already (by a collecting call, see the
    /// class, or an earlier waitExitCode()); #PPROCESS_ERR_STOPPED (-512)
    /// for a child reported stopped; #PRES_FAILED (-500) when `waitpid` fails
    /// otherwise.
    /// @note Every call prints two `[DBGONLY][waitExitCode]` lines on standard
    /// error, whatever `PL_DEBUG` says.
    ///
    /// To wait with a time-out and still get the code, let a thread of your
    /// own wait, and stop the child at the deadline:
    /// @code
    /// struct Wait { PProcess* proc; int code; int res; std::atomic<bool> done; };
    /// void* waitChild(void* arg)
    /// {
    ///     Wait* w = static_cast<Wait*>(arg);
    ///     w->res = w->proc->waitExitCode(w->code);
    ///     w->done = true;
    ///     return nullptr;
    /// }
    ///
    /// // Right after proc.start() returned 0:
    /// Wait w{&proc, -1, 0, {false}};
    /// PThread waiter;
    /// waiter.pcreate(waitChild, &w);
    /// for (unsigned int ms = 0; !w.done && ms < 30000; ms += 100)
    ///     PThread::psleep(100);
    /// unsigned int pid = 0;
    /// if (!w.done && proc.getPID(pid) == PRES_OK)
    ///     PProcess::killSignal(pid, PPROCESS_KILL); // the waiter gets -9
    /// void* unused = nullptr;
    /// waiter.pjoin(unused); // w.code and w.res are final now
    /// @endcode
    /// Meanwhile no other thread may make a collecting call. getPID() at the
    /// deadline collects the child only if it ends at that very moment; the
    /// waiter then reports #PPROCESS_ERR_NO_PROCESS.
    int waitExitCode(int& exitCode);
    /// Forgets the child without waiting or signalling, collecting it if it
    /// has ended.
    /// @returns #PRES_OK (0), always.
    int clearProcessInfo();
    /// Forgets the child's id without collecting it.
    /// @returns #PRES_OK (0), always.
    /// @note An ended child forgotten this way stays a zombie until some
    /// sweep collects it; clearProcessInfo() is the tidy form.
    int initProcessInfo();

    /// The static getName() of the child.
    /// @returns its codes; #PPROCESS_ERR_NO_PROCESS (-743) when there is no child.
    int getName(PString& name) const;
    /// The static getPath() of the child; when that fails for another reason
    /// than a missing child, the path given to the constructor, with 0.
    /// @returns #PRES_OK (0); #PPROCESS_ERR_NO_PROCESS (-743) when there is no
    /// child.
    int getPath(PString& path) const;
    /// The static getCmdLine() of the child; when that fails for another
    /// reason than a missing child, the command line given to the constructor,
    /// with 0.
    /// @returns #PRES_OK (0); #PPROCESS_ERR_NO_PROCESS (-743) when there is no
    /// child.
    int getCmdLine(PString& cmdLine) const;
    /// The static getWorkingDir() of the child, with no fall-back.
    /// @returns its codes; #PPROCESS_ERR_NO_PROCESS (-743) when there is no child.
    int getWorkingDir(PString& dir) const;
    /// Not implemented for a child.
    /// @returns #PPROCESS_ERR_NO_PROCESS (-743), always; @p env untouched.
    int getEnvironment(std::vector<PString>& env) const;
    /// The static getPriority() of the child.
    /// @returns its codes; #PPROCESS_ERR_NO_PROCESS (-743) when there is no child.
    int getPriority(int& priority) const;
    /// Sets @p bytes to 0, meaning "not measured".
    /// @returns #PRES_OK (0), always.
    int getMemoryUsage(unsigned long long& bytes) const;
    /// Starting as another user is not implemented; both arguments are unused.
    /// @returns #PPROCESS_ERR_START (-744) while the child runs; otherwise the
    /// child is forgotten and #PRES_NOT_IMPLEMENTED (-508), nothing started.
    int startProcAsDifferentUser(PString user, PString password);

    ///@{
    /// Starts a process as the constructor of the same arguments and start()
    /// do, and gives back only its id in @p pid.
    ///
    /// @returns #PRES_OK (0); the codes of start(); #PPROCESS_ERR_NO_PROCESS
    /// (-743) when the child ended before its id was read (it did start);
    /// #PRES_NO_MEMORY (-501).
    /// @warning Nobody holds the child afterwards: its exit code cannot be
    /// had, and its end is collected by the next sweep. Use an object when the
    /// exit code matters.
    static int start(const PLiteral& path, const PLiteral& cmdLine, unsigned int& pid);
    static int start(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
                     unsigned int& pid);
    static int start(const PLiteral& path, const PLiteral& cmdLine, const std::vector<PString>& env,
                     unsigned int& pid);
    static int start(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
                     const std::vector<PString>& env, unsigned int& pid);
    ///@}

    /// Sends @p signal to @p pid with `kill(2)`, pauses one second, then
    /// collects @p pid if it is an ended child of the caller.
    ///
    /// @param pid passed to `kill(2)` unchecked.
    /// @param signal a POSIX signal number, such as #PPROCESS_TERMINATE or
    ///        #PPROCESS_KILL.
    /// @returns #PRES_OK (0); #PPROCESS_ERR_KILL (-742) when `kill` fails (no
    /// such process, no permission), without the pause.
    /// @warning Always blocks one second after a signal was sent.
    /// @warning The id is not checked. 0 signals every process in the caller's
    /// process group, the caller included; 0xFFFFFFFF signals every process
    /// the caller may signal; ids from 0x80000000 up signal process groups.
    /// Pass only ids you know, greater than 0 and below 0x80000000.
    static int killSignal(unsigned int pid, int signal);
    /// killSignal(@p pid, #PPROCESS_TERMINATE): SIGTERM, with the same pause
    /// and the same unchecked id.
    /// @returns as killSignal().
    static int kill(unsigned int pid);
    /// Waits for @p pid to disappear, for at most about @p ms milliseconds,
    /// polling with isRunning(unsigned int, bool&) in the steps of
    /// waitFinish(unsigned int).
    /// @returns true when it still exists at the end.
    /// @note A wait below 1000 ms checks once and does not sleep.
    static bool waitFinish(unsigned int pid, unsigned int ms);
    /// Sets @p running to whether process @p pid exists, after collecting
    /// every ended child in the caller's process group (whose exit statuses
    /// are lost, see the class).
    /// @returns #PRES_OK (0), always; a failed look-up answers false.
    static int isRunning(unsigned int pid, bool& running);
    /// The parent id of @p pid.
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when there is no such
    /// process, @p ppid 0; #PRES_FAILED (-500) when its record cannot be read.
    static int getParentPID(unsigned int pid, unsigned int& ppid);
    /// The ids of the direct children of @p pid; @p children is emptied first.
    /// With @p pid 0 every process is listed.
    /// @returns #PRES_OK (0); #PRES_FAILED (-500) when the process table cannot
    /// be read.
    static int getChildPID(unsigned int pid, std::vector<unsigned int>& children);
    /// The ids of every process, the caller's included; @p pids is emptied
    /// first.
    /// @returns #PRES_OK (0); #PRES_FAILED (-500) when the process table cannot
    /// be read.
    static int listPIDs(std::vector<unsigned int>& pids);
    /// Stops @p pid and all its descendants: SIGTERM to each, root first and
    /// then generation by generation, each followed by up to two seconds'
    /// grace and SIGKILL if it still exists.
    ///
    /// The tree is taken once, before the first signal; processes started
    /// meanwhile are not seen.
    /// @returns #PRES_OK (0); otherwise the code of the last signal that
    /// failed, #PPROCESS_ERR_KILL (-742), also when a process ended by itself
    /// (say with its parent) before its turn: ask isRunning(unsigned int, bool&)
    /// rather than read the code as "still alive".
    /// @warning Blocks about one second for each process that ends on SIGTERM
    /// and about four for each that ignores it: a tree of five stubborn
    /// processes takes some twenty seconds.
    /// @warning The id is not checked. killTree(0) lists every process as a
    /// child of 0, then signals the caller's process group (the caller
    /// included) and terminates, then kills, every process it may signal;
    /// 0xFFFFFFFF terminates every process the caller may signal. Pass only
    /// ids you know, greater than 0 and below 0x80000000.
    static int killTree(unsigned int pid);

    /// The name of process @p pid as the kernel keeps it (at most 15
    /// characters); collects ended children first.
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when there is no such
    /// process, @p name emptied (with a report).
    static int getName(unsigned int pid, PString& name);
    /// The path of the program that process @p pid runs; collects ended
    /// children first.
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when it cannot be read
    /// (no such process, not permitted), with a report.
    static int getPath(unsigned int pid, PString& path);
    /// The arguments of process @p pid, program first, joined by blanks; an
    /// argument that holds a blank is put in double quotes.
    /// @returns #PRES_OK (0), also with an empty line for a process without
    /// arguments; #PRES_NOT_FOUND (-504) when there is no such process (with a
    /// report).
    static int getCmdLine(unsigned int pid, PString& cmdLine);
    /// The working directory of process @p pid.
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when there is no such
    /// process or it cannot be read (another user's process), with a report.
    static int getWorkingDir(unsigned int pid, PString& dir);
    /// The name of the user that process @p pid runs as.
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when there is no such
    /// process or /etc/passwd cannot be read, @p name emptied (with a report).
    /// @warning Finds no user on Linux: it looks for a line containing "uid"
    /// (lower case) in the process's status file, where the line is "Uid:", so
    /// the result is 0 with an empty @p name. Read the real user id from
    /// /proc and use `getpwuid` instead.
    static int getUserName(const unsigned int& pid, PString& name);
    /// Appends to @p pids the ids of the processes called @p name, and their
    /// parents' ids to @p ppids at the same index.
    ///
    /// Any directory part of @p name is dropped; names compare whole and
    /// ignoring case; for a name of 15 characters or more, a process whose
    /// kernel name was cut to 15 is compared by the program in its command
    /// line.
    /// @returns #PRES_OK (0), also when none matches; #PRES_NOT_FOUND (-504)
    /// when /proc cannot be read.
    static int find(const PString& name, std::vector<unsigned int>& pids, std::vector<unsigned int>& ppids);
    /// The busy share, in percent, of processor @p cpu over 400 ms.
    /// @returns #PRES_OK (0); #PFILE_ERR_OPEN (-611) when /proc/stat cannot be
    /// opened; #PRES_FAILED (-500) when there is no such processor or its
    /// values cannot be read (with a report).
    /// @note Blocks 400 ms.
    static int getSpecCPUUsage(unsigned int cpu, unsigned int& usage);
    /// Not implemented: @p env is emptied.
    /// @returns #PRES_OK (0), always.
    static int getEnvironment(unsigned int pid, std::vector<PString>& env);
    ///@{
    /// Not implemented: 0 meaning "not measured" (getMemoryUsage() leaves
    /// @p bytes as it is).
    /// @returns #PRES_OK (0), always.
    /// @warning Never read these zeros as measurements.
    static int getMemoryUsage(unsigned int pid, unsigned long long& bytes);
    static int getFreeMemory(unsigned long long& bytes);
    static int getCPUUsage(unsigned int& usage);
    static int getCPUUsage(unsigned int pid, unsigned int& usage);
    ///@}
    /// The nice value of process @p pid (-1 is a valid answer).
    /// @returns #PRES_OK (0); #PRES_NOT_FOUND (-504) when there is no such
    /// process (with a report).
    static int getPriority(unsigned int pid, int& priority);
    /// Not implemented: getEnvironment() of the caller, so @p env is emptied.
    /// @returns #PRES_OK (0), always.
    static int getCurrentEnvironment(std::vector<PString>& env);
    /// The caller's process id.
    static unsigned int getCurrentPID();

private:
    int startChild();
    [[noreturn]] void execChild(char* file, char** argv);
    static void sweepZombies();

    PString fPath;
    PString fCmdLine;
    std::vector<PString> fEnv;
    PString fWorkingDir;
    PThread fThread;
    int fPid;
};

#endif // QRIX_PPROCESS_H
