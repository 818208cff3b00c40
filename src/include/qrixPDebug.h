/// @file
/// Diagnostics on standard error.
///
/// The library writes three shapes of lines, each flushed at once:
/// - level-tagged lines `[PL_DBG]<NN> [Class::method] ...`, printed when their
///   level is at most qrix_pl_debug_threshold(): errors (-1) and events (0, 1)
///   show by default, tracing (2 and up) does not;
/// - error reports `[DBGONLY][Class::method] ...`, printed always, despite
///   their tag;
/// - free lines through qrix_pl_debug_print(), printed always: among them
///   PFile::pclose()'s rename line, PFile::removeAll()'s `## rm` and `## rmdir`
///   trace, the two lines of every PProcess::waitExitCode() and the host
///   address lookup.
///
/// @note To keep standard error clean, set `PL_DEBUG=-2`: that silences every
/// level-tagged line, but never the other two shapes. Redirect or capture file
/// descriptor 2 where those must not be seen.
#ifndef QRIX_PDEBUG_H
#define QRIX_PDEBUG_H

#include "qrixTypes.h"

/// Prints a printf-style message on standard error and flushes it.
///
/// Adds no prefix and no line end, and is not gated by `PL_DEBUG`.
/// Thread-safe; lines of different threads may interleave between calls.
QRIX_EXPORT void qrix_pl_debug_print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The threshold of the level-tagged lines: `atoi(PL_DEBUG)`, or 1 when the
/// variable is unset.
///
/// Read afresh at every call, so a change of the variable counts at the next
/// message. A value that is not a number (or an empty one) gives 0.
/// @warning Calls `getenv`; do not change the environment from another thread
/// meanwhile.
QRIX_EXPORT int qrix_pl_debug_threshold();

#endif // QRIX_PDEBUG_H
