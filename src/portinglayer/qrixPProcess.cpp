// PProcess: starting, watching and stopping child processes, stopping whole
// process trees, and queries about any process.
#include "qrixPProcess.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <new>
#include <string>

#include "linux/qrix_proctable.h"
#include "qrixDiag.h"
#include "qrixPFile.h"
#include "qrixPPtr.h"
#include "qrixPUtils.h"
#include "qrix_macosx.h"

namespace {

const size_t PROC_PATH_SIZE = 128;
const int PROC_LINE_SIZE = 256; // fgets keeps at most 255 bytes
const size_t PROC_LINK_SIZE = 512;
const size_t PROC_CHUNK_SIZE = 255;
const size_t CPU_BLOCK_SIZE = 2048;
const unsigned int KILL_PAUSE_MS = 1000;
const unsigned int KILL_TREE_GRACE_MS = 2000;
const unsigned int MIN_POLL_STEP_MS = 1000;
const unsigned int CPU_SAMPLE_MS = 400;
// The kernel cuts the status name to this many characters.
const unsigned long KERNEL_NAME_LEN = 15;
// An id no passwd field holds, so that an unread user id finds nobody.
const int NO_USER_ID = -1;

// A tenth of the wait, but never below one second.
unsigned int pollStep(unsigned int ms)
{
    unsigned int step = ms / 10;
    return step < MIN_POLL_STEP_MS ? MIN_POLL_STEP_MS : step;
}

__attribute__((format(printf, 2, 3))) void formatProcPath(char (&path)[PROC_PATH_SIZE], const char* format, ...)
{
    std::memset(path, 0, sizeof(path));
    va_list args;
    va_start(args, format);
    std::vsnprintf(path, sizeof(path), format, args);
    va_end(args);
}

bool readStatusName(const char* line, PString& name)
{
    if (std::strncmp(line, "Name:", 5) != 0)
        return false;
    name.set(line + 5);
    name.trim();
    return true;
}

bool readStatusNumber(const char* line, const char* label, unsigned int& value)
{
    if (std::strncmp(line, label, std::strlen(label)) != 0)
        return false;
    return std::sscanf(line, "%*s %u", &value) == 1;
}

// Empty pieces of a command line still become arguments, never terminators.
PPtr<char> narrowArgument(const PString& token)
{
    char* text = PLiteral::pwchar2pchar(token.ptr(), token.len());
    if (!text)
        text = new (std::nothrow) char[1]();
    return PPtr<char>(text, PTR_ARRAY);
}

void appendCmdLinePiece(std::string& out, const std::string& piece, bool& first)
{
    if (!first)
        out += ' ';
    first = false;
    if (piece.find(' ') != std::string::npos)
        out += '"' + piece + '"';
    else
        out += piece;
}

// `method` names the query in the failure report.
int readLinkTarget(const char* linkPath, PString& target, const char* method)
{
    char buffer[PROC_LINK_SIZE];
    std::memset(buffer, 0, sizeof(buffer));
    if (readlink(linkPath, buffer, sizeof(buffer) - 1) == -1) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::%s] Failed to readlink errno: %d %s\n\n", method, err, std::strerror(err));
        return PRES_NOT_FOUND;
    }
    target.set(buffer);
    target.trim();
    return PRES_OK;
}

// Finds the label in the 2048-byte blocks of /proc/stat and reads user, nice,
// system and idle after it.
int readCpuValues(FILE* file, const char* label, unsigned int cpu, long long (&values)[4])
{
    char block[CPU_BLOCK_SIZE + 1];
    for (;;) {
        size_t n = std::fread(block, 1, CPU_BLOCK_SIZE, file);
        if (n == 0) {
            PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR while trying to read the values for CPU%u", cpu);
            return PRES_FAILED;
        }
        block[n] = '\0';
        const char* found = std::strstr(block, label);
        if (!found)
            continue;
        const char* blank = std::strchr(found, ' ');
        if (!blank || std::sscanf(blank, "%lld %lld %lld %lld", &values[0], &values[1], &values[2], &values[3]) < 4) {
            PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR: Failed reading values.");
            return PRES_FAILED;
        }
        return PRES_OK;
    }
}

bool isProcEntry(const struct dirent* entry)
{
    return entry->d_type == DT_DIR && std::isdigit((unsigned char)entry->d_name[0]) &&
           std::strlen(entry->d_name) + 16 < PROC_PATH_SIZE;
}

// The program name of argv[0] (what follows its last '/').
void readCmdLineProgram(const char* entryName, PString& program)
{
    program.clear();
    char path[PROC_PATH_SIZE];
    formatProcPath(path, "/proc/%s/cmdline", entryName);
    FILE* file = std::fopen(path, "re");
    if (!file)
        return;
    char line[PROC_LINE_SIZE];
    if (std::fgets(line, sizeof(line), file)) {
        const char* slash = std::strrchr(line, '/');
        program.set(slash ? slash + 1 : line);
    }
    std::fclose(file);
}

bool sameName(const PLiteral& a, const PLiteral& b)
{
    unsigned long pos = 0;
    return a.len() == b.len() && a.str(b, pos, false, true) == PRES_OK;
}

// The instance queries ask about the object's own child, and there is none without an id.
template <class Out>
int queryOwnChild(int pid, int (*query)(unsigned int, Out&), Out& out)
{
    return pid == 0 ? PPROCESS_ERR_NO_PROCESS : query((unsigned int)pid, out);
}

// A query that fails for another reason than a missing child gives back what
// the object was made with.
int orGiven(int rc, PString& out, const PString& given)
{
    if (rc == PRES_OK || rc == PPROCESS_ERR_NO_PROCESS)
        return rc;
    out = given;
    return PRES_OK;
}

} // namespace

// ---------------------------------------------------------------------------
// Construction

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

// ---------------------------------------------------------------------------
// Child lifecycle

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
    return startChild();
}

int PProcess::startChild()
{
    fPid = getpid();
    PL_DBG(0, "[PL_DBG]<%02d> [PProcess::start] Child process started with pid: %d, name: '%ls', param: '%ls'\n",
           fPid, PL_WSTR(fPath), PL_WSTR(fCmdLine));
    static char lNoProgram[1] = {0};
    PPtr<char> program(PLiteral::pwchar2pchar(fPath.ptr(), PSTR_ALL), PTR_ARRAY);

    std::vector<PPtr<char>> tokens;
    PString token;
    while (PLiteral::getNextToken(fCmdLine, token, L' ') == PRES_OK)
        tokens.push_back(narrowArgument(token));

    PPtr<char*> argv(new (std::nothrow) char*[tokens.size() + 2], PTR_ARRAY);
    if (!argv.getPtr())
        return PRES_NO_MEMORY;
    char* file = program.getPtr() ? program.getPtr() : lNoProgram;
    argv.getPtr()[0] = file;
    for (size_t i = 0; i < tokens.size(); ++i)
        argv.getPtr()[i + 1] = tokens[i].getPtr();
    argv.getPtr()[tokens.size() + 1] = nullptr;

    if (fWorkingDir.len() != 0) {
        PPtr<char> dir(PLiteral::pwchar2pchar(fWorkingDir.ptr(), PSTR_ALL), PTR_ARRAY);
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

    for (size_t i = 0; i < fEnv.size(); ++i) {
        PPtr<char> entry(PLiteral::pwchar2pchar(fEnv[i].ptr(), PSTR_ALL), PTR_ARRAY);
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

    PL_DBG(1, "[PL_DBG]<%02d> [PProcess::start] execvp('%s') pid: %d, pgid: %d\n", file, (int)getpid(),
           (int)getpgid(0));
    execvp(file, argv.getPtr());
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

int PProcess::kill()
{
    bool running = false;
    int rc = isRunning(running);
    if (running) {
        PL_DBG(1, "[PL_DBG]<%02d> [PProcess::kill] kill(PID: %d, sig:%d)\n", fPid, SIGKILL);
        if (::kill(fPid, SIGKILL) != 0) {
            int err = errno;
            PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::kill] kill(PID: %d, sig:%d) failed with errno: %d (%s)\n", fPid,
                   SIGKILL, err, std::strerror(err));
            rc = PPROCESS_ERR_KILL;
        } else {
            PThread::psleep(KILL_PAUSE_MS);
        }
    }
    clearProcessInfo();
    initProcessInfo();
    return rc;
}

bool PProcess::waitFinish(unsigned int ms)
{
    if (fPid == 0)
        return false;
    unsigned int step = pollStep(ms);
    unsigned int i = 0;
    int status = 0;
    pid_t r = 0;
    for (;;) {
        r = waitpid(fPid, &status, WNOHANG);
        if (r != 0 || i >= ms / step)
            break;
        PThread::psleep(step);
        ++i;
    }
    if (r != 0)
        return false;
    bool running = false;
    isRunning(running);
    return running;
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

// ---------------------------------------------------------------------------
// Process tree control

int PProcess::killSignal(unsigned int pid, int signal)
{
    PL_DBG(2, "[PL_DBG]<%02d> [PProcess::killSignal] kill(%d, %d)\n", (int)pid, signal);
    if (::kill((pid_t)pid, signal) == -1) {
        int err = errno;
        PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killSignal] kill(%d, %d) failed. errno:%d (%s)\n", (int)pid, signal,
               err, std::strerror(err));
        return PPROCESS_ERR_KILL;
    }
    PThread::psleep(KILL_PAUSE_MS);
    int status = 0;
    pid_t r = waitpid((pid_t)pid, &status, WNOHANG);
    // The order of these tests is what callers' logs are read against: a
    // collected child takes the errno branch too.
    if (r == 0) {
        int signalBits = status & 0x7f;
        if (signalBits == 0)
            PL_DBG(5, "[PL_DBG]<%02d> [PProcess::killSignal] Process was terminated normally pid: %d\n", (int)pid);
        else if (signalBits != 0x7f)
            PL_DBG(5, "[PL_DBG]<%02d> [PProcess::killSignal] Process was terminated by a signal pid: %d\n",
                   (int)pid);
    } else if (errno != ECHILD) {
        int err = errno;
        PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killSignal] waitpid(...) pid: %d errno: %d %s\n", (int)pid, err,
               std::strerror(err));
    }
    return PRES_OK;
}

int PProcess::kill(unsigned int pid)
{
    return killSignal(pid, PPROCESS_TERMINATE);
}

bool PProcess::waitFinish(unsigned int pid, unsigned int ms)
{
    unsigned int step = pollStep(ms);
    bool running = false;
    int rc = isRunning(pid, running);
    for (unsigned int i = 0; rc == PRES_OK && running && i < ms / step; ++i) {
        PThread::psleep(step);
        rc = isRunning(pid, running);
    }
    return running;
}

void PProcess::sweepZombies()
{
    pid_t r;
    do {
        r = waitpid(0, nullptr, WNOHANG);
        PL_DBG(10, "[PL_DBG]<%02d> [PProcess::isRunning] {zombies} waitpid(0) -> [%d]\n", (int)r);
    } while (r > 0);
}

int PProcess::isRunning(unsigned int pid, bool& running)
{
    running = false;
    PL_DBG(10, "[PL_DBG]<%02d> [PProcess::isRunning] wait zombies for PID: %d\n", (int)pid);
    // The table keeps a record for a zombie, so ended children go first.
    sweepZombies();
    PL_DBG(10, "[PL_DBG]<%02d> [PProcess::isRunning] ### check_pid_running_mac(iPID:%d, proc_id:%p)\n", (int)pid,
           (void*)(uintptr_t)pid);
    int res = check_pid_running_mac((int)pid, running);
    PL_DBG(10, "[PL_DBG]<%02d> [PProcess::isRunning] iPID: %d, running: %d res: %d\n", (int)pid, (int)running, res);
    return PRES_OK;
}

int PProcess::getParentPID(unsigned int pid, unsigned int& ppid)
{
    ppid = 0;
    int result = PRES_OK;
    QrixProcRecord record;
    size_t bytes = 0;
    int rc = qrix_read_proc_record((int)pid, record, bytes);
    if (rc == PRES_FAILED) {
        PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getParentPID] sysctl(KERN_PROC_PID) failed for pid [%d], errno: %d\n\n\n",
               (int)pid, errno);
        result = PRES_FAILED;
    }
    PL_DBG(4, "[PL_DBG]<%02d> [PProcess::getParentPID] sysctl(KERN_PROC_PID) for pid [%d], length: %d\n", (int)pid,
           (int)bytes);
    if (rc == PRES_OK) {
        ppid = (unsigned int)record.ppid;
        PL_DBG(3, "[PL_DBG]<%02d> [PProcess::getParentPID] pid: %d -> ppid: %d\n", (int)pid, (int)ppid);
    } else if (rc == PRES_NOT_FOUND) {
        PL_DBG(0, "[PL_DBG]<%02d> [PProcess::getParentPID] sysctl(KERN_PROC_PID) not found for pid [%d]\n\n",
               (int)pid);
        result = PRES_NOT_FOUND;
    }
    return result;
}

int PProcess::getChildPID(unsigned int pid, std::vector<unsigned int>& children)
{
    children.clear();
    return list_pids_mac((int)pid, children);
}

int PProcess::listPIDs(std::vector<unsigned int>& pids)
{
    pids.clear();
    return list_pids_mac(0, pids);
}

int PProcess::killTree(unsigned int pid)
{
    PL_DBG(0, "[PL_DBG]<%02d> [PProcess::killTree] pid [%d]\n", (int)pid);
    std::vector<unsigned int> all(1, pid);
    int result = PRES_OK;

    // The whole tree is taken before the first signal, breadth-first.
    for (size_t i = 0; i < all.size(); ++i) {
        PL_DBG(0, "[PL_DBG]<%02d> [DBGONLY][PProcess::killTree] getChildPID for PID [%d]\n", (int)all[i]);
        std::vector<unsigned int> children;
        int e = getChildPID(all[i], children);
        if (e != PRES_OK) {
            PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] error[%d], getting children for PID [%d]\n", e,
                   (int)all[i]);
            continue;
        }
        PL_DBG(2, "[PL_DBG]<%02d> [PProcess::killTree] got [%d] children for PID [%d]\n", (int)children.size(),
               (int)all[i]);
        all.insert(all.end(), children.begin(), children.end());
    }

    for (size_t i = 0; i < all.size(); ++i) {
        unsigned int p = all[i];
        PL_DBG(1, "[PL_DBG]<%02d> [PProcess::killTree] killing pid [%d]\n", (int)p);
        int r = killSignal(p, PPROCESS_TERMINATE);
        if (r != PRES_OK) {
            PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] PProcess::killSignal(%d, PPROCESS_TERMINATE) failed with "
                       "error: %d\n",
                   (int)p, r);
            result = r;
        }
        PL_DBG(10, "[PL_DBG]<%02d> [PProcess::killTree] waitpid pid [%d] for %dms\n", (int)p, (int)KILL_TREE_GRACE_MS);
        if (waitFinish(p, KILL_TREE_GRACE_MS)) {
            PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] pid[%d] is still alive.\n", (int)p);
            r = killSignal(p, PPROCESS_KILL);
            if (r != PRES_OK) {
                // Logs the code held before this failure, as the logs always have.
                PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] PProcess::killSignal(%d, PPROCESS_KILL) failed with "
                           "error: %d\n",
                       (int)p, result);
                result = r;
            }
        }
    }
    return result;
}

// ---------------------------------------------------------------------------
// Process information queries

int PProcess::getName(unsigned int pid, PString& name)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getName] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    sweepZombies();
    name.clear();
    char path[PROC_PATH_SIZE];
    formatProcPath(path, "/proc/%u/status", pid);
    FILE* file = std::fopen(path, "re");
    if (!file) {
        PL_ERR("\n\n[DBGONLY][PProcess::getName] Process not found pid: %d\n\n", (int)pid);
        return PRES_NOT_FOUND;
    }
    bool flNameFind = false;
    char line[PROC_LINE_SIZE];
    while (!flNameFind && std::fgets(line, sizeof(line), file))
        flNameFind = readStatusName(line, name);
    std::fclose(file);
    if (!flNameFind) {
        PL_ERR("\n\n[DBGONLY][PProcess::getName] Failed to find flNameFind: %d\n\n", (int)flNameFind);
        return PRES_NOT_FOUND;
    }
    return PRES_OK;
}

int PProcess::getPath(unsigned int pid, PString& path)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getPath] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    sweepZombies();
    char link[PROC_PATH_SIZE];
    formatProcPath(link, "/proc/%u/exe", pid);
    return readLinkTarget(link, path, "getPath");
}

int PProcess::getCmdLine(unsigned int pid, PString& cmdLine)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getCmdLine] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    char path[PROC_PATH_SIZE];
    formatProcPath(path, "/proc/%u/cmdline", pid);
    FILE* file = std::fopen(path, "rbe");
    if (!file) {
        PL_ERR("\n\n[DBGONLY][PProcess::getCmdLine] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    // Arguments are NUL-terminated pieces that may straddle the chunks.
    std::string joined;
    std::string piece;
    bool first = true;
    char chunk[PROC_CHUNK_SIZE];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof(chunk), file)) > 0) {
        for (size_t i = 0; i < n; ++i) {
            if (chunk[i] == '\0') {
                appendCmdLinePiece(joined, piece, first);
                piece.clear();
            } else {
                piece += chunk[i];
            }
        }
    }
    if (!piece.empty())
        appendCmdLinePiece(joined, piece, first);
    std::fclose(file);
    cmdLine.set(joined.c_str());
    return PRES_OK;
}

int PProcess::getWorkingDir(unsigned int pid, PString& dir)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getWorkingDir] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    char link[PROC_PATH_SIZE];
    formatProcPath(link, "/proc/%u/cwd", pid);
    int fd = open(link, O_RDONLY | O_CLOEXEC);
    if (fd == -1) {
        PL_ERR("\n\n[DBGONLY][PProcess::getWorkingDir] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    close(fd);
    return readLinkTarget(link, dir, "getWorkingDir");
}

int PProcess::getUserName(const unsigned int& pid, PString& name)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getUserName] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    PString statusPath;
    PUtils::pformatString(statusPath, L"/proc/%u/status", pid);
    PFile status;
    if (status.popen(statusPath, PFILE_READ, 1) != PRES_OK) {
        name.clear();
        PL_ERR("\n\n[DBGONLY][PProcess::getUserName] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    int uid = NO_USER_ID;
    PString line;
    unsigned long pos = 0;
    // Case-sensitive on purpose.
    while (status.preadLine(line) == PRES_OK) {
        if (line.str(L"uid", pos, false, false) != PRES_OK)
            continue;
        wchar_t label[PROC_LINE_SIZE];
        std::swscanf(line.ptr(), L"%255ls %d", label, &uid);
        break;
    }
    status.pclose();

    if (uid == 0) {
        name = L"root";
        return PRES_OK;
    }
    PString pattern;
    PUtils::pformatString(pattern, L":%d:", uid);
    PFile passwd;
    if (passwd.popen(L"/etc/passwd", PFILE_READ, 1) != PRES_OK) {
        name.clear();
        PL_ERR("\n\n[DBGONLY][PProcess::getUserName] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    name.clear();
    // Any numeric field may match, a group id as well as a user id.
    while (passwd.preadLine(line) == PRES_OK) {
        if (line.str(pattern, pos, false, false) != PRES_OK)
            continue;
        unsigned long colon = 0;
        if (line.chr(L':', colon, false, false) == PRES_OK)
            name.set(line.ptr(), colon);
        else
            name = line;
        break;
    }
    passwd.pclose();
    return PRES_OK;
}

int PProcess::find(const PString& name, std::vector<unsigned int>& pids, std::vector<unsigned int>& ppids)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::find] name: %ls. WARNING! not implemented on MAC!\n", PL_WSTR(name));
    PString searched(name);
    unsigned long slash = 0;
    if (name.chr(L'/', slash, true, false) == PRES_OK)
        searched.set(name.ptr() + slash + 1);

    DIR* dir = opendir("/proc");
    if (!dir) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::find] Failed to open /proc errno: %d %s\n\n", err, std::strerror(err));
        return PRES_NOT_FOUND;
    }
    while (struct dirent* entry = readdir(dir)) {
        if (!isProcEntry(entry))
            continue;
        char path[PROC_PATH_SIZE];
        formatProcPath(path, "/proc/%s/status", entry->d_name);
        FILE* file = std::fopen(path, "re");
        if (!file)
            continue;
        PString statusName;
        unsigned int pid = 0;
        unsigned int ppid = 0;
        bool flNameFind = false;
        bool flPIDFind = false;
        bool flPPIDFind = false;
        char line[PROC_LINE_SIZE];
        while (!(flNameFind && flPIDFind && flPPIDFind) && std::fgets(line, sizeof(line), file)) {
            if (!flNameFind && readStatusName(line, statusName))
                flNameFind = true;
            else if (!flPIDFind && readStatusNumber(line, "Pid:", pid))
                flPIDFind = true;
            else if (!flPPIDFind && readStatusNumber(line, "PPid:", ppid))
                flPPIDFind = true;
        }
        std::fclose(file);
        if (!(flNameFind && flPIDFind && flPPIDFind)) {
            PL_ERR("\n\n[DBGONLY][PProcess::find] Failed to find flNameFind: %d, flPIDFind: %d, flPPIDFind: %d\n\n",
                   (int)flNameFind, (int)flPIDFind, (int)flPPIDFind);
            continue;
        }
        // A 15-character status name may be the kernel's cut of a longer one.
        PString candidate(statusName);
        if (searched.len() >= KERNEL_NAME_LEN && statusName.len() == KERNEL_NAME_LEN)
            readCmdLineProgram(entry->d_name, candidate);
        if (sameName(candidate, searched)) {
            pids.push_back(pid);
            ppids.push_back(ppid);
        }
    }
    closedir(dir);
    return PRES_OK;
}

int PProcess::getSpecCPUUsage(unsigned int cpu, unsigned int& usage)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getSpecCPUUsage] cpu: %d. WARNING! not implemented on MAC!\n", (int)cpu);
    // This query's reports end without line ends; logs are read against them as they are.
    char label[32];
    if (std::snprintf(label, sizeof(label), "cpu%u", cpu) < 0) {
        PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR: Function sprintf() failed.");
        return PRES_FAILED;
    }
    FILE* file = std::fopen("/proc/stat", "re");
    if (!file) {
        PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR: Failed /proc/stat open!");
        return PFILE_ERR_OPEN;
    }
    long long before[4];
    long long after[4];
    int rc = readCpuValues(file, label, cpu, before);
    if (rc == PRES_OK) {
        PThread::psleep(CPU_SAMPLE_MS);
        std::rewind(file);
        rc = readCpuValues(file, label, cpu, after);
    }
    std::fclose(file);
    if (rc != PRES_OK)
        return rc;
    long long diff[4];
    long long total = 0;
    for (int i = 0; i < 4; ++i) {
        diff[i] = after[i] - before[i];
        total += diff[i];
    }
    if (total < 1)
        total = 1;
    float factor = (float)(100.0 / (double)total);
    float busy = (float)diff[0] * factor + (float)diff[1] * factor + (float)diff[2] * factor;
    usage = (unsigned int)busy;
    return PRES_OK;
}

int PProcess::getEnvironment(unsigned int pid, std::vector<PString>& env)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getEnvironment] pid: %d WARNING! not implemented on MAC!\n", (int)pid);
    env.clear();
    return PRES_OK;
}

int PProcess::getMemoryUsage(unsigned int pid, unsigned long long& bytes)
{
    (void)bytes;
    PL_DBG(1000, "[PL_DBG]<%02d> [PProcess::getMemoryUsage] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    return PRES_OK;
}

int PProcess::getFreeMemory(unsigned long long& bytes)
{
    PL_DBG(1000, "[PL_DBG]<%02d> [PProcess::getFreeMemory] WARNING! not implemented on MAC!\n");
    bytes = 0;
    return PRES_OK;
}

int PProcess::getCPUUsage(unsigned int& usage)
{
    PL_DBG(10, "[PL_DBG]<%02d> [PProcess::getCPUUsage] WARNING! not implemented on MAC!\n");
    usage = 0;
    return PRES_OK;
}

int PProcess::getCPUUsage(unsigned int pid, unsigned int& usage)
{
    PL_DBG(10000, "[PL_DBG]<%02d> [PProcess::getCPUUsage] PID: %d. WARNING! not implemented on MAC!\n", (int)pid);
    usage = 0;
    return PRES_OK;
}

int PProcess::getPriority(unsigned int pid, int& priority)
{
    // -1 is a valid priority: only errno tells a failure.
    errno = 0;
    int p = getpriority(PRIO_PROCESS, (id_t)pid);
    if (p == -1 && errno != 0) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::getPriority] Failed to getPriority errno: %d %s\n\n", err, std::strerror(err));
        return PRES_NOT_FOUND;
    }
    priority = p;
    return PRES_OK;
}

int PProcess::getCurrentEnvironment(std::vector<PString>& env)
{
    return getEnvironment(getCurrentPID(), env);
}

unsigned int PProcess::getCurrentPID()
{
    return (unsigned int)getpid();
}

// Instance forms: the static query on the object's own child.

int PProcess::getName(PString& name) const
{
    return queryOwnChild(fPid, &PProcess::getName, name);
}

int PProcess::getPath(PString& path) const
{
    return orGiven(queryOwnChild(fPid, &PProcess::getPath, path), path, fPath);
}

int PProcess::getCmdLine(PString& cmdLine) const
{
    return orGiven(queryOwnChild(fPid, &PProcess::getCmdLine, cmdLine), cmdLine, fCmdLine);
}

int PProcess::getWorkingDir(PString& dir) const
{
    return queryOwnChild(fPid, &PProcess::getWorkingDir, dir);
}

int PProcess::getEnvironment(std::vector<PString>& env) const
{
    (void)env;
    return PPROCESS_ERR_NO_PROCESS;
}

int PProcess::getPriority(int& priority) const
{
    return queryOwnChild(fPid, &PProcess::getPriority, priority);
}

int PProcess::getMemoryUsage(unsigned long long& bytes) const
{
    bytes = 0;
    return getMemoryUsage((unsigned int)fPid, bytes);
}

int PProcess::startProcAsDifferentUser(PString user, PString password)
{
    (void)user;
    (void)password;
    bool running = false;
    isRunning(running);
    if (running)
        return PPROCESS_ERR_START;
    clearProcessInfo();
    initProcessInfo();
    return PRES_NOT_IMPLEMENTED;
}
