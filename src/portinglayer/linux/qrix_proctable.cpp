// Platform file: only definitions of qrixPlatform.h, here the process table.
#include "qrixPlatform.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "qrixProcFs.h"
#include "qrixTypes.h"

using qrix::detail::ProcRead;
using qrix::detail::ProcRecord;

namespace {

bool isNoRecord(int err)
{
    // ESRCH: the process went away between open and read.
    return err == ENOENT || err == ESRCH;
}

} // namespace

// The table is /proc: one stat file a record.
int qrix::detail::readProcRecord(int pid, ProcRecord& record, size_t& bytes)
{
    std::memset(&record, 0, sizeof(record));
    bytes = 0;
    // The common question is about a child that has gone: kill(2) answers
    // that ten times faster than a failing open of /proc. Ids of 0 and below
    // name process groups there, so only real ids take the short cut.
    if (pid > 0 && kill(pid, 0) == -1 && errno == ESRCH)
        return PRES_NOT_FOUND;
    std::string text;
    ProcRead read = readProcFile(procPath((unsigned int)pid, "stat"), text, &record.uid);
    bytes = text.size();
    if (read != ProcRead::OK)
        return isNoRecord(errno) ? PRES_NOT_FOUND : PRES_FAILED;
    if (!parseStat(text.c_str(), sysconf(_SC_CLK_TCK), record)) {
        errno = EINVAL;
        return PRES_FAILED;
    }
    return PRES_OK;
}

int qrix::detail::listProcRecords(std::vector<ProcRecord>& table)
{
    std::vector<int> pids;
    if (listProcEntries(pids) != ProcRead::OK)
        return PRES_FAILED;
    for (int pid : pids) {
        ProcRecord record;
        size_t bytes = 0;
        // A process that ended since the listing is simply not there any more.
        if (readProcRecord(pid, record, bytes) == PRES_OK)
            table.push_back(record);
    }
    return PRES_OK;
}
