/// @file
/// PFile: one file descriptor opened by path, with an optional exclusive
/// advisory lock, unbuffered reads and writes, a line reader, and a mode that
/// replaces the target atomically at close. Static operations work on paths.
///
/// Every path has its '\\' turned into '/' and reaches the system converted
/// in the current locale, cut as PLiteral::pwchar2pchar() describes; a path
/// that does not convert fails as a null path would (EFAULT).
#ifndef QRIX_PFILE_H
#define QRIX_PFILE_H

#include <cstdio> // SEEK_SET, SEEK_CUR, SEEK_END for pseek

#include "qrixPString.h"
#include "qrixTypes.h"

/// @name Open-mode word of PFile::popen (bit flags)
///@{
constexpr unsigned int PFILE_READ = 1;     ///< Read access (also what no access bit gives).
constexpr unsigned int PFILE_WRITE = 2;    ///< Write access; with #PFILE_READ, both.
constexpr unsigned int PFILE_APPEND = 4;   ///< Every write goes to the end.
constexpr unsigned int PFILE_TRUNCATE = 8; ///< Empty the file; needs #PFILE_WRITE unless #PFILE_CREATE is set.
constexpr unsigned int PFILE_CREATE = 16;  ///< Create a missing file with permissions 0644 (before the umask).
/// Write a sibling temporary file and rename it over the target at close;
/// valid only alone and with the lock (see PFile::popen()).
constexpr unsigned int PFILE_WRITE_RENAME = 32;
///@}

/// @name Attributes of PFile::check
///@{
constexpr int PFILE_ATTR_FILE = 0;    ///< A regular file.
constexpr int PFILE_ATTR_DIR = 1;     ///< A directory.
constexpr int PFILE_ATTR_SPECIAL = 2; ///< A device, FIFO or socket (links are followed).
///@}

/// A file opened by path, read and written without buffering.
///
/// One object serves one thread at a time; it takes no lock of its own. It is
/// reusable after pclose().
class QRIX_EXPORT PFile {
public:
    /// A closed file object.
    PFile();
    /// Calls pclose(), so a write-rename file is renamed into place when the
    /// object goes.
    virtual ~PFile();

    PFile(const PFile&) = delete;            ///< Not copyable.
    PFile& operator=(const PFile&) = delete; ///< Not copyable.

    /// Opens @p iPath with the open-mode word @p mode.
    ///
    /// @param iPath the path.
    /// @param mode #PFILE_READ, #PFILE_WRITE, #PFILE_APPEND, #PFILE_TRUNCATE,
    ///        #PFILE_CREATE combined, or #PFILE_WRITE_RENAME alone. 0 opens for
    ///        reading; #PFILE_CREATE | #PFILE_TRUNCATE without #PFILE_WRITE opens
    ///        read-only and truncates.
    /// @param iNoLock 0 takes an exclusive, non-blocking `flock`; any other
    ///        value takes none. The lock never blocks and binds only others
    ///        that lock: a second locked open of the same file, in this process
    ///        or another, is refused with #PFILE_ERR_LOCK. A lock failure of
    ///        any other kind is only reported, and the file opens unlocked.
    /// @returns #PRES_OK (0);
    /// #PRES_INVALID_ARG (-502) for an empty path, #PFILE_TRUNCATE without
    /// #PFILE_WRITE or #PFILE_CREATE, or #PFILE_WRITE_RENAME with other bits or
    /// a non-zero @p iNoLock;
    /// #PFILE_ERR_ALREADY_OPEN (-612) when this object is open;
    /// #PFILE_ERR_NOT_FOUND (-620) when the file (or, for write-rename, its
    /// directory) is missing, without a report;
    /// #PFILE_ERR_OPEN (-611) for any other open failure, with a report;
    /// #PFILE_ERR_LOCK (-630) when another holder has the lock;
    /// #PRES_NO_MEMORY (-501) when the write-rename name cannot be built.
    /// @warning After #PFILE_ERR_LOCK the descriptor stays open: isOpen() is
    /// true and a second popen() gives #PFILE_ERR_ALREADY_OPEN. Call pclose()
    /// before trying again.
    /// @warning #PFILE_WRITE_RENAME writes to the sibling
    /// `<path>.qrix_temp-<process id>-<milliseconds>` and renames it over
    /// @p iPath at pclose(). That suffix adds up to 32 bytes, so a file name
    /// within about 30 bytes of the system's limit (255) cannot be opened this
    /// way (#PFILE_ERR_OPEN). No `fsync` precedes the rename: call pflush()
    /// before pclose() when the new contents must survive a power loss. A
    /// process that dies while the file is open leaves the sibling behind;
    /// remove stale `<name>.qrix_temp-*` files at start-up.
    int popen(const PLiteral& iPath, unsigned int mode, unsigned int iNoLock = 0);
    /// Closes the file; a write-rename file is renamed over its target.
    ///
    /// @returns #PRES_OK (0), also when `close` itself fails (that is not
    /// checked); #PFILE_ERR_NOT_OPEN (-613) when nothing is open;
    /// #PRES_FAILED (-500) when the final rename fails, the target untouched
    /// and the temporary file left on disk.
    /// @note Every write-rename close prints a line about the rename on
    /// standard error, whatever `PL_DEBUG` says.
    int pclose();
    /// Whether a descriptor is held, also after a #PFILE_ERR_LOCK refusal.
    bool isOpen() const { return fHandle != -1; }

    /// Copies the open file's path, the target's in write-rename mode.
    /// @returns #PRES_OK (0); #PFILE_ERR_NOT_OPEN (-613).
    int pgetName(PString& name);
    /// Writes the file's data to the device (`fsync`).
    /// @returns #PRES_OK (0), also when `fsync` fails (a report is printed);
    /// #PFILE_ERR_NOT_OPEN (-613).
    /// @warning Never reports a failed flush: it cannot tell you that data did
    /// not reach the disk.
    int pflush();
    /// Reads up to @p size bytes with one `read`; blocks as `read` does.
    ///
    /// @param buf receives the bytes.
    /// @param size the room in @p buf.
    /// @param count receives the number read, which may be fewer than @p size;
    ///        untouched on failure.
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) for null @p buf or
    /// @p size 0; #PFILE_ERR_NOT_OPEN (-613); #PFILE_ERR_EOF (-614) at the end
    /// of the file; #PRES_READ (-505) when `read` fails (with a report).
    int pread(char* buf, unsigned long size, unsigned long& count);
    /// Reads one line: the bytes up to the next line feed, which is consumed;
    /// carriage returns are dropped wherever they stand. A last line without
    /// a line feed is returned too; there is no length limit.
    ///
    /// @returns #PRES_OK (0); #PFILE_ERR_EOF (-614) at the end of the file,
    /// @p line unchanged; the other codes of pread(); #PRES_NO_MEMORY (-501).
    /// @warning Each byte becomes one wide character by sign extension, with
    /// no decoding: UTF-8 text comes back as values 0xFFFFFF80..0xFFFFFFFF.
    /// For non-ASCII text read bytes with pread() and convert them with
    /// PString(const char*, unsigned long).
    /// @note It reads ahead in blocks of 128 bytes and seeks back after the line
    /// feed; on a pipe or FIFO, which cannot seek, the bytes read past the line
    /// are lost.
    int preadLine(PString& line);
    /// Writes up to @p size bytes with one `write`; short writes are not
    /// retried.
    ///
    /// @param buf the bytes.
    /// @param size how many to write.
    /// @param count receives the number written; untouched on failure.
    /// @returns #PRES_OK (0); #PFILE_ERR_NOT_OPEN (-613); #PFILE_ERR_EOF (-614)
    /// when nothing was written, so always for @p size 0; #PRES_WRITE (-506)
    /// when `write` fails (with a report).
    int pwrite(const char* buf, unsigned long size, unsigned long& count);
    /// Writes @p line converted to narrow text, then a line feed (no carriage
    /// return).
    /// @returns the code of the last pwrite(): #PRES_OK (0) or as pwrite().
    /// @warning The text is converted by ascii(): non-ASCII text is cut, and a
    /// line that does not convert is written as a bare line feed with result
    /// 0. A short write of the text is not noticed. For exact bytes use
    /// pwrite().
    int pwriteLine(const PLiteral& line);
    /// Moves the file position with `lseek` (`whence` is SEEK_SET, SEEK_CUR or
    /// SEEK_END); the new position is not returned.
    /// @returns #PRES_OK (0); #PFILE_ERR_NOT_OPEN (-613); #PFILE_ERR_SEEK
    /// (-615) when `lseek` fails (with a report).
    int pseek(long long offset, int whence);
    /// Reads the open file's size in bytes.
    /// @returns #PRES_OK (0); #PFILE_ERR_NOT_OPEN (-613); #PFILE_ERR_SIZE
    /// (-621) when `fstat` fails (with a report).
    int pgetSize(long long& size);

    /// Renames @p from to @p to (`rename(2)`: replaces an existing file,
    /// within one file system only).
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) for an empty path;
    /// #PRES_NOT_FOUND (-504) for ENOENT (also a missing directory of @p to);
    /// #PRES_REFUSED (-511) for EPERM, EBUSY, EEXIST, EXDEV, ENOTDIR, EISDIR,
    /// EINVAL, ENOSPC, EROFS, ENOTEMPTY; #PRES_PATH_ERROR (-509) for EIO,
    /// EMLINK, ELOOP, ENAMETOOLONG; #PRES_FAILED (-500) for any other errno
    /// (EACCES, a path that does not convert). A failure prints a line.
    static int rename(const PLiteral& from, const PLiteral& to);
    /// Deletes a file (`unlink`); directories are not removed.
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) for an empty path;
    /// #PFILE_ERR_NOT_FOUND (-620) when it does not exist (no report);
    /// #PFILE_ERR_DELETE (-619) for any other failure (with a report).
    static int pdelete(const PLiteral& iPath);
    /// Whether the path exists (`access(F_OK)`). False for an empty path (with
    /// a line on standard error), a path that does not convert, and a dangling
    /// symbolic link.
    static bool exists(const PLiteral& iPath);
    /// Whether the path is of the kind @p iAttrib (#PFILE_ATTR_FILE,
    /// #PFILE_ATTR_DIR, #PFILE_ATTR_SPECIAL), following symbolic links.
    ///
    /// False for another @p iAttrib or an empty path (each with a line on
    /// standard error).
    /// @warning True when the path cannot be examined at all (missing, no
    /// permission, not convertible), with a line on standard error: such a
    /// path passes every check. Ask exists() first:
    /// `PFile::exists(p) && PFile::check(p, PFILE_ATTR_DIR)`.
    static bool check(const PLiteral& iPath, int iAttrib);
    /// Cuts @p path in place to what follows its last '/': "/a/b/c.txt" gives
    /// "c.txt", "/a/b/" gives "", a path without '/' is left as it is.
    static void getFileName(PString& path);
    /// Removes a directory and everything in it, depth first.
    ///
    /// One trailing '/' is ignored. Directories go after their contents; the
    /// first failure ends the walk and leaves what was removed removed.
    /// @returns #PRES_OK (0); #PDIR_ERR_NOT_FOUND (-628) when @p iPath does not
    /// exist, or when a symbolic link inside the tree dangles;
    /// #PRES_INVALID_ARG (-502) when it is not a directory; otherwise the
    /// failing step's code, such as #PFILE_ERR_DELETE (-619) or
    /// #PDIR_ERR_DELETE (-626).
    /// @warning Symbolic links to directories are followed: the contents of
    /// their targets, even outside the tree, are deleted, and then the link.
    /// Remove such links first (PFile::pdelete() unlinks them) where the
    /// targets must stay.
    /// @note Prints "removeAll: ## rm [path]" for every file and
    /// "removeAll: ## rmdir [path]" for every directory on standard error,
    /// whatever `PL_DEBUG` says.
    static int removeAll(const PLiteral& iPath);

protected:
    int fHandle;          ///< The descriptor, -1 when none is held.
    unsigned int fMode;   ///< The open-mode word; 0 when closed.
    PString fName;        ///< The open path; in write-rename mode the target.
    PString fTempName;    ///< In write-rename mode the temporary sibling; empty otherwise.

private:
    int openWriteRename(const PString& target);
    int renameIntoPlace();
};

#endif // QRIX_PFILE_H
