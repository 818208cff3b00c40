// PFile: one file descriptor opened by path, with an optional exclusive
// advisory lock, unbuffered reads and writes, a line reader, and a mode that
// replaces the target atomically at close. Static operations work on paths.
#ifndef QRIX_PFILE_H
#define QRIX_PFILE_H

#include <cstdio> // SEEK_SET, SEEK_CUR, SEEK_END for pseek

#include "qrixPString.h"
#include "qrixTypes.h"

// Open-mode word of PFile::popen (bit flags).
constexpr unsigned int PFILE_READ = 1;
constexpr unsigned int PFILE_WRITE = 2;
constexpr unsigned int PFILE_APPEND = 4;
constexpr unsigned int PFILE_TRUNCATE = 8;
constexpr unsigned int PFILE_CREATE = 16;
// Writes a sibling temporary file renamed over the target at close; only valid
// alone and locked.
constexpr unsigned int PFILE_WRITE_RENAME = 32;

// Attributes of PFile::check.
constexpr int PFILE_ATTR_FILE = 0;
constexpr int PFILE_ATTR_DIR = 1;
constexpr int PFILE_ATTR_SPECIAL = 2;

class QRIX_EXPORT PFile {
public:
    PFile();
    // Closes, which renames a write-rename file into place.
    virtual ~PFile();

    PFile(const PFile&) = delete;
    PFile& operator=(const PFile&) = delete;

    // iNoLock 0 takes an exclusive non-blocking flock; -630 keeps the
    // descriptor open so that pclose() must still be called.
    int popen(const PLiteral& iPath, unsigned int mode, unsigned int iNoLock = 0);
    int pclose();
    bool isOpen() const { return fHandle != -1; }

    int pgetName(PString& name);
    // Reports success on an open file even when fsync fails.
    int pflush();
    int pread(char* buf, unsigned long size, unsigned long& count);
    // Bytes up to LF, CR dropped, each byte widened by sign extension.
    int preadLine(PString& line);
    int pwrite(const char* buf, unsigned long size, unsigned long& count);
    int pwriteLine(const PLiteral& line);
    int pseek(long long offset, int whence);
    int pgetSize(long long& size);

    static int rename(const PLiteral& from, const PLiteral& to);
    static int pdelete(const PLiteral& iPath);
    static bool exists(const PLiteral& iPath);
    // True also when the path cannot be examined at all.
    static bool check(const PLiteral& iPath, int iAttrib);
    static void getFileName(PString& path);
    // Depth-first removal of a directory tree, tracing every removal on stderr.
    static int removeAll(const PLiteral& iPath);

protected:
    int fHandle;
    unsigned int fMode;
    PString fName;
    PString fTempName;

private:
    int openWriteRename(const PString& target);
    int renameIntoPlace();
};

#endif // QRIX_PFILE_H
