// Millisecond time-outs as timespec, for the timed waits. Private to the
// library.
#ifndef QRIX_TIMESPEC_H
#define QRIX_TIMESPEC_H

#include <time.h>

namespace qrix::detail {

constexpr long NANOS_PER_SECOND = 1000000000L;

// `start` plus `ms`, the nanoseconds carried into whole seconds.
inline timespec afterMillis(const timespec& start, unsigned int ms)
{
    timespec later{};
    later.tv_sec = start.tv_sec + (time_t)(ms / 1000);
    later.tv_nsec = start.tv_nsec + (long)(ms % 1000) * 1000000L;
    if (later.tv_nsec >= NANOS_PER_SECOND) {
        later.tv_sec += later.tv_nsec / NANOS_PER_SECOND;
        later.tv_nsec %= NANOS_PER_SECOND;
    }
    return later;
}

} // namespace qrix::detail

#endif // QRIX_TIMESPEC_H
