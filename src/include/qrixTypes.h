/// @file
/// Common types of the porting layer: the export macro, the length sentinel and
/// the table of result codes shared by every class.
///
/// Every fallible operation returns one of these codes: 0 for success, a
/// negative value for failure. Nothing throws; only the standard allocator of
/// a `std::vector` or `std::string` inside a call can raise `std::bad_alloc`.
/// The gaps in the numbering (-616..-618, -706..-710, -718..-720, -730,
/// -739..-741, -9003..-9004) are never returned. docs/result-codes.md lists
/// the operations that return each code.
#ifndef QRIX_TYPES_H
#define QRIX_TYPES_H

/// Marks what the library exports; it is built with hidden visibility.
#define QRIX_EXPORT __attribute__((visibility("default")))

/// Length argument meaning "up to the terminator"; the default of every length
/// argument.
///
/// @warning Only this exact value (0xFFFFFFFF) has that meaning. `(unsigned
/// long)-1` is an ordinary, huge length: operations whose buffer size it would
/// wrap fail with #PRES_NO_MEMORY instead of reading past the text.
constexpr unsigned long PSTR_ALL = 0xFFFFFFFFUL;

// General
constexpr int PRES_OK = 0;                ///< Success.
constexpr int PRES_FAILED = -500;         ///< A system facility failed for a reason without a code of its own.
constexpr int PRES_NO_MEMORY = -501;      ///< An allocation failed, or a size computation would wrap around.
constexpr int PRES_INVALID_ARG = -502;    ///< A required pointer is null, a name empty, a mode invalid, or a position or length outside the text.
constexpr int PRES_CONVERSION = -503;     ///< A directory entry's name could not be converted to wide text.
constexpr int PRES_NOT_FOUND = -504;      ///< What was looked for does not exist: no match, no such file, process or host name.
constexpr int PRES_READ = -505;           ///< A read failed, or a directory listing has no further entry.
constexpr int PRES_WRITE = -506;          ///< A write failed.
constexpr int PRES_BAD_FORMAT = -507;     ///< Text is not a valid number, boolean, hexadecimal digit or byte list.
constexpr int PRES_NOT_IMPLEMENTED = -508; ///< The facility does not exist on this platform (also errno ENOSYS).
constexpr int PRES_PATH_ERROR = -509;     ///< A rename failed with EIO, EMLINK, ELOOP or ENAMETOOLONG.
constexpr int PRES_TOKEN = -510;          ///< Nothing left to split into a token.
constexpr int PRES_REFUSED = -511;        ///< The system refused a rename (EPERM, EBUSY, EEXIST, EXDEV, ENOTDIR, EISDIR, EINVAL, ENOSPC, EROFS, ENOTEMPTY).
constexpr int PPROCESS_ERR_STOPPED = -512; ///< The awaited child is stopped, not ended.

// Dynamic libraries
constexpr int PLIBRARY_ERR_LOAD = -601;   ///< The dynamic loader refused the library.

// Files and directories (-616..-618 are not used)
constexpr int PFILE_ERR_OPEN = -611;      ///< Opening failed (errno other than ENOENT), no free temporary name, or /proc/stat unreadable.
constexpr int PFILE_ERR_ALREADY_OPEN = -612; ///< The object already holds an open file.
constexpr int PFILE_ERR_NOT_OPEN = -613;  ///< No file is open, or a write-rename file lost one of its names.
constexpr int PFILE_ERR_EOF = -614;       ///< A read returned 0 bytes (end of file), or a write wrote 0 bytes.
constexpr int PFILE_ERR_SEEK = -615;      ///< lseek failed.
constexpr int PFILE_ERR_DELETE = -619;    ///< unlink failed (errno other than ENOENT).
constexpr int PFILE_ERR_NOT_FOUND = -620; ///< No such file (ENOENT) on open or delete.
constexpr int PFILE_ERR_SIZE = -621;      ///< The size of the open file could not be read.
constexpr int PDIR_ERR_NOT_OPEN = -622;   ///< The directory could not be opened, or no listing is under way.
constexpr int PDIR_ERR_ALREADY_OPEN = -623; ///< The directory object is already open.
constexpr int PDIR_ERR_CLOSE = -624;      ///< closedir failed; never returned, since PDir::pclose() always reports 0.
constexpr int PDIR_ERR_CREATE = -625;     ///< mkdir failed (errno other than EEXIST).
constexpr int PDIR_ERR_DELETE = -626;     ///< rmdir failed (errno other than ENOENT).
constexpr int PDIR_ERR_EXISTS = -627;     ///< mkdir found the directory already there (EEXIST).
constexpr int PDIR_ERR_NOT_FOUND = -628;  ///< The directory to remove does not exist.
/// Not returned by any call: the exit value of a child that cannot enter its
/// working directory; its parent sees exit status 139 (the low eight bits).
constexpr int PPROCESS_EXIT_EXEC_FAILED = -629;
constexpr int PFILE_ERR_LOCK = -630;      ///< The file is locked by another holder; the descriptor stays open.

// Threads (-706..-710 are not used)
constexpr int PTHREAD_ERR_NO_THREAD = -701; ///< No thread is attached, or creating one failed.
constexpr int PTHREAD_ERR_JOIN = -702;    ///< Joining failed.
constexpr int PTHREAD_ERR_ALREADY_CREATED = -703; ///< The object already runs a thread.
constexpr int PTHREAD_ERR_TERMINATE = -704; ///< Cancelling the thread failed.
constexpr int PTHREAD_ERR_DETACH = -705;  ///< Detaching failed.

// Mutexes (-718..-720 are not used)
constexpr int PMUTEX_ERR_NOT_INIT = -711; ///< The mutex (or, at close, the condition variable) is not initialised, or init failed.
constexpr int PMUTEX_ERR_LOCK = -712;     ///< Locking failed.
constexpr int PMUTEX_ERR_UNLOCK = -713;   ///< Unlocking failed.
constexpr int PMUTEX_ERR_NOT_FOUND = -714; ///< The named mutex to open does not exist.
constexpr int PMUTEX_ERR_CLOSE = -715;    ///< Closing or destroying failed.
constexpr int PMUTEX_ERR_ALREADY_INIT = -716; ///< The mutex is already initialised.
constexpr int PMUTEX_ERR_EXISTS = -717;   ///< The named mutex to create exists already.

// Semaphores (-730 is not used)
constexpr int PSEM_ERR_NOT_INIT = -721;   ///< The semaphore is not open, or creating or opening it failed.
constexpr int PSEM_ERR_POST = -722;       ///< Posting failed.
constexpr int PSEM_ERR_WAIT = -723;       ///< Waiting failed; also a trywait on a zero count and every timed wait.
constexpr int PSEM_ERR_TIMEOUT = -724;    ///< A timed wait reported ETIMEDOUT.
constexpr int PSEM_ERR_GETVALUE = -725;   ///< Reading the count failed.
constexpr int PSEM_ERR_NOT_FOUND = -726;  ///< The named semaphore to open does not exist.
constexpr int PSEM_ERR_CLOSE = -727;      ///< Closing or destroying failed.
constexpr int PSEM_ERR_ALREADY_INIT = -728; ///< The semaphore is already open.
constexpr int PSEM_ERR_EXISTS = -729;     ///< The named semaphore to create exists already.

// Condition variables (-739..-741 are not used)
constexpr int PCOND_ERR_NOT_INIT = -731;  ///< The condition variable is not initialised, or initialising it failed.
constexpr int PCOND_ERR_WAIT = -732;      ///< Waiting failed, or the clock could not be read for the deadline.
constexpr int PCOND_ERR_TIMEOUT = -733;   ///< The timed wait ran out.
constexpr int PCOND_ERR_NOTIFY = -734;    ///< Signalling or broadcasting failed.
constexpr int PCOND_ERR_CLOSE = -735;     ///< Destroying failed.
constexpr int PCOND_ERR_ALREADY_INIT = -736; ///< The condition variable is already initialised.
constexpr int PCOND_ERR_NAMED_MUTEX = -737; ///< A wait was given a named mutex; only unnamed ones work.
constexpr int PCOND_ERR_MUTEX_NOT_INIT = -738; ///< A wait was given a mutex that is not initialised.

// Processes
constexpr int PPROCESS_ERR_KILL = -742;   ///< Sending the signal failed (no such process, no permission).
constexpr int PPROCESS_ERR_NO_PROCESS = -743; ///< The object has no process, or there is no child left to wait for.
constexpr int PPROCESS_ERR_START = -744;  ///< The object's child still runs, so it was not started again.

// Binary data (-9003..-9004 are not used)
constexpr int PDATA_ERR_SHORT = -9001;    ///< Fewer bytes remain than the item needs.
constexpr int PDATA_ERR_TYPE = -9002;     ///< The tag byte is not the expected one.
constexpr int PDATA_ERR_ENCODE = -9005;   ///< A wide string could not be converted to bytes.
constexpr int PDATA_ERR_DECODE = -9006;   ///< Bytes could not be converted to a wide string, or converted to nothing.

#endif // QRIX_TYPES_H
