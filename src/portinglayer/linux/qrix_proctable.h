// The process table as /proc/<pid>/stat gives it. Private to the library.
#ifndef QRIX_PROCTABLE_H
#define QRIX_PROCTABLE_H

#include <cstddef>

// The fields of one record that the library reads.
struct QrixProcRecord {
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
// for pid (never existed, or ended and collected); PRES_FAILED when the record
// could not be read, with errno kept. `bytes` receives the size read.
int qrix_read_proc_record(int pid, QrixProcRecord& record, size_t& bytes);

#endif // QRIX_PROCTABLE_H
