// CMonitoredSection Enter/Leave beside std::recursive_mutex, uncontended and with two threads.
#include <benchmark/benchmark.h>

#include <mutex>

#include <Veltrane.h>

namespace {

CMonitoredSection g_section;
std::recursive_mutex g_mutex;
long long g_counter = 0;

void MonitoredSectionEnterLeave(benchmark::State& state)
{
    for (auto _ : state) {
        g_section.Enter();
        benchmark::DoNotOptimize(++g_counter);
        g_section.Leave();
    }
}

void RecursiveMutexLockUnlock(benchmark::State& state)
{
    for (auto _ : state) {
        g_mutex.lock();
        benchmark::DoNotOptimize(++g_counter);
        g_mutex.unlock();
    }
}

}  // namespace

BENCHMARK(MonitoredSectionEnterLeave);
BENCHMARK(RecursiveMutexLockUnlock);
BENCHMARK(MonitoredSectionEnterLeave)->Threads(2)->UseRealTime();
BENCHMARK(RecursiveMutexLockUnlock)->Threads(2)->UseRealTime();

BENCHMARK_MAIN();
