// The process table on Linux, read from /proc: existence of a record, parent
// ids and the list of all processes.
#include "qrix_macosx.h"
#include "qrix_proctable.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "qrixDiag.h"

namespace {

// Large enough for any stat line: 52 numeric fields and a 64-byte command.
const size_t STAT_BUFFER_SIZE = 4096;

bool isNoRecord(int err)
{
    // ESRCH: the process went away between open and read.
    return err == ENOENT || err == ESRCH;
}

int readStatText(int pid, char* text, size_t size, size_t& bytes, unsigned int& uid)
{
    bytes = 0;
    char path[64];
    std::snprintf(path, sizeof(path), "/proc/%d/stat", pid);
    int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd == -1)
        return isNoRecord(errno) ? PRES_NOT_FOUND : PRES_FAILED;
    struct stat info;
    uid = fstat(fd, &info) == 0 ? (unsigned int)info.st_uid : (unsigned int)-1;
    while (bytes < size - 1) {
        ssize_t n = read(fd, text + bytes, size - 1 - bytes);
        if (n == 0)
            break;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            int saved = errno;
            close(fd);
            errno = saved;
            return isNoRecord(saved) ? PRES_NOT_FOUND : PRES_FAILED;
        }
        bytes += (size_t)n;
    }
    close(fd);
    text[bytes] = '\0';
    return PRES_OK;
}

// The command field may hold blanks and parentheses, so the fixed fields are
// read after its last ')'.
int parseStatText(const char* text, QrixProcRecord& record)
{
    const char* end = std::strrchr(text, ')');
    if (!end) {
        errno = EINVAL;
        return PRES_FAILED;
    }
    record.pid = std::atoi(text);
    unsigned long long startTicks = 0;
    int fields = std::sscanf(end + 1,
                             " %c %d %*d %*d %*d %*d %u %*u %*u %*u %*u %*u %*u %*d %*d %ld %ld %*d %*d %llu",
                             &record.state, &record.ppid, &record.flags, &record.priority, &record.nice,
                             &startTicks);
    if (fields != 6) {
        errno = EINVAL;
        return PRES_FAILED;
    }
    long ticksPerSecond = sysconf(_SC_CLK_TCK);
    record.startSeconds = ticksPerSecond > 0 ? (long long)(startTicks / (unsigned long long)ticksPerSecond) : 0;
    return PRES_OK;
}

bool isPidName(const char* name)
{
    if (!*name)
        return false;
    for (const char* c = name; *c; ++c)
        if (!std::isdigit((unsigned char)*c))
            return false;
    return true;
}

} // namespace

int qrix_read_proc_record(int pid, QrixProcRecord& record, size_t& bytes)
{
    std::memset(&record, 0, sizeof(record));
    char text[STAT_BUFFER_SIZE];
    int rc = readStatText(pid, text, sizeof(text), bytes, record.uid);
    if (rc != PRES_OK)
        return rc;
    return parseStatText(text, record);
}

int check_pid_running_mac(int pid, bool& running)
{
    running = false;
    QrixProcRecord record;
    size_t bytes = 0;
    int rc = qrix_read_proc_record(pid, record, bytes);
    if (rc == PRES_FAILED) {
        PL_DBG(-1, "[PL_DBG]<%02d> [check_pid_running_mac] sysctl(KERN_PROC_PID, %p) failed errno: %d\n",
               (void*)&record, errno);
        return PRES_FAILED;
    }
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
    DIR* dir = opendir("/proc");
    if (!dir) {
        PL_DBG(-1, "[PL_DBG]<%02d> [list_pids_mac] sysctl(KERN_PROC_ALL, 0) failed, errno: %d\n", errno);
        return PRES_FAILED;
    }
    std::vector<int> table;
    int err = 0;
    for (;;) {
        // errno alone tells the end of the listing from a failure.
        errno = 0;
        struct dirent* entry = readdir(dir);
        if (!entry) {
            err = errno;
            break;
        }
        if (isPidName(entry->d_name))
            table.push_back(std::atoi(entry->d_name));
    }
    closedir(dir);
    if (err != 0) {
        PL_DBG(-1, "[PL_DBG]<%02d> [list_pids_mac] sysctl(KERN_PROC_ALL, 0) failed, errno: %d\n", err);
        return PRES_FAILED;
    }
    PL_DBG(10, "[PL_DBG]<%02d> [list_pids_mac] sysctl(KERN_PROC_ALL, 0) -> bufSize: %d\n",
           (int)(table.size() * sizeof(QrixProcRecord)));
    PL_DBG(5, "[PL_DBG]<%02d> [list_pids_mac] total PID count: %d\n", (int)table.size());
    if (table.empty())
        return PRES_OK;
    for (size_t k = 0; k < table.size(); ++k) {
        QrixProcRecord record;
        size_t bytes = 0;
        // A process that ended since the listing is simply not there any more.
        if (qrix_read_proc_record(table[k], record, bytes) != PRES_OK)
            continue;
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
