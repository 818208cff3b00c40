// The public _mac shims. What differs between systems comes from the platform
// contract; the diagnostics, which callers' logs are read against, are the
// same everywhere.
#include "qrix_macosx.h"

#include <sys/time.h>

#include <cerrno>

#include "qrixDiag.h"
#include "qrixPlatform.h"

namespace {

constexpr unsigned long long TICKS_FAILED = (unsigned)-1;
constexpr int CLOCK_REALTIME_ID = 0;
constexpr int CLOCK_MONOTONIC_ID = 6;

} // namespace

unsigned long long get_ticks_nano()
{
    return qrix::detail::monotonicNanos();
}

int clock_gettime_mac(int clockId, timespec* ts)
{
    if (clockId == CLOCK_REALTIME_ID) {
        timeval now{};
        int res = gettimeofday(&now, nullptr);
        if (res != 0) {
            PL_DBG(-1, "[PL_DBG]<%02d> [clock_gettime_mac] REALTIME gettimeofday() failed: %d, errno: %d\n", res, errno);
            ts->tv_sec = 0;
            ts->tv_nsec = 0;
            return PRES_FAILED;
        }
        ts->tv_sec = now.tv_sec;
        ts->tv_nsec = now.tv_usec * 1000;
        PL_DBG(10, "[PL_DBG]<%02d> [clock_gettime_mac] REALTIME -> [%lld.%lld]\n",
               (long long)ts->tv_sec, (long long)ts->tv_nsec);
        return PRES_OK;
    }
    if (clockId == CLOCK_MONOTONIC_ID) {
        unsigned long long n = get_ticks_nano();
        PL_DBG(10, "[PL_DBG]<%02d> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> %lld\n", (long long)n);
        if (n == TICKS_FAILED) {
            ts->tv_sec = 0;
            ts->tv_nsec = 0;
            return PRES_FAILED;
        }
        ts->tv_sec = (time_t)(n / 1000000000ULL);
        ts->tv_nsec = (long)(n % 1000000000ULL);
        PL_DBG(10, "[PL_DBG]<%02d> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> [%lld.%lld]\n",
               (long long)ts->tv_sec, (long long)ts->tv_nsec);
        return PRES_OK;
    }
    return PRES_NOT_IMPLEMENTED;
}

int gettid_mac()
{
    long call = 0;
    int tid = qrix::detail::threadNumber(call);
    PL_DBG(10, "[PL_DBG]<%02d> [gettid_mac] syscall(%d) -> %p\n", (int)call, (void*)(long)tid);
    return tid;
}

// Deliberately not implemented, whatever the system offers, so that callers
// see one behaviour everywhere.
int sem_timedwait_mac(sem_t* sem, const timespec* timeout)
{
    (void)sem;
    // Callers read errno after a failure; the message must not disturb it.
    int savedErrno = errno;
    long long seconds = timeout ? (long long)timeout->tv_sec : 0;
    long long nanos = timeout ? (long long)timeout->tv_nsec : 0;
    PL_DBG(10, "[PL_DBG]<%02d> [sem_timedwait_mac] not implemented timeout [%lld.%lld]\n", seconds, nanos);
    errno = savedErrno;
    return PRES_NOT_IMPLEMENTED;
}

int check_pid_running_mac(int pid, bool& running)
{
    running = false;
    qrix::detail::ProcRecord record;
    size_t bytes = 0;
    int rc = qrix::detail::readProcRecord(pid, record, bytes);
    if (rc == PRES_FAILED) {
        PL_DBG(-1, "[PL_DBG]<%02d> [check_pid_running_mac] sysctl(KERN_PROC_PID, %p) failed errno: %d\n",
               (void*)&record, errno);
        return PRES_FAILED;
    }
    if (rc == PRES_NO_MEMORY)
        return rc;
    PL_DBG(13, "[PL_DBG]<%02d> [check_pid_running_mac] sysctl(KERN_PROC_PID, %p) -> bufSize: %d\n",
           (void*)&record, (int)bytes);
    int count = rc == PRES_OK ? 1 : 0;
    PL_DBG(10, "[PL_DBG]<%02d> [check_pid_running_mac] sysctl(KERN_PROC_PID, %p) count: %d\n",
           (void*)&record, count);
    if (count == 0)
        return PRES_OK;
    PL_DBG(2,
           "[PL_DBG]<%02d> [check_pid_running_mac] kinfo_proc { pid: %d, flag:%x, stat:%d, prio:%d, ppid: %d, "
           "nice: %d, starTime: %lld, user:%d }\n",
           record.pid, record.flags, (int)record.state, (int)record.priority, record.ppid, (int)record.nice,
           record.startSeconds, (int)record.uid);
    // A zombie has a record too; only collecting it removes that.
    running = true;
    return PRES_OK;
}

int list_pids_mac(int ppid, std::vector<unsigned int>& out)
{
    std::vector<qrix::detail::ProcRecord> table;
    int rc = qrix::detail::listProcRecords(table);
    if (rc == PRES_FAILED) {
        PL_DBG(-1, "[PL_DBG]<%02d> [list_pids_mac] sysctl(KERN_PROC_ALL, 0) failed, errno: %d\n", errno);
        return PRES_FAILED;
    }
    if (rc != PRES_OK)
        return rc;
    PL_DBG(10, "[PL_DBG]<%02d> [list_pids_mac] sysctl(KERN_PROC_ALL, 0) -> bufSize: %d\n",
           (int)(table.size() * sizeof(qrix::detail::ProcRecord)));
    PL_DBG(5, "[PL_DBG]<%02d> [list_pids_mac] total PID count: %d\n", (int)table.size());
    if (table.empty())
        return PRES_OK;
    for (size_t k = 0; k < table.size(); ++k) {
        const qrix::detail::ProcRecord& record = table[k];
        PL_DBG(10, "[PL_DBG]<%02d> [list_pids_mac] Checking PPid: %-5d    kinfo_proc[%3d] { Pid:%-5d, PPid:%-5d }\n",
               ppid, (int)k, record.pid, record.ppid);
        if (ppid == 0 || record.ppid == ppid) {
            PL_DBG(5, "[PL_DBG]<%02d> [list_pids_mac] Found child Pid:%d for PPid:%d\n", record.pid, ppid);
            out.push_back((unsigned int)record.pid);
        }
    }
    PL_DBG(3, "[PL_DBG]<%02d> [list_pids_mac] Found %d child pids for PPid:%d\n", (int)out.size(), ppid);
    return PRES_OK;
}
