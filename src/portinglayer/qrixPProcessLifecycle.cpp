// PProcess: one child of the caller's, from construction through start, to
// its exit code and its being forgotten; and the static start overloads.
#include "qrixPProcess.h"

#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "qrixDiag.h"
#include "qrixPPtr.h"
#include "qrixPProcessArgs.h"
#include "qrixPUtils.h"

namespace {

// Leaves the child with exit status 139 (-629) when the directory cannot be
// converted or entered; the parent sees nothing else of it.
void enterWorkingDir(const PString& workingDir)
{
    if (workingDir.len() == 0)
        return;
    PPtr<char> dir(PLiteral::pwchar2pchar(workingDir.ptr(), PSTR_ALL), PTR_ARRAY);
    if (!dir.getPtr()) {
        PL_ERR("\n\n[DBGONLY][PProcess::start] Failed to convert fWorkingDir to pchar*\n\n");
        std::exit(PPROCESS_EXIT_EXEC_FAILED);
    }
    if (chdir(dir.getPtr()) != 0) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::start] Failed to chdir to %s errno: %d %s\n\n", dir.getPtr(), err,
               std::strerror(err));
        std::exit(PPROCESS_EXIT_EXEC_FAILED);
    }
}

// "<name>=<value>" entries, split at the first '='; bad entries are reported
// and skipped, never fatal.
void applyEnvironment(const std::vector<PString>& env)
{
    for (size_t i = 0; i < env.size(); ++i) {
        PPtr<char> entry(PLiteral::pwchar2pchar(env[i].ptr(), PSTR_ALL), PTR_ARRAY);
        if (!entry.getPtr()) {
            PL_ERR("\n\n[DBGONLY][PProcess::start] Failed to convert fEnv: %d to pchar*\n\n", (int)i);
            continue;
        }
        char* equals = std::strchr(entry.getPtr(), '=');
        if (!equals) {
            PL_ERR("\n\n[DBGONLY][PProcess::start] Invalid environment variable. Syntax is '<name>=<value>' (where "
                   "value is optional)!\n\n");
            continue;
        }
        *equals = '\0';
        if (setenv(entry.getPtr(), equals + 1, 1) != 0) {
            int err = errno;
            PL_ERR("\n\n[DBGONLY][PProcess::start] Failed to set environment variable errno: %d %s\n\n", err,
                   std::strerror(err));
        }
    }
}

} // namespace

PProcess::PProcess(const PLiteral& path, const PLiteral& cmdLine)
    : PProcess(path, cmdLine, PLiteral(), std::vector<PString>())
{
}

PProcess::PProcess(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir)
    : PProcess(path, cmdLine, workingDir, std::vector<PString>())
{
}

PProcess::PProcess(const PLiteral& path, const PLiteral& cmdLine, const std::vector<PString>& env)
    : PProcess(path, cmdLine, PLiteral(), env)
{
}

PProcess::PProcess(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
                   const std::vector<PString>& env)
    : fPath(path), fCmdLine(cmdLine), fEnv(env), fWorkingDir(workingDir), fPid(0)
{
    fPath.trim();
    PUtils::fixFileSeparator(fPath);
    fCmdLine.trim();
    fWorkingDir.trim();
    PUtils::fixFileSeparator(fWorkingDir);
    initProcessInfo();
}

PProcess::~PProcess()
{
    fEnv.clear();
    clearProcessInfo();
}

int PProcess::start()
{
    bool running = false;
    int rc = isRunning(running);
    PL_DBG(1, "[PL_DBG]<%02d> [PProcess::start] fPath: '%ls', fCmdLine: '%ls', running: %d\n", PL_WSTR(fPath),
           PL_WSTR(fCmdLine), (int)running);
    if (running) {
        PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::start] Process already running fPath: '%ls', fCmdLine: '%ls'\n",
               PL_WSTR(fPath), PL_WSTR(fCmdLine));
        return PPROCESS_ERR_START;
    }
    clearProcessInfo();
    initProcessInfo();
    PL_DBG(1, "[PL_DBG]<%02d> [PProcess::start] starting fPath: '%ls', fCmdLine: '%ls', fEnv.size: %d\n",
           PL_WSTR(fPath), PL_WSTR(fCmdLine), (int)fEnv.size());
    if (!fPath.ptr() || fPath.len() == 0) {
        PL_ERR("\n\n[DBGONLY][PProcess::start] Empty process path: %ls fCmdLine: %ls\n\n", PL_WSTR(fPath),
               PL_WSTR(fCmdLine));
        return PRES_NOT_FOUND;
    }
    // Made here, not in the child, so that a failed allocation reaches the
    // caller instead of a second copy of it.
    qrix::detail::ArgumentVector args;
    if (args.build(fPath, fCmdLine) != PRES_OK)
        return PRES_NO_MEMORY;
    // Unflushed output would otherwise be written twice, once by the child's exit.
    std::fflush(stdout);
    std::fflush(stderr);
    fPid = fork();
    if (fPid != 0) {
        if (fPid == -1)
            PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::start] fork() failed errno: %d %s\n", errno, std::strerror(errno));
        else
            PL_DBG(1, "[PL_DBG]<%02d> [PProcess::start] Child process pid: %d\n", fPid);
        return rc;
    }
    execChild(args.file(), args.argv());
}

// Kept because earlier releases export it; start() no longer calls it.
int PProcess::startChild()
{
    qrix::detail::ArgumentVector args;
    if (args.build(fPath, fCmdLine) != PRES_OK)
        return PRES_NO_MEMORY;
    execChild(args.file(), args.argv());
}

void PProcess::execChild(char* file, char** argv)
{
    fPid = getpid();
    PL_DBG(0, "[PL_DBG]<%02d> [PProcess::start] Child process started with pid: %d, name: '%ls', param: '%ls'\n",
           fPid, PL_WSTR(fPath), PL_WSTR(fCmdLine));
    enterWorkingDir(fWorkingDir);
    applyEnvironment(fEnv);

    PL_DBG(1, "[PL_DBG]<%02d> [PProcess::start] execvp('%s') pid: %d, pgid: %d\n", file, (int)getpid(),
           (int)getpgid(0));
    execvp(file, argv);
    int err = errno;
    PL_ERR("\n\n[DBGONLY][PProcess::start] Failed to execvp(...) errno: %d %s\n\n", err, std::strerror(err));
    std::exit(err);
}

int PProcess::isRunning(bool& running) const
{
    running = false;
    PL_DBG(11, "[PL_DBG]<%02d> [PProcess::isRunning] () fPid: %d\n", fPid);
    if (fPid == 0)
        return PRES_OK;
    PL_DBG(1, "[PL_DBG]<%02d> [PProcess::isRunning] own PID not set -> false\n");
    return isRunning((unsigned int)fPid, running);
}

int PProcess::getPID(unsigned int& pid) const
{
    bool running = false;
    int res = isRunning(running);
    PL_DBG(10, "[PL_DBG]<%02d> [PProcess::getPID] isRunning: %d, res: %d\n", (int)running, res);
    if (!running)
        return PPROCESS_ERR_NO_PROCESS;
    pid = (unsigned int)fPid;
    PL_DBG(3, "[PL_DBG]<%02d> [PProcess::getPID] return PID: %d\n", fPid);
    return PRES_OK;
}

int PProcess::waitExitCode(int& exitCode)
{
    exitCode = -1;
    int result = PPROCESS_ERR_NO_PROCESS;
    if (fPid != 0) {
        int status = -1;
        pid_t r = waitpid(fPid, &status, 0);
        int err = errno;
        PL_ERR("[DBGONLY][waitExitCode] waitpid(pid:%d, status:[%d], 0) -> %d\n", fPid, status, (int)r);
        if (r != -1) {
            if (WIFEXITED(status)) {
                exitCode = WEXITSTATUS(status);
                result = PRES_OK;
            } else if (WIFSIGNALED(status)) {
                exitCode = -WTERMSIG(status);
                result = PRES_OK;
            } else {
                result = PPROCESS_ERR_STOPPED;
            }
        } else if (err == ECHILD) {
            result = PPROCESS_ERR_NO_PROCESS;
        } else {
            PL_ERR("\n\n[DBGONLY][waitExitCode] waitpid(%d) failed. errno: %d (%s)\n\n", fPid, err,
                   std::strerror(err));
            result = PRES_FAILED;
        }
    }
    PL_ERR("[DBGONLY][waitExitCode] exitCode:[%d] -> res:[%d]\n", exitCode, result);
    return result;
}

int PProcess::clearProcessInfo()
{
    int pid = fPid;
    fPid = 0;
    if (pid == 0)
        return PRES_OK;
    int status = 0;
    pid_t r = waitpid(pid, &status, WNOHANG);
    if (r == 0) {
        PL_DBG(1, "[PL_DBG]<%02d> [PProcess::clearProcessInfo] process pid: %d is still alive\n", pid);
    } else if (r > 0) {
        if (WIFEXITED(status))
            PL_DBG(1, "[PL_DBG]<%02d> [PProcess::clearProcessInfo] Process was terminated normally pid: %d\n", pid);
        else if (WIFSIGNALED(status))
            PL_DBG(1,
                   "[PL_DBG]<%02d> [PProcess::clearProcessInfo] Process was terminated by a signal pid: %d, "
                   "status: 0x%x\n",
                   pid, (unsigned int)status);
    } else if (errno != ECHILD) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::clearProcessInfo] waitpid(...) pid: %d errno: %d %s\n\n", pid, err,
               std::strerror(err));
    }
    return PRES_OK;
}

int PProcess::initProcessInfo()
{
    fPid = 0;
    return PRES_OK;
}

// The temporary object forgets its child when it goes: nobody holds it then.
int PProcess::start(const PLiteral& path, const PLiteral& cmdLine, unsigned int& pid)
{
    return start(path, cmdLine, PLiteral(), std::vector<PString>(), pid);
}

int PProcess::start(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir, unsigned int& pid)
{
    return start(path, cmdLine, workingDir, std::vector<PString>(), pid);
}

int PProcess::start(const PLiteral& path, const PLiteral& cmdLine, const std::vector<PString>& env,
                    unsigned int& pid)
{
    return start(path, cmdLine, PLiteral(), env, pid);
}

int PProcess::start(const PLiteral& path, const PLiteral& cmdLine, const PLiteral& workingDir,
                    const std::vector<PString>& env, unsigned int& pid)
{
    PPtr<PProcess> process(new (std::nothrow) PProcess(path, cmdLine, workingDir, env), PTR_SINGLE);
    if (!process.getPtr())
        return PRES_NO_MEMORY;
    int rc = process->start();
    if (rc != PRES_OK)
        return rc;
    return process->getPID(pid);
}
