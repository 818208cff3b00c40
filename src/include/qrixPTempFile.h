/// @file
/// PTempFile: a PFile opened under the caller's prefix followed by a random
/// number. The file outlives the object; removing it is the caller's business.
#ifndef QRIX_PTEMP_FILE_H
#define QRIX_PTEMP_FILE_H

#include "qrixPFile.h"
#include "qrixTypes.h"

/// A PFile under a fresh name: the caller's prefix and a random decimal number.
///
/// Nothing is deleted: take the name with pgetName() before pclose() and
/// remove the file with PFile::pdelete() when done.
/// @note popen() and pclose() hide, not override, those of PFile: call them
/// on a PTempFile, not through a PFile reference.
class QRIX_EXPORT PTempFile : public PFile {
public:
    /// A closed object.
    PTempFile();
    /// Closes the descriptor; the file stays on disk.
    ~PTempFile() override;

    /// Opens `prefix` + a random number of up to nine digits, probing until it
    /// finds a name that does not exist.
    ///
    /// The prefix is used as written ("/tmp/job-" gives "/tmp/job-1746329");
    /// no separator, dot or extension is added.
    /// @param prefix the path prefix.
    /// @param mode as for PFile::popen(); without #PFILE_CREATE nothing is
    ///        created and the call returns #PFILE_ERR_NOT_FOUND.
    /// @param iNoLock as for PFile::popen().
    /// @returns #PRES_OK (0); #PFILE_ERR_ALREADY_OPEN (-612) when open;
    /// #PRES_INVALID_ARG (-502) for an empty prefix; #PRES_NO_MEMORY (-501);
    /// #PFILE_ERR_OPEN (-611) when no free name is found; any code of the
    /// final PFile::popen(), such as #PFILE_ERR_NOT_FOUND (-620) for a missing
    /// directory.
    /// @warning The number is drawn after reseeding from the clock's second,
    /// so a name taken is drawn again until the second changes: a second file
    /// with the same prefix in the same second (in any process) blocks for up
    /// to a second.
    /// @warning A name that cannot be probed for another reason than not
    /// existing (a directory without search permission, say) is retried up to
    /// 308,915,776 times, with a report each time: make sure the directory is
    /// usable first.
    /// @warning The probe and the open are two steps without `O_EXCL`: a file
    /// made by someone else in between is opened, and truncated if @p mode
    /// says so. In directories others can write to, use `mkstemp`.
    int popen(const PLiteral& prefix, unsigned int mode, unsigned int iNoLock = 0);
    /// Closes the file, which stays on disk.
    /// @returns the code of PFile::pclose().
    int pclose();

    /// A new buffer holding the decimal text of a number drawn after
    /// reseeding `rand()` from the clock's second; the caller frees it with
    /// `delete[]`. Null when allocation fails.
    /// @warning Reseeds the process-wide `rand()` generator at every call.
    wchar_t* getRandStr();

protected:
    bool fOpened; ///< Whether popen() succeeded and pclose() was not yet called.
};

#endif // QRIX_PTEMP_FILE_H
