#include "qrixPSystem.h"

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
    return (int)((double)q * range + base);
}
