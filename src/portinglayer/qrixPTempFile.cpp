#include "qrixPTempFile.h"

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <new>

#include "qrixPUtils.h"
#include "qrixText.h"

using qrix::detail::isEmpty;

namespace {

// Both the range of the random number and the number of names tried.
constexpr unsigned int RANDOM_RANGE = 308915776u;

// ln(x) + 1 characters hold the digits and the terminator from x = 3 upward;
// the draws 0 to 2 get room for one digit.
int textLength(unsigned int x)
{
    if (x < 3)
        return 2;
    return (int)logf((float)x) + 1;
}

} // namespace

PTempFile::PTempFile()
    : fOpened(false)
{
}

PTempFile::~PTempFile()
{
}

wchar_t* PTempFile::getRandStr()
{
    // Reseeded from the whole second on purpose: draws within one second repeat.
    srand((unsigned int)time(NULL));
    unsigned int x = (unsigned int)rand() % RANDOM_RANGE;
    int n = textLength(x);
    wchar_t* text = new (std::nothrow) wchar_t[n];
    if (text)
        swprintf(text, (size_t)n, L"%d", (int)x);
    return text;
}

int PTempFile::popen(const PLiteral& prefix, unsigned int mode, unsigned int iNoLock)
{
    if (fOpened)
        return PFILE_ERR_ALREADY_OPEN;
    if (isEmpty(prefix))
        return PRES_INVALID_ARG;

    PFile probe;
    for (unsigned int attempt = 0; attempt < RANDOM_RANGE; ++attempt) {
        wchar_t* random = getRandStr();
        if (!random)
            return PRES_NO_MEMORY;
        PString number(random);
        delete[] random;

        PString candidate(prefix);
        candidate += number;
        PUtils::fixFileSeparator(candidate);

        // Probe and open are two steps: a file made in between is opened too.
        int probed = probe.popen(candidate, 0, 1);
        if (probed == PFILE_ERR_NOT_FOUND) {
            int res = PFile::popen(candidate, mode, iNoLock);
            if (res != PRES_OK)
                return res;
            fOpened = true;
            return PRES_OK;
        }
        if (probed == PRES_OK)
            probe.pclose();
    }
    return PFILE_ERR_OPEN;
}

int PTempFile::pclose()
{
    int res = PFile::pclose();
    fOpened = false;
    return res;
}
