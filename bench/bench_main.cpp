#include <cstdio>
#include <cstdlib>
#include <string>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

std::string gDir;

} // namespace

const std::string& benchDir()
{
    return gDir;
}

void benchFail(const char* row, const char* why)
{
    std::fprintf(stdout, "%s: %s\n", row, why);
    std::fflush(stdout);
    std::exit(2);
}

int main(int argc, char** argv)
{
    // QRIX_BENCH_DIR picks the file system the file rows run on.
    const char* parent = std::getenv("QRIX_BENCH_DIR");
    std::string pattern = std::string(parent && *parent ? parent : "/tmp") + "/qrix_bench.XXXXXX";
    if (!mkdtemp(&pattern[0])) {
        std::perror("mkdtemp");
        return 1;
    }
    gDir = pattern;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return PFile::removeAll(PString(gDir.c_str())) == PRES_OK ? 0 : 1;
}
