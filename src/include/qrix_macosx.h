// Free platform shims. Their names end in _mac on every platform; each system
// implements them with its own means.
#ifndef QRIX_MACOSX_H
#define QRIX_MACOSX_H

#include <semaphore.h>
#include <time.h>

#include <vector>

#include "qrixTypes.h"

// Monotonic nanoseconds; (unsigned)-1 when the clock cannot be read.
QRIX_EXPORT unsigned long long get_ticks_nano();
// clockId 0 is real time, 6 monotonic; any other gives -508.
QRIX_EXPORT int clock_gettime_mac(int clockId, timespec* ts);
// A number for the calling thread, for diagnostics only.
QRIX_EXPORT int gettid_mac();
// Never waits: returns -508 and leaves the count.
QRIX_EXPORT int sem_timedwait_mac(sem_t* sem, const timespec* timeout);
// Appends the ids of the processes whose parent is ppid, or of all when ppid is 0.
QRIX_EXPORT int list_pids_mac(int ppid, std::vector<unsigned int>& out);
// running = whether the process table has a record for pid (zombies included).
QRIX_EXPORT int check_pid_running_mac(int pid, bool& running);

#endif // QRIX_MACOSX_H
