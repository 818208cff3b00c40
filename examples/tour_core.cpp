#include <qrixPortingLayer.h>

#include <cstdio>

#include "tour.h"

namespace {

void* sumTo(void* arg)
{
    long n = (long)arg, sum = 0;
    for (long i = 1; i <= n; ++i)
        sum += i;
    return (void*)sum;
}

} // namespace

void tourCore()
{
    const unsigned char bytes[] = {0x0A, 0xFF, 0x00, 0x7F};
    PString hex;
    PUtils::binaryToStr(bytes, sizeof bytes, hex);
    std::printf("4 bytes as text: '%ls'\n", hex.ptr());
    unsigned char* back = nullptr;
    unsigned long size = 0;
    if (PUtils::strToBinary(hex, back, size) == PRES_OK)
        std::printf("and back: %lu bytes, last 0x%02X\n", size, back[size - 1]);
    delete[] back;

    PString number;
    PUtils::int64ToStr(-9000000000LL, number);
    long long parsed = 0;
    int res = PUtils::strToInt64(number, parsed);
    std::printf("int64 -> '%ls' -> %lld (res %d)\n", number.ptr(), parsed, res);
    int small = 0;
    PUtils::strToInt32(L" 42", small);
    res = PUtils::strToInt32(L"x1", small);
    std::printf("' 42' reads as %d, 'x1' is refused with %d\n", small, res);

    PTime now{};
    PTime::getTime(now);
    std::printf("local time %04d-%02d-%02d %02d:%02d:%02d.%03d (weekday %d, day %d of the year), %lld ms since 1970\n",
                now.year, now.month, now.day, now.hour, now.minute, now.second, now.milliseconds, now.weekDay,
                now.yearDay, now.timestamp);
    std::printf("host byte order needs swapping for the wire: %s\n", getEndianness() ? "yes" : "no");

    PThread worker;
    void* result = nullptr;
    if (worker.pcreate(sumTo, (void*)100L) == PRES_OK && worker.pjoin(result) == PRES_OK) {
        std::printf("a thread summed 1..100 and was joined with %ld\n", (long)result);
        std::printf("joining again finds no thread: %d\n", worker.pjoin(result));
    }

    PLibrary* libm = nullptr;
    if (PLibrary::load(L"libm.so.6", libm, true) == PRES_OK) {
        auto cosine = (double (*)(double))libm->getFunction("cos");
        std::printf("'%ls' loaded; its cos(0.0) = %.1f\n", libm->getName().ptr(), cosine ? cosine(0.0) : -2.0);
        delete libm;
    }
    PString module(L"foo");
    PLibrary::fixLibName(module);
    std::printf("a bare module name 'foo' becomes '%ls'\n", module.ptr());
}
