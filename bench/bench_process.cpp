// Starting /bin/true and collecting its exit code, against fork, execvp and
// waitpid by hand. The object is reused, so every start after the first asks
// whether the previous child still runs, as the library does.
//
// Each iteration is timed as the CPU time of this process and of the children
// it waited for: the child's work before exec counts, as in wall-clock time,
// but other programs on a shared machine do not.
#include <cstdio>
#include <ctime>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

double cpuSeconds()
{
    timespec self;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &self);
    rusage children;
    getrusage(RUSAGE_CHILDREN, &children);
    return (double)self.tv_sec + self.tv_nsec * 1e-9 + (double)children.ru_utime.tv_sec +
           children.ru_utime.tv_usec * 1e-6 + (double)children.ru_stime.tv_sec + children.ru_stime.tv_usec * 1e-6;
}

void processLibrary(benchmark::State& state)
{
    PProcess p(L"/bin/true", L"");
    for (auto _ : state) {
        const double start = cpuSeconds();
        int code = -1;
        if (p.start() != PRES_OK || p.waitExitCode(code) != PRES_OK || code != 0)
            benchFail("process/library", "/bin/true did not run");
        state.SetIterationTime(cpuSeconds() - start);
    }
}

void processReference(benchmark::State& state)
{
    char program[] = "/bin/true";
    char* argv[] = {program, nullptr};
    for (auto _ : state) {
        const double start = cpuSeconds();
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
        state.SetIterationTime(cpuSeconds() - start);
    }
}

} // namespace

BENCHMARK(processLibrary)->Name("process/library")->UseManualTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(processReference)->Name("process/reference")->UseManualTime()->Unit(benchmark::kMicrosecond);
