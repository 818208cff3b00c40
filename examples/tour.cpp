// A walk through what the porting layer offers, printing what it does.
#include <clocale>
#include <cstdio>

#include "tour.h"

int main()
{
    // The library converts text in the application's locale and never sets it.
    std::setlocale(LC_ALL, "C.UTF-8");
    // Line-buffered so that the tour and the library's stderr lines interleave in order.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("Standard error carries the library's own diagnostics: errors (-1) and\n"
                "events (0, 1) by default. PL_DEBUG=N shows every line of level N or\n"
                "below (e.g. PL_DEBUG=20 traces), PL_DEBUG=-2 hides them; \"[DBGONLY]\"\n"
                "reports and a few fixed lines always print.\n\n");
    std::printf("== strings and conversions\n");
    tourStrings();
    std::printf("\n== core services\n");
    tourCore();
    std::printf("\n== files and the host\n");
    tourFiles();
    std::printf("\n== processes\n");
    tourProcesses();
    std::printf("\n== binary records\n");
    tourBinary();
    std::printf("\n== synchronisation\n");
    tourSync();
    std::printf("\ntour finished\n");
    return 0;
}
