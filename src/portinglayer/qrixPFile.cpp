#include "qrixPFile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "qrixDiag.h"
#include "qrixPPtr.h"
#include "qrixPTime.h"
#include "qrixPUtils.h"
#include "qrixText.h"

using qrix::detail::isEmpty;
using qrix::detail::copyWide;
using qrix::detail::newZeroedArray;
using qrix::detail::sizeAdd;

namespace {

constexpr unsigned long READ_CHUNK = 128;
constexpr unsigned long LINE_GROWTH = 128;
constexpr unsigned long LINE_START = 5;

PString fixedPath(const PLiteral& iPath)
{
    PString path(iPath);
    PUtils::fixFileSeparator(path);
    return path;
}

// Narrow copy for the static operations; null when the text cannot be converted.
PPtr<char> narrowPath(const PLiteral& iPath)
{
    PString path = fixedPath(iPath);
    return PPtr<char>(PLiteral::pwchar2pchar(path.ptr(), PSTR_ALL), PTR_ARRAY);
}

const char* printable(const char* s)
{
    return s ? s : "<null>";
}

// An unconvertible path fails the way the null pointer handed to the system would.
int failNullPath()
{
    errno = EFAULT;
    return -1;
}

int openFlags(unsigned int mode, int& flags)
{
    if ((mode & PFILE_READ) && (mode & PFILE_WRITE))
        flags = O_RDWR;
    else if (mode & PFILE_WRITE)
        flags = O_WRONLY;
    else
        flags = O_RDONLY;

    if (mode & PFILE_CREATE) {
        flags |= O_CREAT;
        // Truncation without write access passes here on purpose.
        if (mode & PFILE_TRUNCATE)
            flags |= O_TRUNC;
    } else if (mode & PFILE_TRUNCATE) {
        flags |= O_TRUNC;
        if (!(mode & PFILE_WRITE))
            return PRES_INVALID_ARG;
    }
    if (mode & PFILE_APPEND)
        flags |= O_APPEND;
    return PRES_OK;
}

int renameErrnoToResult(int error)
{
    switch (error) {
    case EPERM:
    case EBUSY:
    case EEXIST:
    case EXDEV:
    case ENOTDIR:
    case EISDIR:
    case EINVAL:
    case ENOSPC:
    case EROFS:
    case ENOTEMPTY:
        return PRES_REFUSED;
    case ENOENT:
        return PRES_NOT_FOUND;
    case EIO:
    case EMLINK:
    case ELOOP:
    case ENAMETOOLONG:
        return PRES_PATH_ERROR;
    default:
        return PRES_FAILED;
    }
}

// rename(2) on converted paths; a path that did not convert fails as a null
// pointer would. Reports the failure and maps errno to a result code.
int renameNarrow(const PPtr<char>& from, const PPtr<char>& to)
{
    if ((from && to ? ::rename(from, to) : failNullPath()) == 0)
        return PRES_OK;
    int error = errno;
    qrix_pl_debug_print("%s: rename(`%s', `%s') failed, errno=%d\n", "rename", printable(from), printable(to),
                        error);
    return renameErrnoToResult(error);
}

bool matchesAttribute(mode_t type, int iAttrib)
{
    switch (iAttrib) {
    case PFILE_ATTR_FILE:
        return S_ISREG(type);
    case PFILE_ATTR_DIR:
        return S_ISDIR(type);
    case PFILE_ATTR_SPECIAL:
        return S_ISCHR(type) || S_ISBLK(type) || S_ISFIFO(type) || S_ISLNK(type) || S_ISSOCK(type);
    default:
        return false;
    }
}

// Writes the decimal digits of v backwards, ending just before `end`, and
// returns the first.
wchar_t* decimalDigits(unsigned long long v, wchar_t* end)
{
    do {
        *--end = (wchar_t)(L'0' + v % 10);
        v /= 10;
    } while (v != 0);
    return end;
}

// Copies the line so far into a buffer LINE_GROWTH characters larger.
wchar_t* growLine(wchar_t* line, unsigned long count, unsigned long& capacity)
{
    wchar_t* grown = newZeroedArray<wchar_t>(sizeAdd(capacity, LINE_GROWTH));
    if (grown)
        copyWide(grown, line, count);
    delete[] line;
    capacity += LINE_GROWTH;
    return grown;
}

} // namespace

PFile::PFile()
    : fHandle(-1), fMode(0)
{
}

PFile::~PFile()
{
    pclose();
}

int PFile::popen(const PLiteral& iPath, unsigned int mode, unsigned int iNoLock)
{
    if (isEmpty(iPath))
        return PRES_INVALID_ARG;
    if (isOpen())
        return PFILE_ERR_ALREADY_OPEN;

    PString path = fixedPath(iPath);
    if (mode & PFILE_WRITE_RENAME) {
        if (mode != PFILE_WRITE_RENAME || iNoLock != 0)
            return PRES_INVALID_ARG;
        return openWriteRename(path);
    }

    int flags = 0;
    int res = openFlags(mode, flags);
    if (res != PRES_OK)
        return res;

    PPtr<char> narrow(path.ascii(), PTR_ARRAY);
    // O_CLOEXEC marks the descriptor in the open itself, so no thread that
    // forks meanwhile inherits it.
    fHandle = narrow ? ::open(narrow, flags | O_CLOEXEC, 0644) : failNullPath();
    if (fHandle == -1) {
        if (errno == ENOENT)
            return PFILE_ERR_NOT_FOUND;
        PL_ERR("\n\n[DBGONLY][PFile::popen] Failed to open('%s') errno: %d %s\n\n",
               printable(narrow), errno, strerror(errno));
        return PFILE_ERR_OPEN;
    }
    // The design's own marking stays, with its report, should it ever fail.
    if (fcntl(fHandle, F_SETFD, FD_CLOEXEC) == -1)
        PL_ERR("\n\n[DBGONLY][PFile::popen] Failed fcntl(%d, FD_CLOEXEC) errno: %d %s\n\n", fHandle, errno,
               strerror(errno));

    if (iNoLock == 0 && flock(fHandle, LOCK_EX | LOCK_NB) == -1) {
        if (errno == EWOULDBLOCK) {
            // The descriptor stays in fHandle: the caller releases it with pclose().
            PL_DBG(-1, "[PL_DBG]<%02d> [PFile::popen] File '%s' already locked (EWOULDBLOCK)\n",
                   narrow.getPtr());
            return PFILE_ERR_LOCK;
        }
        int error = errno; // the threshold check reads the environment first
        PL_DBG(-1, "[PL_DBG]<%02d> [PFile::popen] Failed to lock file '%s', errno=%d (%s)\n",
               narrow.getPtr(), error, strerror(error));
    }

    fMode = mode;
    fName = path;
    return PRES_OK;
}

int PFile::openWriteRename(const PString& target)
{
    // ".qrix_temp-" + PID + "-" + tick count, the digits those of "%u" and
    // "%llu", built on the stack and added to the path in one step.
    static const wchar_t MARK[] = L".qrix_temp-";
    const unsigned long markLength = sizeof(MARK) / sizeof(MARK[0]) - 1;
    const unsigned int pid = (unsigned int)getpid();
    const unsigned long long ticks = (unsigned long long)PTime::getTickCount();
    wchar_t suffix[markLength + 10 + 1 + 20 + 1];
    wchar_t* end = suffix + sizeof(suffix) / sizeof(suffix[0]);
    *--end = L'\0';
    wchar_t* first = decimalDigits(ticks, end);
    *--first = L'-';
    first = decimalDigits(pid, first);
    first -= markLength;
    copyWide(first, MARK, markLength);

    // A sibling of the target, so that the final rename stays on one file system.
    PString temporary(target);
    if (isEmpty(target) || temporary.len() != target.len() || temporary.cat(first) != PRES_OK) {
        // Only memory can run out here: reported as for the PID's conversion,
        // the first step of the name that needs memory.
        qrix_pl_debug_print("%s: Error converting the current PID, res=%d\n", "popen", PRES_NO_MEMORY);
        return PRES_NO_MEMORY;
    }

    int res = popen(temporary, PFILE_WRITE | PFILE_TRUNCATE | PFILE_CREATE, 0);
    if (res != PRES_OK) {
        qrix_pl_debug_print("%s: Error opening temporary file `%ls', res=%d\n", "popen",
                            PL_WSTR(temporary), res);
        return res;
    }
    fTempName = fName;
    fName = target;
    fMode = PFILE_WRITE_RENAME;
    return PRES_OK;
}

int PFile::pclose()
{
    int fd = fHandle;
    fHandle = -1;
    if (fd == -1)
        return PFILE_ERR_NOT_OPEN;
    ::close(fd);

    int res = PRES_OK;
    if (fMode == PFILE_WRITE_RENAME) {
        if (isEmpty(fName)) {
            qrix_pl_debug_print("%s: Invalid state, no name for PFILE_WRITE_RENAME\n", "pclose");
            return PFILE_ERR_NOT_OPEN;
        }
        if (isEmpty(fTempName)) {
            qrix_pl_debug_print("%s: Invalid state, no temp name for PFILE_WRITE_RENAME\n", "pclose");
            return PFILE_ERR_NOT_OPEN;
        }
        res = renameIntoPlace();
    }
    fName.clear();
    fTempName.clear();
    fMode = 0;
    return res;
}

int PFile::renameIntoPlace()
{
    // Both names were fixed when stored, so unless something put a '\\' into
    // them since, they go to the system as they are, without the copies.
    const bool fixed = !std::wcschr(fTempName.ptr(), L'\\') && !std::wcschr(fName.ptr(), L'\\');
    int res = fixed ? renameNarrow(PPtr<char>(PLiteral::pwchar2pchar(fTempName.ptr(), PSTR_ALL), PTR_ARRAY),
                                   PPtr<char>(PLiteral::pwchar2pchar(fName.ptr(), PSTR_ALL), PTR_ARRAY))
                    : rename(fTempName, fName);
    if (res != PRES_OK) {
        qrix_pl_debug_print("%s: Error renaming the file, res=%d\n", "pclose", res);
        return PRES_FAILED;
    }
    qrix_pl_debug_print("%s: File successfully renamed (`%ls' -> `%ls')\n", "pclose",
                        PL_WSTR(fTempName), PL_WSTR(fName));
    return PRES_OK;
}

int PFile::pgetName(PString& name)
{
    if (!isOpen())
        return PFILE_ERR_NOT_OPEN;
    name = fName;
    return PRES_OK;
}

int PFile::pflush()
{
    if (!isOpen())
        return PFILE_ERR_NOT_OPEN;
    // The report names popen and the failure is not passed on; callers expect both.
    if (fsync(fHandle) == -1)
        PL_ERR("\n\n[DBGONLY][PFile::popen] Failed to flush errno: %d %s\n\n", errno, strerror(errno));
    return PRES_OK;
}

int PFile::pread(char* buf, unsigned long size, unsigned long& count)
{
    if (!buf || size == 0)
        return PRES_INVALID_ARG;
    if (!isOpen())
        return PFILE_ERR_NOT_OPEN;
    ssize_t got = ::read(fHandle, buf, size);
    if (got == 0)
        return PFILE_ERR_EOF;
    if (got == -1) {
        PL_ERR("\n\n[DBGONLY][PFile::pread] Failed to read errno: %d %s\n\n", errno, strerror(errno));
        return PRES_READ;
    }
    count = (unsigned long)got;
    return PRES_OK;
}

int PFile::pwrite(const char* buf, unsigned long size, unsigned long& count)
{
    if (!isOpen())
        return PFILE_ERR_NOT_OPEN;
    ssize_t written = ::write(fHandle, buf, size);
    if (written == 0)
        return PFILE_ERR_EOF;
    if (written == -1) {
        PL_ERR("\n\n[DBGONLY][PFile::pwrite] Failed to write errno: %d %s\n\n", errno, strerror(errno));
        return PRES_WRITE;
    }
    count = (unsigned long)written;
    return PRES_OK;
}

int PFile::pwriteLine(const PLiteral& line)
{
    PPtr<char> narrow(line.ascii(), PTR_ARRAY);
    unsigned long count = 0;
    int res = PRES_OK;
    if (narrow)
        res = pwrite(narrow, std::strlen(narrow), count);
    if (res == PRES_OK)
        res = pwrite("\n", 1, count);
    return res;
}

int PFile::preadLine(PString& line)
{
    unsigned long capacity = LINE_START;
    wchar_t* text = new (std::nothrow) wchar_t[capacity]();
    if (!text)
        return PRES_NO_MEMORY;
    char chunk[READ_CHUNK];
    unsigned long count = 0;
    bool ended = false;

    while (!ended) {
        unsigned long got = 0;
        int res = pread(chunk, READ_CHUNK, got);
        if (res != PRES_OK) {
            if (count == 0) {
                delete[] text;
                return res;
            }
            break;
        }
        unsigned long consumed = 0;
        while (consumed < got && !ended) {
            char byte = chunk[consumed++];
            if (byte == '\r')
                continue;
            if (byte == '\n') {
                ended = true;
                continue;
            }
            text[count++] = (wchar_t)(signed char)byte;
            if (count == capacity) {
                text = growLine(text, count, capacity);
                if (!text)
                    return PRES_NO_MEMORY;
            }
        }
        // Give back what follows the line end; lost on an unseekable descriptor.
        if (ended && consumed < got)
            pseek((long long)consumed - (long long)got, SEEK_CUR);
    }
    line = (const wchar_t*)text;
    delete[] text;
    return PRES_OK;
}

int PFile::pseek(long long offset, int whence)
{
    if (!isOpen())
        return PFILE_ERR_NOT_OPEN;
    if (lseek(fHandle, (off_t)offset, whence) == (off_t)-1) {
        PL_ERR("\n\n[DBGONLY][PFile::pseek] Failed to seek errno: %d %s\n\n", errno, strerror(errno));
        return PFILE_ERR_SEEK;
    }
    return PRES_OK;
}

int PFile::pgetSize(long long& size)
{
    if (!isOpen())
        return PFILE_ERR_NOT_OPEN;
    struct stat info;
    int res = fstat(fHandle, &info);
    if (res != 0) {
        PL_ERR("\n\n[DBGONLY][PFile::pgetSize] Failed to get size res: %d errno: %d %s\n\n",
               res, errno, strerror(errno));
        return PFILE_ERR_SIZE;
    }
    size = (long long)info.st_size;
    return PRES_OK;
}

int PFile::rename(const PLiteral& from, const PLiteral& to)
{
    if (isEmpty(from) || isEmpty(to))
        return PRES_INVALID_ARG;
    return renameNarrow(narrowPath(from), narrowPath(to));
}

int PFile::pdelete(const PLiteral& iPath)
{
    if (isEmpty(iPath))
        return PRES_INVALID_ARG;
    PPtr<char> path = narrowPath(iPath);
    if ((path ? unlink(path) : failNullPath()) == 0)
        return PRES_OK;
    if (errno == ENOENT)
        return PFILE_ERR_NOT_FOUND;
    PL_ERR("\n\n[DBGONLY][PFile::pdelete] Failed to delete errno: %d %s\n\n", errno, strerror(errno));
    return PFILE_ERR_DELETE;
}

bool PFile::exists(const PLiteral& iPath)
{
    if (isEmpty(iPath)) {
        qrix_pl_debug_print("[%s] iPath is empty\n", "exists");
        return false;
    }
    PPtr<char> path = narrowPath(iPath);
    return path && access(path, F_OK) == 0;
}

bool PFile::check(const PLiteral& iPath, int iAttrib)
{
    if (iAttrib != PFILE_ATTR_FILE && iAttrib != PFILE_ATTR_DIR && iAttrib != PFILE_ATTR_SPECIAL) {
        qrix_pl_debug_print("[%s] iAttrib is invalid [%d]\n", "check", iAttrib);
        return false;
    }
    if (isEmpty(iPath)) {
        qrix_pl_debug_print("[%s] iPath is empty\n", "check");
        return false;
    }
    PPtr<char> path = narrowPath(iPath);
    struct stat info;
    if ((path ? stat(path, &info) : failNullPath()) != 0) {
        // A path that cannot be examined passes every check; removeAll relies on it.
        qrix_pl_debug_print("%s: stat('%s') failed, errno=%d\n", "check", printable(path), errno);
        return true;
    }
    return matchesAttribute(info.st_mode, iAttrib);
}

void PFile::getFileName(PString& path)
{
    unsigned long pos = 0;
    if (path.str(L"/", pos, true) != PRES_OK)
        return;
    PString name(path.ptr() + pos + 1);
    path = name;
}
