// PProcess: queries about any process (name, path, command line, directory,
// user, priority, processor use, finding by name), read from /proc where the
// system has it, and the instance forms that ask them about the own child.
#include "qrixPProcess.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "qrixDiag.h"
#include "qrixPFile.h"
#include "qrixPUtils.h"
#include "qrixProcFs.h"

using qrix::detail::ProcRead;

namespace {

constexpr size_t PROC_LINK_SIZE = 512;
constexpr unsigned int CPU_SAMPLE_MS = 400;
// The kernel cuts the status name to this many characters.
constexpr unsigned long KERNEL_NAME_LEN = 15;
// An id no passwd field holds, so that an unread user id finds nobody.
constexpr int NO_USER_ID = -1;

// `method` names the query in the failure report.
int readLinkTarget(const std::string& linkPath, PString& target, const char* method)
{
    char buffer[PROC_LINK_SIZE];
    std::memset(buffer, 0, sizeof(buffer));
    if (readlink(linkPath.c_str(), buffer, sizeof(buffer) - 1) == -1) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::%s] Failed to readlink errno: %d %s\n\n", method, err, std::strerror(err));
        return PRES_NOT_FOUND;
    }
    target.set(buffer);
    target.trim();
    return PRES_OK;
}

// The user id of the status file's first line that holds "uid", NO_USER_ID
// when no line does; PRES_NOT_FOUND when the file cannot be opened.
int readUserId(const PString& statusPath, int& uid)
{
    uid = NO_USER_ID;
    PFile status;
    if (status.popen(statusPath, PFILE_READ, 1) != PRES_OK)
        return PRES_NOT_FOUND;
    PString line;
    while (status.preadLine(line) == PRES_OK) {
        if (qrix::detail::parseUserIdLine(line, uid))
            break;
    }
    status.pclose();
    return PRES_OK;
}

// The first field of the first passwd line that holds ":<uid>:" anywhere: a
// group id matches as well as a user id.
int findPasswdUser(int uid, PString& name)
{
    PString pattern;
    PUtils::pformatString(pattern, L":%d:", uid);
    PFile passwd;
    if (passwd.popen(L"/etc/passwd", PFILE_READ, 1) != PRES_OK)
        return PRES_NOT_FOUND;
    PString line;
    unsigned long pos = 0;
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

// Status name, pid and parent id of one /proc entry; false (after the
// report) when a field is missing or the entry has gone.
bool readStatusFields(unsigned int pid, qrix::detail::StatusFields& fields)
{
    std::string text;
    if (qrix::detail::readProcFile(qrix::detail::procPath(pid, "status"), text) == ProcRead::OPEN_FAILED)
        return false;
    qrix::detail::parseStatus(text, fields);
    if (fields.hasName && fields.hasPid && fields.hasPPid)
        return true;
    PL_ERR("\n\n[DBGONLY][PProcess::find] Failed to find flNameFind: %d, flPIDFind: %d, flPPIDFind: %d\n\n",
           (int)fields.hasName, (int)fields.hasPid, (int)fields.hasPPid);
    return false;
}

bool sameName(const PLiteral& a, const PLiteral& b)
{
    unsigned long pos = 0;
    return a.len() == b.len() && a.str(b, pos, false, true) == PRES_OK;
}

// A 15-character status name may be the kernel's cut of a longer one; the
// program name of the command line is compared instead then.
bool matchesSearched(unsigned int pid, const PString& statusName, const PString& searched)
{
    PString candidate(statusName);
    if (searched.len() >= KERNEL_NAME_LEN && statusName.len() == KERNEL_NAME_LEN) {
        std::string raw;
        qrix::detail::readProcFile(qrix::detail::procPath(pid, "cmdline"), raw);
        candidate.set(qrix::detail::cmdLineProgram(raw).c_str());
    }
    return sameName(candidate, searched);
}

// User, nice, system and idle for `label` in one reading of /proc/stat, or
// the report of what went wrong.
int sampleCpu(const std::string& stat, const char* label, unsigned int cpu, long long (&values)[4])
{
    switch (qrix::detail::parseCpuLine(stat, label, values)) {
    case qrix::detail::CpuRead::OK:
        return PRES_OK;
    case qrix::detail::CpuRead::TOO_FEW:
        PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR: Failed reading values.");
        return PRES_FAILED;
    case qrix::detail::CpuRead::NO_LABEL:
        break;
    }
    PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR while trying to read the values for CPU%u", cpu);
    return PRES_FAILED;
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

int PProcess::getName(unsigned int pid, PString& name)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getName] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    sweepZombies();
    name.clear();
    std::string text;
    if (qrix::detail::readProcFile(qrix::detail::procPath(pid, "status"), text) == ProcRead::OPEN_FAILED) {
        PL_ERR("\n\n[DBGONLY][PProcess::getName] Process not found pid: %d\n\n", (int)pid);
        return PRES_NOT_FOUND;
    }
    qrix::detail::StatusFields fields;
    qrix::detail::parseStatus(text, fields);
    if (!fields.hasName) {
        PL_ERR("\n\n[DBGONLY][PProcess::getName] Failed to find flNameFind: %d\n\n", (int)fields.hasName);
        return PRES_NOT_FOUND;
    }
    name = fields.name;
    return PRES_OK;
}

int PProcess::getPath(unsigned int pid, PString& path)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getPath] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    sweepZombies();
    return readLinkTarget(qrix::detail::procPath(pid, "exe"), path, "getPath");
}

int PProcess::getCmdLine(unsigned int pid, PString& cmdLine)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getCmdLine] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    std::string raw;
    if (qrix::detail::readProcFile(qrix::detail::procPath(pid, "cmdline"), raw) == ProcRead::OPEN_FAILED) {
        PL_ERR("\n\n[DBGONLY][PProcess::getCmdLine] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    cmdLine.set(qrix::detail::joinCmdLine(raw).c_str());
    return PRES_OK;
}

int PProcess::getWorkingDir(unsigned int pid, PString& dir)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::getWorkingDir] pid: %d. WARNING! not implemented on MAC!\n", (int)pid);
    std::string link = qrix::detail::procPath(pid, "cwd");
    int fd = open(link.c_str(), O_RDONLY | O_CLOEXEC);
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
    statusPath.set(qrix::detail::procPath(pid, "status").c_str());
    int uid = NO_USER_ID;
    if (readUserId(statusPath, uid) != PRES_OK) {
        name.clear();
        PL_ERR("\n\n[DBGONLY][PProcess::getUserName] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    if (uid == 0) {
        name = L"root";
        return PRES_OK;
    }
    name.clear();
    if (findPasswdUser(uid, name) != PRES_OK) {
        PL_ERR("\n\n[DBGONLY][PProcess::getUserName] Process not found pid: %u\n\n", pid);
        return PRES_NOT_FOUND;
    }
    return PRES_OK;
}

int PProcess::find(const PString& name, std::vector<unsigned int>& pids, std::vector<unsigned int>& ppids)
{
    PL_DBG(-1, "[PL_DBG]<%02d> [PProcess::find] name: %ls. WARNING! not implemented on MAC!\n", PL_WSTR(name));
    PString searched(name);
    unsigned long slash = 0;
    if (name.chr(L'/', slash, true, false) == PRES_OK)
        searched.set(name.ptr() + slash + 1);

    std::vector<int> entries;
    if (qrix::detail::listProcEntries(entries) == ProcRead::OPEN_FAILED) {
        int err = errno;
        PL_ERR("\n\n[DBGONLY][PProcess::find] Failed to open /proc errno: %d %s\n\n", err, std::strerror(err));
        return PRES_NOT_FOUND;
    }
    for (int entry : entries) {
        unsigned int pid = (unsigned int)entry;
        qrix::detail::StatusFields fields;
        if (readStatusFields(pid, fields) && matchesSearched(pid, fields.name, searched)) {
            pids.push_back(fields.pid);
            ppids.push_back(fields.ppid);
        }
    }
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
    std::string stat;
    if (qrix::detail::readProcFile("/proc/stat", stat) == ProcRead::OPEN_FAILED) {
        PL_ERR("\n\n[DBGONLY][PProcess::getSpecCPUUsage] ERROR: Failed /proc/stat open!");
        return PFILE_ERR_OPEN;
    }
    long long before[4];
    long long after[4];
    int rc = sampleCpu(stat, label, cpu, before);
    if (rc != PRES_OK)
        return rc;
    PThread::psleep(CPU_SAMPLE_MS);
    // A second reading that cannot be had finds no label.
    qrix::detail::readProcFile("/proc/stat", stat);
    rc = sampleCpu(stat, label, cpu, after);
    if (rc != PRES_OK)
        return rc;
    usage = qrix::detail::cpuBusyPercent(before, after);
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
