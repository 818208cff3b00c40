// What the text fuzzers share: a reader that turns the fuzzer's bytes into
// parameters and wide text, and a check that turns a broken rule into a crash
// the fuzzer records.
#ifndef QRIX_FUZZ_INPUT_H
#define QRIX_FUZZ_INPUT_H

#include <climits>
#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <qrixPortingLayer.h>

inline void require(bool condition)
{
    if (!condition)
        std::abort();
}

// The locale comes from the environment, as in an application; the run
// script starts each text target once per locale. A locale that is missing
// would silently test the wrong one, so it stops the run.
inline void useEnvironmentLocale()
{
    const char* name = std::setlocale(LC_ALL, "");
    require(name != nullptr);
    std::fprintf(stderr, "locale: %s\n", name);
}

class FuzzInput {
public:
    FuzzInput(const uint8_t* data, size_t size) : fData(data), fSize(size), fPos(0) {}

    bool done() const { return fPos >= fSize; }

    // 0 once the input is used up, so that every script ends.
    uint8_t byte() { return done() ? 0 : fData[fPos++]; }

    // Bytes below 0xF8 are their own code point (NUL, CR, LF and Latin-1
    // included); a byte from 0xF8 up introduces any 32-bit value, invalid and
    // negative ones too.
    wchar_t wide()
    {
        uint8_t b = byte();
        if (b < 0xF8)
            return (wchar_t)b;
        uint32_t raw = 0;
        for (int i = 0; i < 4; ++i)
            raw = raw << 8 | byte();
        return (wchar_t)raw;
    }

    std::wstring wideText(size_t maxChars)
    {
        std::wstring text;
        while (!done() && text.size() < maxChars)
            text.push_back(wide());
        return text;
    }

    std::string bytes(size_t count)
    {
        std::string text;
        while (!done() && text.size() < count)
            text.push_back((char)byte());
        return text;
    }

    // Lengths a hostile caller might pass: up to `avail`, the "to the
    // terminator" sentinel, or one so large that no size computed from it
    // fits an object (such lengths must be refused before anything is read).
    unsigned long length(unsigned long avail, bool sentinel = true)
    {
        uint8_t b = byte();
        if (b < 0xE0 || (b < 0xF0 && !sentinel))
            return ((unsigned long)b << 8 | byte()) % (avail + 1);
        if (b < 0xF0)
            return 0xFFFFFFFFUL;
        static const unsigned long huge[] = {ULONG_MAX,     ULONG_MAX - 1,  ULONG_MAX - 3,  ULONG_MAX - 7,
                                             ULONG_MAX - 8, 1UL << 63,      ULONG_MAX / 2 + 2, ULONG_MAX - 2048};
        return huge[b & 7];
    }

private:
    const uint8_t* fData;
    size_t fSize;
    size_t fPos;
};

// A view whose length may stop short of its terminator, as callers may make.
struct View : PLiteral {
    View(const wchar_t* p, unsigned long n)
    {
        fPtr = p;
        fLen = n;
    }
};

// The blanks the library trims.
inline bool isBlank(wchar_t c)
{
    return c == L' ' || c == L'\t' || c == L'\n' || c == L'\r';
}

#endif // QRIX_FUZZ_INPUT_H
