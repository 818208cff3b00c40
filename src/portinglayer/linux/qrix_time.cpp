// Clocks on Linux: CLOCK_MONOTONIC already counts nanoseconds, so no tick
// scaling is needed. Callers still test for (unsigned)-1 as the failure value.
#include "qrix_macosx.h"

#include <sys/time.h>

#include <cerrno>
#include <cstdio>

#include "qrixDiag.h"

namespace {
constexpr unsigned long long kTicksFailed = (unsigned)-1;
}

unsigned long long get_ticks_nano()
{
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        std::perror("clock_gettime(CLOCK_MONOTONIC) failed:");
        return kTicksFailed;
    }
    return (unsigned long long)now.tv_sec * 1000000000ULL + (unsigned long long)now.tv_nsec;
}

int clock_gettime_mac(int clockId, timespec* ts)
{
    if (clockId == 0) {
        timeval now{};
        int res = gettimeofday(&now, nullptr);
        if (res != 0) {
            PL_DBG(-1, "[PL_DBG]<%02d> [clock_gettime_mac] REALTIME gettimeofday() failed: %d, errno: %d\n", res, errno);
            ts->tv_sec = 0;
            ts->tv_nsec = 0;
            return PRES_FAILED;
        }
        ts->tv_sec = now.tv_sec;
        ts->tv_nsec = now.tv_usec * 1000;
        PL_DBG(10, "[PL_DBG]<%02d> [clock_gettime_mac] REALTIME -> [%lld.%lld]\n",
               (long long)ts->tv_sec, (long long)ts->tv_nsec);
        return PRES_OK;
    }
    if (clockId == 6) {
        unsigned long long n = get_ticks_nano();
        PL_DBG(10, "[PL_DBG]<%02d> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> %lld\n", (long long)n);
        if (n == kTicksFailed) {
            ts->tv_sec = 0;
            ts->tv_nsec = 0;
            return PRES_FAILED;
        }
        ts->tv_sec = (time_t)(n / 1000000000ULL);
        ts->tv_nsec = (long)(n % 1000000000ULL);
        PL_DBG(10, "[PL_DBG]<%02d> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> [%lld.%lld]\n",
               (long long)ts->tv_sec, (long long)ts->tv_nsec);
        return PRES_OK;
    }
    return PRES_NOT_IMPLEMENTED;
}
