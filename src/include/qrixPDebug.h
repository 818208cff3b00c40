// Diagnostics on standard error. Level-tagged lines are gated by PL_DEBUG;
// error reports and qrix_pl_debug_print lines always print.
#ifndef QRIX_PDEBUG_H
#define QRIX_PDEBUG_H

#include "qrixTypes.h"

// printf-style print to stderr, flushed at once; no prefix, no line end, no gate.
QRIX_EXPORT void qrix_pl_debug_print(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The threshold for level-tagged lines: atoi(PL_DEBUG), 1 when unset. Read afresh
// at every call so that a change of the variable takes effect at the next message.
QRIX_EXPORT int qrix_pl_debug_threshold();

#endif // QRIX_PDEBUG_H
