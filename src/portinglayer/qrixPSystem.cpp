#include "qrixPSystem.h"

#include <climits>
#include <cstdlib>
#include <ctime>

#include "qrixPDir.h"

PString PSystem::getTempDir()
{
    PDir probe(L"/tmp/", L"");
    if (probe.getResult() != PRES_OK)
        return PString();
    return PString(L"/tmp/");
}

int PSystem::getRandom(int base, int range)
{
    srand((unsigned int)time(nullptr));
    int r = rand();
    // Zero unless rand() returns its maximum, so the answer is base in practice.
    int q = (int)(r / 2147483647.0);
    double value = (double)q * range + base;
    // Beyond int the hardware truncation yields INT_MIN; spelled out to stay defined.
    if (value <= (double)INT_MIN - 1.0 || value >= (double)INT_MAX + 1.0)
        return INT_MIN;
    return (int)value;
}
