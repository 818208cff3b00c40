/// @file
/// Wall-clock time broken into local fields, a millisecond tick count and the
/// host byte order.
#ifndef QRIX_PTIME_H
#define QRIX_PTIME_H

#include "qrixTypes.h"

/// The local wall-clock time, broken into fields by getTime().
class QRIX_EXPORT PTime {
public:
    int milliseconds; ///< 0..999 within the second.
    int second;       ///< 0..60, local time.
    int minute;       ///< 0..59, local time.
    int hour;         ///< 0..23, local time.
    int day;          ///< Day of the month, 1..31.
    int month;        ///< 1..12, January is 1.
    int year;         ///< The full year, such as 2026.
    int weekDay;      ///< 0..6, 0 is Sunday.
    int yearDay;      ///< 0..365, 0 is 1 January.
    long long timestamp; ///< Milliseconds since 1970-01-01 UTC, whatever the time zone.

    /// Fills @p t with the current local time; a changed `TZ` counts at once.
    /// Thread-safe.
    /// @returns #PRES_OK (0), always.
    static int getTime(PTime& t);
    /// Milliseconds since 1970 by the wall clock.
    /// @warning Not a monotonic count: it jumps when the system clock is set,
    /// and the library measures its own intervals with it. To measure an
    /// interval yourself, use get_ticks_nano().
    static long long getTickCount();
    /// `end - start`.
    static long long getTickCountDiff(long long start, long long end);
};

/// 1 on a host that stores the least significant byte first, else 0; set once
/// when the library is loaded. The binary format swaps bytes when it is not 0.
QRIX_EXPORT int getEndianness();
/// The flag behind getEndianness(), set by the library's only static
/// initialiser. Read it through getEndianness(); never write it.
extern QRIX_EXPORT int _endianness_initializer_helper;

#endif // QRIX_PTIME_H
