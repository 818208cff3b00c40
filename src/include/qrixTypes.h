// Common types of the porting layer: the export macro, the length sentinel and
// the table of result codes shared by every class.
#ifndef QRIX_TYPES_H
#define QRIX_TYPES_H

// The library is built with hidden visibility; only what carries this is exported.
#define QRIX_EXPORT __attribute__((visibility("default")))

// Length argument meaning "up to the terminator". Only this exact value has
// that meaning; (unsigned long)-1 is an ordinary, huge length.
constexpr unsigned long PSTR_ALL = 0xFFFFFFFFUL;

// General
constexpr int PRES_OK = 0;
constexpr int PRES_FAILED = -500;
constexpr int PRES_NO_MEMORY = -501;
constexpr int PRES_INVALID_ARG = -502;
constexpr int PRES_CONVERSION = -503;
constexpr int PRES_NOT_FOUND = -504;
constexpr int PRES_READ = -505;
constexpr int PRES_WRITE = -506;
constexpr int PRES_BAD_FORMAT = -507;
constexpr int PRES_NOT_IMPLEMENTED = -508;
constexpr int PRES_PATH_ERROR = -509;
constexpr int PRES_TOKEN = -510;
constexpr int PRES_REFUSED = -511;
constexpr int PPROCESS_ERR_STOPPED = -512;

// Dynamic libraries
constexpr int PLIBRARY_ERR_LOAD = -601;

// Files and directories (-616..-618 are not used)
constexpr int PFILE_ERR_OPEN = -611;
constexpr int PFILE_ERR_ALREADY_OPEN = -612;
constexpr int PFILE_ERR_NOT_OPEN = -613;
constexpr int PFILE_ERR_EOF = -614;
constexpr int PFILE_ERR_SEEK = -615;
constexpr int PFILE_ERR_DELETE = -619;
constexpr int PFILE_ERR_NOT_FOUND = -620;
constexpr int PFILE_ERR_SIZE = -621;
constexpr int PDIR_ERR_NOT_OPEN = -622;
constexpr int PDIR_ERR_ALREADY_OPEN = -623;
constexpr int PDIR_ERR_CLOSE = -624;
constexpr int PDIR_ERR_CREATE = -625;
constexpr int PDIR_ERR_DELETE = -626;
constexpr int PDIR_ERR_EXISTS = -627;
constexpr int PDIR_ERR_NOT_FOUND = -628;
constexpr int PPROCESS_EXIT_EXEC_FAILED = -629;
constexpr int PFILE_ERR_LOCK = -630;

// Threads (-706..-710 are not used)
constexpr int PTHREAD_ERR_NO_THREAD = -701;
constexpr int PTHREAD_ERR_JOIN = -702;
constexpr int PTHREAD_ERR_ALREADY_CREATED = -703;
constexpr int PTHREAD_ERR_TERMINATE = -704;
constexpr int PTHREAD_ERR_DETACH = -705;

// Mutexes (-718..-720 are not used)
constexpr int PMUTEX_ERR_NOT_INIT = -711;
constexpr int PMUTEX_ERR_LOCK = -712;
constexpr int PMUTEX_ERR_UNLOCK = -713;
constexpr int PMUTEX_ERR_NOT_FOUND = -714;
constexpr int PMUTEX_ERR_CLOSE = -715;
constexpr int PMUTEX_ERR_ALREADY_INIT = -716;
constexpr int PMUTEX_ERR_EXISTS = -717;

// Semaphores (-730 is not used)
constexpr int PSEM_ERR_NOT_INIT = -721;
constexpr int PSEM_ERR_POST = -722;
constexpr int PSEM_ERR_WAIT = -723;
constexpr int PSEM_ERR_TIMEOUT = -724;
constexpr int PSEM_ERR_GETVALUE = -725;
constexpr int PSEM_ERR_NOT_FOUND = -726;
constexpr int PSEM_ERR_CLOSE = -727;
constexpr int PSEM_ERR_ALREADY_INIT = -728;
constexpr int PSEM_ERR_EXISTS = -729;

// Condition variables (-739..-741 are not used)
constexpr int PCOND_ERR_NOT_INIT = -731;
constexpr int PCOND_ERR_WAIT = -732;
constexpr int PCOND_ERR_TIMEOUT = -733;
constexpr int PCOND_ERR_NOTIFY = -734;
constexpr int PCOND_ERR_CLOSE = -735;
constexpr int PCOND_ERR_ALREADY_INIT = -736;
constexpr int PCOND_ERR_NAMED_MUTEX = -737;
constexpr int PCOND_ERR_MUTEX_NOT_INIT = -738;

// Processes
constexpr int PPROCESS_ERR_KILL = -742;
constexpr int PPROCESS_ERR_NO_PROCESS = -743;
constexpr int PPROCESS_ERR_START = -744;

// Binary data (-9003..-9004 are not used)
constexpr int PDATA_ERR_SHORT = -9001;
constexpr int PDATA_ERR_TYPE = -9002;
constexpr int PDATA_ERR_ENCODE = -9005;
constexpr int PDATA_ERR_DECODE = -9006;

#endif // QRIX_TYPES_H
