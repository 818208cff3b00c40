// PProcess: signals and waits for the object's child and for any process id,
// the process table (existence, parent, children, listing) and stopping whole
// trees.
#include "qrixPProcess.h"

#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "qrixDiag.h"
#include "qrixPlatform.h"
#include "qrix_macosx.h"

namespace {

// How long a signalled process gets to die before it is looked at.
constexpr unsigned int KILL_PAUSE_MS = 1000;
constexpr unsigned int KILL_TREE_GRACE_MS = 2000;
constexpr unsigned int MIN_POLL_STEP_MS = 1000;

// A tenth of the wait, but never below one second.
unsigned int pollStep(unsigned int ms)
{
    unsigned int step = ms / 10;
    return step < MIN_POLL_STEP_MS ? MIN_POLL_STEP_MS : step;
}

// Every process under `pid`, breadth-first, `pid` first. A branch whose
// children cannot be listed is reported and not explored.
std::vector<unsigned int> collectTree(unsigned int pid)
{
    std::vector<unsigned int> all(1, pid);
    for (size_t i = 0; i < all.size(); ++i) {
        PL_DBG(0, "[PL_DBG]<%02d> [DBGONLY][PProcess::killTree] getChildPID for PID [%d]\n", (int)all[i]);
        std::vector<unsigned int> children;
        int e = PProcess::getChildPID(all[i], children);
        if (e != PRES_OK) {
            PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] error[%d], getting children for PID [%d]\n", e,
                   (int)all[i]);
            continue;
        }
        PL_DBG(2, "[PL_DBG]<%02d> [PProcess::killTree] got [%d] children for PID [%d]\n", (int)children.size(),
               (int)all[i]);
        all.insert(all.end(), children.begin(), children.end());
    }
    return all;
}

// SIGTERM, the grace period, then SIGKILL for what is still there. `result`
// takes the code of each failing signal.
void stopOne(unsigned int p, int& result)
{
    PL_DBG(1, "[PL_DBG]<%02d> [PProcess::killTree] killing pid [%d]\n", (int)p);
    int r = PProcess::killSignal(p, PPROCESS_TERMINATE);
    if (r != PRES_OK) {
        PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] PProcess::killSignal(%d, PPROCESS_TERMINATE) failed with "
                   "error: %d\n",
               (int)p, r);
        result = r;
    }
    PL_DBG(10, "[PL_DBG]<%02d> [PProcess::killTree] waitpid pid [%d] for %dms\n", (int)p, (int)KILL_TREE_GRACE_MS);
    if (!PProcess::waitFinish(p, KILL_TREE_GRACE_MS))
        return;
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] pid[%d] is still alive.\n", (int)p);
    r = PProcess::killSignal(p, PPROCESS_KILL);
    if (r != PRES_OK) {
        // Logs the code held before this failure, as the logs always have.
        PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::killTree] PProcess::killSignal(%d, PPROCESS_KILL) failed with "
                   "error: %d\n",
               (int)p, result);
        result = r;
    }
}

} // namespace

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
    qrix::detail::ProcRecord record;
    size_t bytes = 0;
    int rc = qrix::detail::readProcRecord((int)pid, record, bytes);
    if (rc != PRES_OK && rc != PRES_NOT_FOUND) {
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

// The whole tree is taken before the first signal; the root goes first, then
// each generation.
int PProcess::killTree(unsigned int pid)
{
    PL_DBG(0, "[PL_DBG]<%02d> [PProcess::killTree] pid [%d]\n", (int)pid);
    std::vector<unsigned int> all = collectTree(pid);
    int result = PRES_OK;
    for (unsigned int p : all)
        stopOne(p, result);
    return result;
}
