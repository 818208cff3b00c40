// Time: local fields, the wall-clock tick count, the shim clocks and byte order.
#include <sys/time.h>
#include <time.h>

#include <cstdio>
#include <string>

#include <gtest/gtest.h>
#include <qrixPortingLayer.h>

#include "testSupport.h"

namespace {

long long wallMs()
{
    timeval tv{};
    gettimeofday(&tv, nullptr);
    return (long long)tv.tv_sec * 1000 + tv.tv_usec / 1000;
}

} // namespace

TEST(PTime, FieldsFollowTheLocalZoneTimestampDoesNot)
{
    for (const char* zone : {"UTC0", "IST-5:30", "NST3:30NDT,M3.2.0,M11.1.0"}) {
        ScopedEnv tz("TZ", zone);
        long long before = wallMs();
        PTime t{};
        EXPECT_EQ(PTime::getTime(t), PRES_OK);
        EXPECT_TRUE(t.timestamp >= before && t.timestamp <= wallMs()) << zone;
        tzset(); // for the reference only: getTime must notice the zone itself
        time_t seconds = (time_t)(t.timestamp / 1000);
        tm l{};
        localtime_r(&seconds, &l);
        int expected[] = {(int)(t.timestamp % 1000), l.tm_sec, l.tm_min, l.tm_hour, l.tm_mday, l.tm_mon + 1,
                          l.tm_year + 1900, l.tm_wday, l.tm_yday};
        int actual[] = {t.milliseconds, t.second, t.minute, t.hour, t.day, t.month, t.year, t.weekDay, t.yearDay};
        for (int i = 0; i < 9; ++i)
            EXPECT_EQ(actual[i], expected[i]) << zone << " field " << i;
    }
    tzset();
    long long before = wallMs();
    long long tick = PTime::getTickCount();
    EXPECT_TRUE(tick >= before && tick <= wallMs());
}

TEST(Clocks, MonotonicNeverGoesBack)
{
    timespec prev{};
    ASSERT_EQ(clock_gettime_mac(6, &prev), PRES_OK);
    for (int i = 0; i < 20000; ++i) {
        timespec now{};
        ASSERT_EQ(clock_gettime_mac(6, &now), PRES_OK);
        ASSERT_LT(now.tv_nsec, 1000000000L);
        ASSERT_TRUE(now.tv_sec > prev.tv_sec || (now.tv_sec == prev.tv_sec && now.tv_nsec >= prev.tv_nsec));
        prev = now;
    }
    timespec kernel{};
    clock_gettime(CLOCK_MONOTONIC, &kernel);
    unsigned long long ticks = get_ticks_nano();
    EXPECT_LT(ticks - ((unsigned long long)kernel.tv_sec * 1000000000ULL + kernel.tv_nsec), 1000000000ULL);
}

TEST(Clocks, RealTimeOtherIdsAndTheLevel10Lines)
{
    timespec ts{};
    long long before = wallMs();
    ASSERT_EQ(clock_gettime_mac(0, &ts), PRES_OK);
    long long ms = (long long)ts.tv_sec * 1000 + ts.tv_nsec / 1000000;
    EXPECT_TRUE(ms >= before && ms <= wallMs());
    timespec untouched{12, 34};
    EXPECT_EQ(clock_gettime_mac(1, &untouched), PRES_NOT_IMPLEMENTED);
    EXPECT_TRUE(untouched.tv_sec == 12 && untouched.tv_nsec == 34);

    ScopedEnv env("PL_DEBUG", "10");
    CapturedStderr err;
    clock_gettime_mac(0, &ts);
    clock_gettime_mac(6, &ts);
    std::string text = err.text();
    char last[96];
    std::snprintf(last, sizeof last, "[PL_DBG]<10> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> [%lld.%lld]\n",
                  (long long)ts.tv_sec, (long long)ts.tv_nsec);
    EXPECT_TRUE(text.rfind("[PL_DBG]<10> [clock_gettime_mac] REALTIME -> [", 0) == 0) << text;
    EXPECT_EQ(countOccurrences(text, "\n"), 3);
    EXPECT_EQ(text.substr(text.size() - std::string(last).size()), last);
    EXPECT_EQ(getEndianness(), 1); // x86-64 stores the low byte first
}
