// Internal: times the library and the alternative in the same benchmark iteration, in alternating order.
#pragma once

#include <benchmark/benchmark.h>

#include <chrono>

namespace bench {

// Times library() and alternative() once each per iteration, each after an untimed setup() (for work
// that consumes what it works on, as a removal does), and reports both and their ratio.
template <typename Setup, typename Library, typename Alternative>
void RunPairPrepared(benchmark::State& state, Setup setup, Library library, Alternative alternative)
{
    double librarySeconds = 0;
    double alternativeSeconds = 0;
    double libraryBest = 1e300;
    double alternativeBest = 1e300;
    bool libraryFirst = true;
    for (auto _ : state) {
        for (int turn = 0; turn < 2; ++turn) {
            bool runLibrary = (turn == 0) == libraryFirst;
            state.PauseTiming();
            setup();
            state.ResumeTiming();
            std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
            if (runLibrary)
                library();
            else
                alternative();
            double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
            (runLibrary ? librarySeconds : alternativeSeconds) += seconds;
            double& best = runLibrary ? libraryBest : alternativeBest;
            best = seconds < best ? seconds : best;
        }
        libraryFirst = !libraryFirst;
    }
    // The best run of each side is the figure least disturbed by other work on a shared machine.
    state.counters["library_ms"] = libraryBest * 1000;
    state.counters["alternative_ms"] = alternativeBest * 1000;
    state.counters["ratio"] = libraryBest / alternativeBest;
    state.counters["ratio_mean"] = librarySeconds / alternativeSeconds;
}

// Times library() and alternative() once each per iteration, in alternating order, and reports both and
// their ratio.
template <typename Library, typename Alternative>
void RunPair(benchmark::State& state, Library library, Alternative alternative)
{
    RunPairPrepared(state, [] {}, library, alternative);
}

}  // namespace bench
