// Time: local fields, the wall-clock tick count, the shim clocks, thread
// numbers and byte order.
#include <sys/syscall.h>
#include <time.h>
#include <climits>
#include "testSupport.h"

static long long wallMs()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return (long long)now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

TEST(PTime, FieldsFollowTheLocalZoneTimestampDoesNot)
{
    PTime t{};
    PTime::getTime(t); // the zone seen first must not stick
    ScopedEnv tz("TZ", "NST3:30NDT,M3.2.0,M11.1.0"); // a half-hour offset with summer time
    do // late enough in its second that every digit of the milliseconds counts
        EXPECT_EQ(PTime::getTime(t), PRES_OK);
    while (t.timestamp % 1000 < 100);
    tzset(); // for the reference only: getTime must notice the zone itself
    time_t seconds = (time_t)(t.timestamp / 1000);
    tm l{};
    localtime_r(&seconds, &l);
    int expected[] = {(int)(t.timestamp % 1000), l.tm_sec, l.tm_min, l.tm_hour, l.tm_mday, l.tm_mon + 1,
                      l.tm_year + 1900, l.tm_wday, l.tm_yday};
    int actual[] = {t.milliseconds, t.second, t.minute, t.hour, t.day, t.month, t.year, t.weekDay, t.yearDay};
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(actual[i], expected[i]) << "field " << i;
    long long tick = PTime::getTickCount(); // the wall clock in milliseconds, whatever the zone
    EXPECT_TRUE(tick >= t.timestamp && tick <= wallMs());
    const long long diffs[][3] = {{100, 40, -60}, {40, 100, 60}, {-5, LLONG_MAX - 5, LLONG_MAX}};
    for (const auto& d : diffs)
        EXPECT_EQ(PTime::getTickCountDiff(d[0], d[1]), d[2]) << d[0] << " " << d[1];
}

TEST(Clocks, MonotonicNeverGoesBackRealTimeIsTheWallClock)
{
    timespec prev{};
    for (int i = 0; i < 20000; ++i) {
        timespec now{};
        ASSERT_EQ(clock_gettime_mac(6, &now), PRES_OK);
        ASSERT_LT(now.tv_nsec, 1000000000L);
        ASSERT_TRUE(now.tv_sec > prev.tv_sec || (now.tv_sec == prev.tv_sec && now.tv_nsec >= prev.tv_nsec));
        prev = now;
    }
    // Both read the kernel's monotonic clock: each answer lies between two readings of it.
    auto ns = [](const timespec& t) { return (unsigned long long)t.tv_sec * 1000000000ULL + t.tv_nsec; };
    timespec low{}, high{};
    clock_gettime(CLOCK_MONOTONIC, &low);
    unsigned long long ticks = get_ticks_nano();
    clock_gettime_mac(6, &prev);
    clock_gettime(CLOCK_MONOTONIC, &high);
    EXPECT_TRUE(ns(low) <= ticks && ticks <= ns(prev) && ns(prev) <= ns(high)) << ns(low) << " " << ns(prev);

    long long before = wallMs();
    ASSERT_EQ(clock_gettime_mac(0, &prev), PRES_OK);
    long long ms = (long long)prev.tv_sec * 1000 + prev.tv_nsec / 1000000;
    EXPECT_TRUE(ms >= before && ms <= wallMs());
    timespec untouched{7, 7};
    EXPECT_TRUE(clock_gettime_mac(1, &untouched) == PRES_NOT_IMPLEMENTED && untouched.tv_sec == 7 && untouched.tv_nsec == 7);
    EXPECT_EQ(getEndianness(), 1); // x86-64 stores the low byte first
}

TEST(Clocks, ThreadNumbersAreTheKernelsAndEveryTraceHasItsLevel)
{
    int here = 0, other = 0, mainTid = (int)syscall(SYS_gettid), otherTid = 0;
    std::thread([&] { other = gettid_mac(), otherTid = (int)syscall(SYS_gettid); }).join();
    here = gettid_mac();
    EXPECT_TRUE(here == mainTid && other == otherTid && here != other);

    timespec ts{};
    char tid[32];
    snprintf(tid, sizeof tid, ") -> %p\n", (void*)(long)mainTid);
    EXPECT_TRUE(printsFromLevel(10, "[PL_DBG]<10> [gettid_mac] syscall(", [] { gettid_mac(); }));
    EXPECT_TRUE(printsFromLevel(10, tid, [] { gettid_mac(); }));
    EXPECT_TRUE(printsFromLevel(10, "[PL_DBG]<10> [clock_gettime_mac] REALTIME -> [", [&] { clock_gettime_mac(0, &ts); }));
    EXPECT_TRUE(printsFromLevel(10, "[PL_DBG]<10> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> ",
                                [&] { clock_gettime_mac(6, &ts); }, 2));
    EXPECT_TRUE(printsFromLevel(10, "[PL_DBG]<10> [clock_gettime_mac] MONOTONIC get_ticks_nano() -> [",
                                [&] { clock_gettime_mac(6, &ts); }));
}
