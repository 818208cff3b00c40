// The two inline diagnostic shapes every class uses (the third is
// qrix_pl_debug_print). Private to the library.
#ifndef QRIX_DIAG_H
#define QRIX_DIAG_H

#include <cstdio>

#include "qrixPDebug.h"

// Level-tagged line: the format starts with "[PL_DBG]<%02d> " and receives the
// level as its first argument, so the tag shows the message's own level.
#define PL_DBG(level, format, ...)                                      \
    do {                                                                \
        if ((level) <= qrix_pl_debug_threshold()) {                     \
            std::fprintf(stderr, format, (int)(level), ##__VA_ARGS__);  \
            std::fflush(stderr);                                        \
        }                                                               \
    } while (0)

// Error report: printed whatever PL_DEBUG says, despite its "[DBGONLY]" tag.
#define PL_ERR(format, ...)                                 \
    do {                                                    \
        std::fprintf(stderr, format, ##__VA_ARGS__);        \
        std::fflush(stderr);                                \
    } while (0)

// Wide text for "%ls": a null pointer prints as "<null>".
#define PL_WSTR(literal) ((literal).ptr() ? (literal).ptr() : L"<null>")

#endif // QRIX_DIAG_H
