#include "qrixProcFs.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

namespace qrix::detail {

namespace {

constexpr size_t READ_CHUNK_SIZE = 4096;

// Calls `use` with each piece fgets would return for `text`, as a C string:
// up to and including a line end, at most PROC_LINE_MAX bytes.
template <class Use>
void forEachLinePiece(const std::string& text, Use use)
{
    size_t at = 0;
    while (at < text.size()) {
        size_t end = text.find('\n', at);
        size_t length = end == std::string::npos ? text.size() - at : end + 1 - at;
        if (length > PROC_LINE_MAX)
            length = PROC_LINE_MAX;
        if (!use(text.substr(at, length).c_str()))
            return;
        at += length;
    }
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

} // namespace

std::string procPath(unsigned int pid, const char* leaf)
{
    char path[PROC_PATH_SIZE] = {};
    std::snprintf(path, sizeof(path), "/proc/%u/%s", pid, leaf);
    return path;
}

ProcRead readProcFile(const std::string& path, std::string& text, unsigned int* owner)
{
    text.clear();
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd == -1)
        return ProcRead::OPEN_FAILED;
    if (owner) {
        struct stat info;
        *owner = fstat(fd, &info) == 0 ? (unsigned int)info.st_uid : (unsigned int)-1;
    }
    char chunk[READ_CHUNK_SIZE];
    for (;;) {
        ssize_t n = read(fd, chunk, sizeof(chunk));
        if (n == 0)
            break;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            int saved = errno;
            close(fd);
            errno = saved;
            return ProcRead::READ_FAILED;
        }
        text.append(chunk, (size_t)n);
    }
    close(fd);
    return ProcRead::OK;
}

ProcRead listProcEntries(std::vector<int>& pids)
{
    DIR* dir = opendir("/proc");
    if (!dir)
        return ProcRead::OPEN_FAILED;
    int err = 0;
    for (;;) {
        // errno alone tells the end of the listing from a failure.
        errno = 0;
        struct dirent* entry = readdir(dir);
        if (!entry) {
            err = errno;
            break;
        }
        if (isProcessEntry(entry->d_name, entry->d_type == DT_DIR))
            pids.push_back(std::atoi(entry->d_name));
    }
    closedir(dir);
    errno = err;
    return err == 0 ? ProcRead::OK : ProcRead::READ_FAILED;
}

bool isProcessEntry(const char* name, bool isDirectory)
{
    // "/proc/" + name + "/cmdline" and its terminator must fit the path buffer.
    return isDirectory && std::isdigit((unsigned char)name[0]) && std::strlen(name) + 16 < PROC_PATH_SIZE;
}

bool parseStat(const char* text, long ticksPerSecond, ProcRecord& record)
{
    const char* end = std::strrchr(text, ')');
    if (!end)
        return false;
    record.pid = std::atoi(text);
    unsigned long long startTicks = 0;
    int fields = std::sscanf(end + 1,
                             " %c %d %*d %*d %*d %*d %u %*u %*u %*u %*u %*u %*u %*d %*d %ld %ld %*d %*d %llu",
                             &record.state, &record.ppid, &record.flags, &record.priority, &record.nice,
                             &startTicks);
    if (fields != 6)
        return false;
    record.startSeconds = ticksPerSecond > 0 ? (long long)(startTicks / (unsigned long long)ticksPerSecond) : 0;
    return true;
}

void parseStatus(const std::string& text, StatusFields& fields)
{
    forEachLinePiece(text, [&](const char* line) {
        if (!fields.hasName && readStatusName(line, fields.name))
            fields.hasName = true;
        else if (!fields.hasPid && readStatusNumber(line, "Pid:", fields.pid))
            fields.hasPid = true;
        else if (!fields.hasPPid && readStatusNumber(line, "PPid:", fields.ppid))
            fields.hasPPid = true;
        return !(fields.hasName && fields.hasPid && fields.hasPPid);
    });
}

bool parseUserIdLine(const PLiteral& line, int& uid)
{
    unsigned long pos = 0;
    if (line.str(L"uid", pos, false, false) != PRES_OK)
        return false;
    wchar_t label[PROC_LINE_MAX + 1];
    std::swscanf(line.ptr(), L"%255ls %d", label, &uid);
    return true;
}

std::string joinCmdLine(const std::string& raw)
{
    std::string joined;
    std::string piece;
    bool first = true;
    for (char c : raw) {
        if (c == '\0') {
            appendCmdLinePiece(joined, piece, first);
            piece.clear();
        } else {
            piece += c;
        }
    }
    if (!piece.empty())
        appendCmdLinePiece(joined, piece, first);
    return joined;
}

std::string cmdLineProgram(const std::string& raw)
{
    std::string program;
    forEachLinePiece(raw, [&](const char* line) {
        const char* slash = std::strrchr(line, '/');
        program = slash ? slash + 1 : line;
        return false;
    });
    return program;
}

CpuRead parseCpuLine(const std::string& stat, const char* label, long long (&values)[4])
{
    for (size_t at = 0; at < stat.size(); at += CPU_BLOCK_SIZE) {
        std::string block = stat.substr(at, CPU_BLOCK_SIZE);
        const char* found = std::strstr(block.c_str(), label);
        if (!found)
            continue;
        const char* blank = std::strchr(found, ' ');
        if (!blank || std::sscanf(blank, "%lld %lld %lld %lld", &values[0], &values[1], &values[2], &values[3]) < 4)
            return CpuRead::TOO_FEW;
        return CpuRead::OK;
    }
    return CpuRead::NO_LABEL;
}

unsigned int cpuBusyPercent(const long long (&before)[4], const long long (&after)[4])
{
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
    // Counters that went backwards would make the share negative or huge;
    // converting that to unsigned is undefined, so it is held to the range.
    if (!(busy >= 0.0f))
        return 0;
    if (busy >= (float)UINT_MAX)
        return UINT_MAX;
    return (unsigned int)busy;
}

} // namespace qrix::detail
