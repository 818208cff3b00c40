#include <qrixPortingLayer.h>

#include <cstdio>
#include <cstdlib>

#include "tour.h"

void tourStrings()
{
    PString greeting(L"  Grüße aus dem Porting Layer  ");
    greeting.trim();
    std::printf("trimmed text: '%ls' (%lu characters)\n", greeting.ptr(), greeting.len());

    unsigned long pos = 0;
    if (greeting.str(L"porting", pos, false, true) == PRES_OK)
        std::printf("'porting' found ignoring case at %lu\n", pos);

    // Ordering is by length first: "b" sorts before "aa".
    PString b(L"b"), aa(L"aa");
    std::printf("\"b\" < \"aa\": %s\n", b < aa ? "true" : "false");

    PString rest(L"ls -l, /tmp , --color"), token;
    while (PLiteral::getNextToken(rest, token, L',') == PRES_OK)
        std::printf("token: '%ls'\n", token.ptr());

    char* narrow = greeting.ascii();
    // The byte limit is the character count, so multibyte text comes back cut.
    std::printf("as UTF-8 bytes (at most %lu): %s\n", greeting.len(), narrow ? narrow : "(not convertible)");
    delete[] narrow;

    PString fromNarrow("naïve café");
    std::printf("from UTF-8: '%ls' (%lu characters)\n", fromNarrow.ptr(), fromNarrow.len());

    // Level-tagged diagnostics are gated by PL_DEBUG (1 when unset); the
    // real-time clock reports at level 10.
    std::fflush(stdout);
    timespec now{};
    setenv("PL_DEBUG", "10", 1);
    clock_gettime_mac(0, &now); // prints its level-10 line
    setenv("PL_DEBUG", "1", 1);
    clock_gettime_mac(0, &now); // silent
    unsetenv("PL_DEBUG");
    qrix_pl_debug_print("[tour] qrix_pl_debug_print always prints\n");
}
