#include "qrixPTime.h"

#include <sys/time.h>
#include <time.h>

int _endianness_initializer_helper = 0;

namespace {

// The library's only static initialiser: fixes the byte-order flag at load.
class _EndiannessInitHelper {
public:
    _EndiannessInitHelper()
    {
        const unsigned int probe = 1;
        _endianness_initializer_helper = *reinterpret_cast<const unsigned char*>(&probe) == 1 ? 1 : 0;
    }
    ~_EndiannessInitHelper() {} // the flag stays valid until unload
};

_EndiannessInitHelper endiannessInit;

long long epochMillis(const timeval& now)
{
    return (long long)now.tv_sec * 1000 + now.tv_usec / 1000;
}

} // namespace

int getEndianness()
{
    return _endianness_initializer_helper;
}

int PTime::getTime(PTime& t)
{
    timeval now{};
    gettimeofday(&now, nullptr);
    time_t seconds = now.tv_sec;
    tm local{};
    // localtime_r alone keeps the zone it saw first; tzset makes a changed TZ
    // count at once, as localtime would, without its shared buffer.
    tzset();
    localtime_r(&seconds, &local);
    t.milliseconds = (int)(now.tv_usec / 1000);
    t.second = local.tm_sec;
    t.minute = local.tm_min;
    t.hour = local.tm_hour;
    t.day = local.tm_mday;
    t.month = local.tm_mon + 1;
    t.year = local.tm_year + 1900;
    t.weekDay = local.tm_wday;
    t.yearDay = local.tm_yday;
    t.timestamp = epochMillis(now);
    return PRES_OK;
}

// The timestamp of getTime needs no broken-down local time: skipping the
// time-zone work keeps write-rename opens, which name files by it, cheap.
long long PTime::getTickCount()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    return epochMillis(now);
}

long long PTime::getTickCountDiff(long long start, long long end)
{
    return end - start;
}
