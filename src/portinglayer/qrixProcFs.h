// Reading /proc: one path builder, one reader, and pure parsers of the texts
// it gives. Portable on purpose: where /proc is missing every read fails and
// the callers report that. Private to the library.
#ifndef QRIX_PROCFS_H
#define QRIX_PROCFS_H

#include <cstddef>
#include <string>
#include <vector>

#include "qrixPString.h"
#include "qrixPlatform.h"

namespace qrix::detail {

// Paths are built in a zero-filled buffer of this size; entries whose names
// would not fit are no process entries.
constexpr size_t PROC_PATH_SIZE = 128;
// Status and command-line lines are read as fgets with a 256-byte buffer
// reads them: pieces of at most 255 bytes, so a longer line is cut.
constexpr size_t PROC_LINE_MAX = 255;
// /proc/stat is searched block by block; a label or a number that straddles
// two blocks is not seen whole.
constexpr size_t CPU_BLOCK_SIZE = 2048;

// "/proc/<pid>/<leaf>".
std::string procPath(unsigned int pid, const char* leaf);

enum class ProcRead { OK, OPEN_FAILED, READ_FAILED };

// The whole file, read with open and read (close-on-exec, EINTR retried).
// After READ_FAILED `text` holds what came before the failure. errno tells
// why either failure happened. `owner`, when given, receives the file's
// owner (the process's user for /proc/<pid>/ files), or (unsigned)-1.
ProcRead readProcFile(const std::string& path, std::string& text, unsigned int* owner = nullptr);

// The process ids of /proc's process entries, in directory order; after
// READ_FAILED the ones listed so far. errno tells why it failed.
ProcRead listProcEntries(std::vector<int>& pids);

// A directory whose name begins with a decimal digit and fits the path buffer.
bool isProcessEntry(const char* name, bool isDirectory);

// The fields of a stat line after the last ')' (the command between the
// parentheses may hold blanks and parentheses itself). false when they are
// not all there.
bool parseStat(const char* text, long ticksPerSecond, ProcRecord& record);

struct StatusFields {
    bool hasName = false;
    bool hasPid = false;
    bool hasPPid = false;
    PString name; // trimmed
    unsigned int pid = 0;
    unsigned int ppid = 0;
};

// The first "Name:", "Pid:" and "PPid:" lines of a status text, each read
// from the start of a 255-byte piece.
void parseStatus(const std::string& text, StatusFields& fields);

// The numeric id of a line that contains "uid" (case-sensitive: the status
// file's "Uid:" line does not match); false for other lines, whose id is then
// left as it was.
bool parseUserIdLine(const PLiteral& line, int& uid);

// The NUL-separated arguments joined by blanks, an argument that holds a
// blank wrapped in double quotes.
std::string joinCmdLine(const std::string& raw);

// The program name of a command line: what follows the last '/' of its first
// argument, as far as the first 255-byte piece reaches.
std::string cmdLineProgram(const std::string& raw);

enum class CpuRead { OK, NO_LABEL, TOO_FEW };

// User, nice, system and idle after `label` ("cpu<N>") in /proc/stat.
CpuRead parseCpuLine(const std::string& stat, const char* label, long long (&values)[4]);

// The busy share between two samples, in percent, truncated. The arithmetic
// is single precision on purpose: six busy ticks of six can give 99.
unsigned int cpuBusyPercent(const long long (&before)[4], const long long (&after)[4]);

} // namespace qrix::detail

#endif // QRIX_PROCFS_H
