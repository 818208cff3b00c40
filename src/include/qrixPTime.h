// Wall-clock time broken into local fields, a millisecond tick count and the
// host byte order.
#ifndef QRIX_PTIME_H
#define QRIX_PTIME_H

#include "qrixTypes.h"

class QRIX_EXPORT PTime {
public:
    int milliseconds; // 0..999
    int second;
    int minute;
    int hour;
    int day;          // 1..31
    int month;        // 1..12
    int year;         // full year
    int weekDay;      // 0..6, 0 is Sunday
    int yearDay;      // 0..365
    long long timestamp; // milliseconds since 1970-01-01 UTC

    static int getTime(PTime& t);
    // Wall-clock milliseconds since 1970, not a monotonic count.
    static long long getTickCount();
    static long long getTickCountDiff(long long start, long long end);
};

// 1 on a host that stores the least significant byte first, else 0; set once
// when the library is loaded.
QRIX_EXPORT int getEndianness();
// The flag itself, set by the library's only static initialiser.
extern QRIX_EXPORT int _endianness_initializer_helper;

#endif // QRIX_PTIME_H
