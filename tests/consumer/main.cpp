// A downstream program: the umbrella header and the library, nothing else.
#include <qrixPortingLayer.h>

#include <cstdio>

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
    return 0;
}
