/// @file
/// Free platform shims. Their names end in `_mac` on every platform; each
/// system implements them with its own means (on Linux: the clocks, the kernel
/// thread id, and the process table read from /proc).
#ifndef QRIX_MACOSX_H
#define QRIX_MACOSX_H

#include <semaphore.h>
#include <time.h>

#include <vector>

#include "qrixTypes.h"

/// Monotonic nanoseconds since an arbitrary start (boot on Linux).
///
/// Use it to measure intervals: unlike PTime::getTickCount() it never jumps
/// when the clock is set. Thread-safe.
/// @returns the count, or `(unsigned)-1` (4294967295) when the clock cannot be
/// read (with a `perror` line on standard error).
QRIX_EXPORT unsigned long long get_ticks_nano();

/// Reads a clock into @p ts.
///
/// @param clockId 0 for real (wall-clock) time, 6 for the monotonic clock.
/// @param ts receives the time; zeroed when the clock cannot be read.
/// @returns #PRES_OK (0); #PRES_FAILED (-500) when the clock cannot be read;
/// #PRES_NOT_IMPLEMENTED (-508) for any other @p clockId, @p ts untouched.
QRIX_EXPORT int clock_gettime_mac(int clockId, timespec* ts);

/// A number for the calling thread, meant for diagnostics only (the kernel's
/// thread id on Linux).
QRIX_EXPORT int gettid_mac();

/// Stands in for a timed semaphore wait, which is deliberately not offered.
///
/// @warning Never waits and never takes a count: every call returns at once
/// with #PRES_NOT_IMPLEMENTED (-508), leaving `errno` as it was. Use
/// `sem_trywait` in a loop with PThread::psleep() to wait with a time-out.
QRIX_EXPORT int sem_timedwait_mac(sem_t* sem, const timespec* timeout);

/// Appends to @p out the ids of the processes whose parent is @p ppid, or of
/// every process when @p ppid is 0.
///
/// Only direct children are listed, in the order of the process table. @p out
/// is not emptied first. Reads /proc without collecting any child.
/// @returns #PRES_OK (0), also when none matches; #PRES_FAILED (-500) when the
/// table cannot be read.
QRIX_EXPORT int list_pids_mac(int ppid, std::vector<unsigned int>& out);

/// Sets @p running to whether the process table has a record for @p pid.
///
/// @note An ended child that was not yet collected (a zombie) has a record and
/// counts as running; this call collects nothing. PProcess::isRunning() sweeps
/// ended children first for that reason.
/// @returns #PRES_OK (0), with @p running false when there is no record;
/// #PRES_FAILED (-500) when the record exists but cannot be read.
QRIX_EXPORT int check_pid_running_mac(int pid, bool& running);

#endif // QRIX_MACOSX_H
