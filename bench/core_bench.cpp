// CMonitoredSection Enter/Leave beside std::recursive_mutex, uncontended and with two threads.
// Each iteration times a batch of each lock in turn, so both see the same machine; the counter
// "ratio" is library time / std::recursive_mutex time.
#include <benchmark/benchmark.h>

#include <chrono>
#include <mutex>

#include <Veltrane.h>

namespace {

constexpr int kBatch = 10000;

CMonitoredSection g_section;
std::recursive_mutex g_mutex;
long long g_counter = 0;

template <typename Lock, typename Unlock>
double SecondsForBatch(Lock lock, Unlock unlock)
{
    auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < kBatch; ++i) {
        lock();
        benchmark::DoNotOptimize(++g_counter);
        unlock();
    }
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void EnterLeaveBesideRecursiveMutex(benchmark::State& state)
{
    double library = 0, alternative = 0;
    for (auto _ : state) {
        library += SecondsForBatch([] { g_section.Enter(); }, [] { g_section.Leave(); });
        alternative += SecondsForBatch([] { g_mutex.lock(); }, [] { g_mutex.unlock(); });
    }
    double pairs = static_cast<double>(state.iterations()) * kBatch;
    // Averaged over the threads: each thread reports its own pair of timings.
    state.counters["section_ns"] = benchmark::Counter(library / pairs * 1e9, benchmark::Counter::kAvgThreads);
    state.counters["recursive_mutex_ns"] = benchmark::Counter(alternative / pairs * 1e9, benchmark::Counter::kAvgThreads);
    state.counters["ratio"] = benchmark::Counter(library / alternative, benchmark::Counter::kAvgThreads);
}

}  // namespace

BENCHMARK(EnterLeaveBesideRecursiveMutex);
BENCHMARK(EnterLeaveBesideRecursiveMutex)->Threads(2)->UseRealTime();

BENCHMARK_MAIN();
