/// @file
/// PDir: the entries of one directory that match a shell wildcard pattern, one
/// per step, and the creation and removal of single directories.
#ifndef QRIX_PDIR_H
#define QRIX_PDIR_H

#include <dirent.h>

#include "qrixPString.h"
#include "qrixTypes.h"

/// A listing of the entries of one directory that match a pattern.
///
/// Opening reads no entry; the first comes from preaddir(), the next ones from
/// `++`, while the object compares equal to #PRES_OK:
/// @code
/// PDir dir(L"/var/log", L"*.log");
/// for (dir.preaddir(); dir == PRES_OK; ++dir)
///     use(dir.getEntry());
/// @endcode
/// Entries come in the file system's order; "." and ".." and names starting
/// with "." are listed too ("*" matches them). One object serves one thread.
class QRIX_EXPORT PDir {
public:
    /// A closed listing.
    PDir();
    /// Opens as popen() does; its code is left in getResult().
    PDir(const PLiteral& path, const PLiteral& pattern);
    /// Calls pclose().
    virtual ~PDir();

    PDir(const PDir&) = delete;            ///< Not copyable.
    PDir& operator=(const PDir&) = delete; ///< Not copyable.

    /// Opens the listing of @p path for the `fnmatch` @p pattern ("*" when
    /// empty); reads no entry.
    ///
    /// @returns #PRES_OK (0); #PDIR_ERR_NOT_OPEN (-622) when the directory
    /// cannot be opened; #PDIR_ERR_ALREADY_OPEN (-623) when this object is
    /// open. The code is also left in getResult().
    /// @note Unlike every file operation, the path is used exactly as written:
    /// '\\' is not turned into '/'.
    /// @warning After a failed open the object keeps the first path and
    /// pattern: a second popen() opens its new path but lists with the old
    /// pattern. Call pclose() before trying again.
    int popen(const PLiteral& path, const PLiteral& pattern);
    /// Moves to the next entry that matches the pattern.
    /// @returns #PRES_OK (0) with getEntry() set; #PRES_READ (-505) when no
    /// entry is left; #PDIR_ERR_NOT_OPEN (-622) when not open; #PRES_CONVERSION
    /// (-503) when the pattern or the entry's name does not convert, which ends
    /// the listing. The code is also left in getResult().
    int preaddir();
    /// The current entry's name, without the directory part.
    const PString& getEntry() const { return fEntry; }
    /// The code of the last operation on the object.
    int getResult() const { return fResult; }

    ///@{
    /// Moves to the next entry as preaddir() does, and returns its code (not
    /// the object).
    /// @returns as preaddir(), and #PDIR_ERR_NOT_OPEN (-622) while no entry has
    /// been read: `++` never starts a listing.
    int operator++();
    int operator++(int);
    ///@}
    ///@{
    /// Compares getResult() with @p value.
    bool operator==(int value) const { return fResult == value; }
    bool operator!=(int value) const { return fResult != value; }
    ///@}

    /// Closes the listing; the object can be opened again.
    /// @returns #PRES_OK (0), always, also when `closedir` fails.
    int pclose();
    /// Resets the object to closed without closing the stream.
    /// @warning An open stream is leaked; use pclose().
    void clear();

    /// Creates one directory with permissions 0775 (before the umask); the
    /// parent must exist.
    /// @returns #PRES_OK (0); #PDIR_ERR_EXISTS (-627) when it exists;
    /// #PDIR_ERR_CREATE (-625) for any other failure (missing parent, empty or
    /// unconvertible path).
    /// @warning `errno` is tested before the result: if it already held EEXIST
    /// from an earlier call, a successful creation reports #PDIR_ERR_EXISTS.
    /// Treat -627 as "the directory is there".
    static int pcreate(const PLiteral& path);
    /// Removes one empty directory (`rmdir`), silently.
    /// @returns #PRES_OK (0); #PRES_INVALID_ARG (-502) for an empty path;
    /// #PDIR_ERR_NOT_FOUND (-628) when it does not exist; #PDIR_ERR_DELETE
    /// (-626) for any other failure (not empty, not convertible).
    static int pdelete(const PLiteral& path);

private:
    int fResult;
    PString fEntry;
    PString fPattern;
    PString fDirPath;
    DIR* fDir;
    struct dirent* fDirEntry;
};

#endif // QRIX_PDIR_H
