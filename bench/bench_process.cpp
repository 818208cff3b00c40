// Starting /bin/true and collecting its exit code, against fork, execvp and
// waitpid by hand. The object is reused, so every start after the first asks
// whether the previous child still runs, as the library does.
#include <cstdio>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

void processLibrary(benchmark::State& state)
{
    PProcess p(L"/bin/true", L"");
    for (auto _ : state) {
        int code = -1;
        if (p.start() != PRES_OK || p.waitExitCode(code) != PRES_OK || code != 0)
            benchFail("process/library", "/bin/true did not run");
    }
}

void processReference(benchmark::State& state)
{
    char program[] = "/bin/true";
    char* argv[] = {program, nullptr};
    for (auto _ : state) {
        std::fflush(stdout);
        std::fflush(stderr);
        pid_t pid = fork();
        if (pid == 0) {
            execvp(program, argv);
            _exit(127);
        }
        int status = -1;
        if (pid == -1 || waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
            benchFail("process/reference", "/bin/true did not run");
    }
}

} // namespace

BENCHMARK(processLibrary)->Name("process/library")->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(processReference)->Name("process/reference")->UseRealTime()->Unit(benchmark::kMicrosecond);
