// The platform contract: everything a folder under src/portinglayer/<system>/
// must define, and nothing else may come from there. Portable code reaches the
// system's own means only through these declarations. Private to the library.
#ifndef QRIX_PLATFORM_H
#define QRIX_PLATFORM_H

#include <semaphore.h>

#include <cstddef>
#include <vector>

namespace qrix::detail {

// --- Clocks and thread number (behind get_ticks_nano, clock_gettime_mac, gettid_mac)

// Monotonic nanoseconds; (unsigned)-1 when the clock cannot be read, after
// the system's own perror line.
unsigned long long monotonicNanos();

// A number for the calling thread, from the system's thread-id call; `call`
// receives that call's number, which the diagnostics show.
int threadNumber(long& call);

// --- Named semaphores (behind PMutex and PSemaphore)

// sem_open with the name as given: create (exclusive, mode 0770, initial
// count) or open an existing one. A name the system finds too long is cut
// after its 13th character, in place and for good, so that close unlinks the
// name actually used, and tried once more. A null name fails as an empty
// one does. errno tells why it failed.
sem_t* openNamedSem(char* name, bool create, unsigned int count);

// --- Process table (behind check_pid_running_mac, list_pids_mac, getParentPID)

// The fields of one record that the library reads.
struct ProcRecord {
    int pid;
    int ppid;
    char state;
    unsigned int flags;
    long priority;
    long nice;
    long long startSeconds; // since boot
    unsigned int uid;
};

// PRES_OK with the record filled; PRES_NOT_FOUND when the table has no record
// for pid (never existed, or ended and collected); PRES_FAILED when the table
// could not be asked, with errno kept; PRES_NO_MEMORY. `bytes` receives the
// size of the table's answer. A zombie still has its record.
int readProcRecord(int pid, ProcRecord& record, size_t& bytes);

// Appends the record of every process, in the table's order. PRES_FAILED
// with errno kept; PRES_NO_MEMORY. A process that ends while the table is
// read may be left out.
int listProcRecords(std::vector<ProcRecord>& table);

} // namespace qrix::detail

#endif // QRIX_PLATFORM_H
