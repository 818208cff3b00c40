// An uncontended lock and unlock of the unnamed (recursive) mutex, against
// the pthread calls on a recursive mutex.
#include <pthread.h>

#include <benchmark/benchmark.h>
#include <qrixPortingLayer.h>

#include "benchSupport.h"

namespace {

void mutexLibrary(benchmark::State& state)
{
    PMutex m;
    if (m.init() != PRES_OK)
        benchFail("mutex/library", "init failed");
    for (auto _ : state) {
        int locked = m.lock();
        int unlocked = m.unlock();
        benchmark::DoNotOptimize(locked + unlocked);
    }
}

void mutexReference(benchmark::State& state)
{
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_t m;
    pthread_mutex_init(&m, &attr);
    pthread_mutexattr_destroy(&attr);
    for (auto _ : state) {
        int locked = pthread_mutex_lock(&m);
        int unlocked = pthread_mutex_unlock(&m);
        benchmark::DoNotOptimize(locked + unlocked);
    }
    pthread_mutex_destroy(&m);
}

} // namespace

BENCHMARK(mutexLibrary)->Name("mutex/library");
BENCHMARK(mutexReference)->Name("mutex/reference");
