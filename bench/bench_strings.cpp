// A four-character needle found at the end of a million characters, against
// std::wstring::find.
#include <string>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

const unsigned long HAY = 1UL << 20;

// Lower-case letters from a fixed generator, so that the needle's first
// character turns up every few dozen positions, then the needle.
const std::wstring& haystack()
{
    static std::wstring text = [] {
        std::wstring made;
        made.reserve(HAY);
        unsigned int seed = 12345;
        while (made.size() < HAY - 4) {
            seed = seed * 1103515245u + 12345u;
            made.push_back((wchar_t)(L'a' + (seed >> 16) % 26));
            // Keep the needle from turning up early.
            if (made.size() >= 4 && made.compare(made.size() - 4, 4, L"wxyz") == 0)
                made.back() = L'a';
        }
        made += L"wxyz";
        return made;
    }();
    return text;
}

void findLibrary(benchmark::State& state)
{
    PString hay(haystack().c_str(), haystack().size());
    PString needle(L"wxyz");
    unsigned long pos = 0;
    if (hay.str(needle, pos) != PRES_OK || pos != HAY - 4)
        benchFail("find/library", "needle not found at the end");
    for (auto _ : state) {
        int res = hay.str(needle, pos);
        benchmark::DoNotOptimize(res);
        benchmark::DoNotOptimize(pos);
    }
}

void findReference(benchmark::State& state)
{
    const std::wstring& hay = haystack();
    const std::wstring needle(L"wxyz");
    if (hay.find(needle) != HAY - 4)
        benchFail("find/reference", "needle not found at the end");
    for (auto _ : state) {
        size_t pos = hay.find(needle);
        benchmark::DoNotOptimize(pos);
    }
}

} // namespace

BENCHMARK(findLibrary)->Name("find/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(findReference)->Name("find/reference")->Unit(benchmark::kMicrosecond);
