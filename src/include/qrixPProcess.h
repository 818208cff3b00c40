// PProcess: one child process the caller starts (program, arguments, working
// directory, extra environment), plus static operations on any process id:
// signalling, waiting, existence, parent and children, whole-tree stopping and
// queries about name, path, command line and the like.
#ifndef QRIX_PPROCESS_H
#define QRIX_PPROCESS_H

#include <vector>

#include "qrixPString.h"
#include "qrixPThread.h"
#include "qrixTypes.h"

// Signal kinds of PProcess::killSignal: the POSIX signal numbers themselves.
constexpr int PPROCESS_TERMINATE = 15;
constexpr int PPROCESS_KILL = 9;

class QRIX_EXPORT PProcess {
public:
    PProcess(const PLiteral& path, const PLiteral& cmdLine);
    PProcess(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir);
    PProcess(const PLiteral& path, const PLiteral& cmdLine, const std::vector<PString>& env);
    PProcess(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
             const std::vector<PString>& env);
    // Never signals the child: a running child goes on by itself.
    virtual ~PProcess();

    PProcess(const PProcess&) = delete;
    PProcess& operator=(const PProcess&) = delete;

    int start();
    int isRunning(bool& running) const;
    int getPID(unsigned int& pid) const;
    // SIGKILL, unlike the static kill(pid), which terminates.
    int kill();
    // True when the child still runs at the end of the wait.
    bool waitFinish(unsigned int ms);
    int waitExitCode(int& exitCode);
    int clearProcessInfo();
    int initProcessInfo();

    int getName(PString& name) const;
    // Falls back to the constructed path when the query fails.
    int getPath(PString& path) const;
    // Falls back to the constructed argument line when the query fails.
    int getCmdLine(PString& cmdLine) const;
    int getWorkingDir(PString& dir) const;
    int getEnvironment(std::vector<PString>& env) const;
    int getPriority(int& priority) const;
    int getMemoryUsage(unsigned long long& bytes) const;
    int startProcAsDifferentUser(PString user, PString password);

    // Start a process and give back only its id; nobody holds the child afterwards.
    static int start(const PLiteral& path, const PLiteral& cmdLine, unsigned int& pid);
    static int start(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
                     unsigned int& pid);
    static int start(const PLiteral& path, const PLiteral& cmdLine, const std::vector<PString>& env,
                     unsigned int& pid);
    static int start(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
                     const std::vector<PString>& env, unsigned int& pid);

    static int killSignal(unsigned int pid, int signal);
    static int kill(unsigned int pid);
    static bool waitFinish(unsigned int pid, unsigned int ms);
    // Collects every ended child of the process group first; always 0.
    static int isRunning(unsigned int pid, bool& running);
    static int getParentPID(unsigned int pid, unsigned int& ppid);
    static int getChildPID(unsigned int pid, std::vector<unsigned int>& children);
    static int listPIDs(std::vector<unsigned int>& pids);
    // Terminates the root first, then each generation; survivors get SIGKILL.
    static int killTree(unsigned int pid);

    static int getName(unsigned int pid, PString& name);
    static int getPath(unsigned int pid, PString& path);
    static int getCmdLine(unsigned int pid, PString& cmdLine);
    static int getWorkingDir(unsigned int pid, PString& dir);
    static int getUserName(const unsigned int& pid, PString& name);
    // Appends to both vectors, index for index.
    static int find(const PString& name, std::vector<unsigned int>& pids, std::vector<unsigned int>& ppids);
    static int getSpecCPUUsage(unsigned int cpu, unsigned int& usage);
    static int getEnvironment(unsigned int pid, std::vector<PString>& env);
    static int getMemoryUsage(unsigned int pid, unsigned long long& bytes);
    static int getFreeMemory(unsigned long long& bytes);
    static int getCPUUsage(unsigned int& usage);
    static int getCPUUsage(unsigned int pid, unsigned int& usage);
    static int getPriority(unsigned int pid, int& priority);
    static int getCurrentEnvironment(std::vector<PString>& env);
    static unsigned int getCurrentPID();

private:
    int startChild();
    static void sweepZombies();

    PString fPath;
    PString fCmdLine;
    std::vector<PString> fEnv;
    PString fWorkingDir;
    PThread fThread;
    int fPid;
};

#endif // QRIX_PPROCESS_H
