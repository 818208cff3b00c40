// A downstream program: the umbrella header and the library, nothing else.
// It also checks that the headers are of the version its build system found
// (QRIX_EXPECTED_VERSION) and prints that version for the SONAME check.
#include <qrixPortingLayer.h>

#include <cstdio>
#include <cstring>

#define QRIX_TEXT(x) #x
#define QRIX_NUMBER_TEXT(x) QRIX_TEXT(x)

int main()
{
    PString text(L"  installed  ");
    text.trim();
    if (text != L"installed")
        return 1;
    PString number;
    if (PUtils::int32ToStr(-42, number) != PRES_OK || number != L"-42")
        return 2;
    qrix_pl_debug_print("consumer: %ls %ls\n", text.ptr(), number.ptr());

    const char* fromNumbers = QRIX_NUMBER_TEXT(QRIX_VERSION_MAJOR) "." QRIX_NUMBER_TEXT(
        QRIX_VERSION_MINOR) "." QRIX_NUMBER_TEXT(QRIX_VERSION_PATCH);
    if (std::strcmp(QRIX_VERSION_STRING, fromNumbers) != 0
        || std::strcmp(QRIX_VERSION_STRING, QRIX_EXPECTED_VERSION) != 0) {
        std::fprintf(stderr, "version text %s, numbers %s, package %s\n", QRIX_VERSION_STRING,
                     fromNumbers, QRIX_EXPECTED_VERSION);
        return 3;
    }
    std::printf("%s\n", QRIX_VERSION_STRING);
    return 0;
}
