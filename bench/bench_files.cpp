// Replacing a 4 KiB file through a locked temporary sibling, and streaming
// 64 MiB in 1 MiB blocks, against the system calls written out by hand. Both
// are compared by CPU time, which includes the kernel's work in the calls but
// not the waits for a disk that other programs share.
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/time.h>
#include <unistd.h>
#include <vector>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

const unsigned long SMALL = 4096;
const unsigned long BLOCK = 1UL << 20;
const unsigned long BLOCKS = 64;

std::string fileIn(const char* name)
{
    return benchDir() + "/" + name;
}

PString wide(const std::string& s)
{
    return PString(s.c_str());
}

// What every row writes: one block's worth of bytes.
const char* payload()
{
    static const std::vector<char> bytes(BLOCK, 'q');
    return bytes.data();
}

void replaceLibrary(benchmark::State& state)
{
    const PString target = wide(fileIn("replaced"));
    const char* bytes = payload();
    for (auto _ : state) {
        PFile f;
        unsigned long count = 0;
        if (f.popen(target, PFILE_WRITE_RENAME, 0) != PRES_OK || f.pwrite(bytes, SMALL, count) != PRES_OK ||
            count != SMALL || f.pclose() != PRES_OK)
            benchFail("replace/library", "write-rename failed");
    }
}

// The same target and the same temporary name, process id and millisecond
// clock, made with snprintf: the file system sees the same work on both sides.
void replaceReference(benchmark::State& state)
{
    const std::string target = fileIn("replaced");
    const char* bytes = payload();
    char temporary[4096];
    for (auto _ : state) {
        timeval now;
        gettimeofday(&now, nullptr);
        std::snprintf(temporary, sizeof(temporary), "%s.qrix_temp-%u-%llu", target.c_str(), (unsigned int)getpid(),
                      (unsigned long long)now.tv_sec * 1000 + (unsigned long long)now.tv_usec / 1000);
        int fd = open(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd == -1 || flock(fd, LOCK_EX | LOCK_NB) != 0 || write(fd, bytes, SMALL) != (ssize_t)SMALL)
            benchFail("replace/reference", "open, lock or write failed");
        close(fd);
        if (rename(temporary, target.c_str()) != 0)
            benchFail("replace/reference", "rename failed");
    }
}

// One pass: rewrite the file from its start, then read it back. Both sides
// work on the same file, so that they meet the same page cache; how a file's
// pages happen to lie in memory moves a copy of 64 MiB by more than 10 %.
void streamLibrary(benchmark::State& state)
{
    static std::vector<char> in(BLOCK);
    const char* out = payload();
    PFile f;
    if (f.popen(wide(fileIn("streamed")), PFILE_READ | PFILE_WRITE | PFILE_CREATE, 1) != PRES_OK)
        benchFail("stream/library", "open failed");
    for (auto _ : state) {
        unsigned long count = 0;
        bool ok = f.pseek(0, SEEK_SET) == PRES_OK;
        for (unsigned long i = 0; ok && i < BLOCKS; ++i)
            ok = f.pwrite(out, BLOCK, count) == PRES_OK && count == BLOCK;
        ok = ok && f.pseek(0, SEEK_SET) == PRES_OK;
        for (unsigned long i = 0; ok && i < BLOCKS; ++i)
            ok = f.pread(in.data(), BLOCK, count) == PRES_OK && count == BLOCK;
        if (!ok)
            benchFail("stream/library", "a block was not written or read whole");
    }
    state.SetBytesProcessed(state.iterations() * 2 * BLOCK * BLOCKS);
}

void streamReference(benchmark::State& state)
{
    static std::vector<char> in(BLOCK);
    const char* out = payload();
    int fd = open(fileIn("streamed").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    if (fd == -1)
        benchFail("stream/reference", "open failed");
    for (auto _ : state) {
        bool ok = lseek(fd, 0, SEEK_SET) == 0;
        for (unsigned long i = 0; ok && i < BLOCKS; ++i)
            ok = write(fd, out, BLOCK) == (ssize_t)BLOCK;
        ok = ok && lseek(fd, 0, SEEK_SET) == 0;
        for (unsigned long i = 0; ok && i < BLOCKS; ++i)
            ok = read(fd, in.data(), BLOCK) == (ssize_t)BLOCK;
        if (!ok)
            benchFail("stream/reference", "a block was not written or read whole");
    }
    close(fd);
    state.SetBytesProcessed(state.iterations() * 2 * BLOCK * BLOCKS);
}

} // namespace

BENCHMARK(replaceLibrary)->Name("replace/library")->Unit(benchmark::kMicrosecond);
BENCHMARK(replaceReference)->Name("replace/reference")->Unit(benchmark::kMicrosecond);
BENCHMARK(streamLibrary)->Name("stream/library")->Unit(benchmark::kMillisecond);
BENCHMARK(streamReference)->Name("stream/reference")->Unit(benchmark::kMillisecond);
