// COsDirectory path operations beside std::filesystem::path, the standard library's path arithmetic.
// Each pair runs in the same process; the program ends with one "ratio library/alternative" line per pair.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <string>

#include <Veltrane.h>

namespace {

const std::string kPathWithDots = "/srv/data/projects/veltrane/./build/../logs/2026/11/run.txt";
const std::string kPlainPath = "/srv/data/projects/veltrane/logs/2026/11/run.txt";

void Library_IsAbsolutePath(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(COsDirectory::IsAbsolutePath(kPlainPath.c_str()));
}

void Alternative_IsAbsolutePath(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(std::filesystem::path(kPlainPath).is_absolute());
}

void Library_SplitDirectoryAndName(benchmark::State& state)
{
    std::string directory;
    std::string name;
    for (auto _ : state) {
        COsDirectory::GetDirectory(kPlainPath, directory);
        COsDirectory::GetFileName(kPlainPath, name);
        benchmark::DoNotOptimize(directory.data());
        benchmark::DoNotOptimize(name.data());
    }
}

void Alternative_SplitDirectoryAndName(benchmark::State& state)
{
    for (auto _ : state) {
        const std::filesystem::path path(kPlainPath);
        std::string directory = path.parent_path().string();
        std::string name = path.filename().string();
        benchmark::DoNotOptimize(directory.data());
        benchmark::DoNotOptimize(name.data());
    }
}

void Library_ResolveDots(benchmark::State& state)
{
    std::string absolute;
    for (auto _ : state) {
        COsDirectory::GetAbsolutePath(kPathWithDots, absolute);
        benchmark::DoNotOptimize(absolute.data());
    }
}

void Alternative_ResolveDots(benchmark::State& state)
{
    for (auto _ : state) {
        std::string absolute = std::filesystem::path(kPathWithDots).lexically_normal().string();
        benchmark::DoNotOptimize(absolute.data());
    }
}

void Library_AbsoluteWithoutDots(benchmark::State& state)
{
    std::string absolute;
    for (auto _ : state) {
        COsDirectory::GetAbsolutePath(kPlainPath, absolute);
        benchmark::DoNotOptimize(absolute.data());
    }
}

void Alternative_AbsoluteWithoutDots(benchmark::State& state)
{
    for (auto _ : state) {
        std::string absolute = std::filesystem::absolute(kPlainPath).lexically_normal().string();
        benchmark::DoNotOptimize(absolute.data());
    }
}

// Prints the usual table and remembers each run's time per iteration, to pair them at the end.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override
    {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            m_Times[run.benchmark_name()] = run.GetAdjustedRealTime();
    }

    void PrintRatios() const
    {
        const std::string library = "Library_";
        for (const auto& [name, time] : m_Times) {
            if (name.compare(0, library.size(), library) != 0)
                continue;
            const auto alternative = m_Times.find("Alternative_" + name.substr(library.size()));
            if (alternative == m_Times.end() || alternative->second <= 0)
                continue;
            std::printf("%-28s ratio library/alternative = %.2f\n", name.substr(library.size()).c_str(),
                        time / alternative->second);
        }
    }

private:
    std::map<std::string, double> m_Times;
};

}  // namespace

BENCHMARK(Library_IsAbsolutePath);
BENCHMARK(Alternative_IsAbsolutePath);
BENCHMARK(Library_SplitDirectoryAndName);
BENCHMARK(Alternative_SplitDirectoryAndName);
BENCHMARK(Library_ResolveDots);
BENCHMARK(Alternative_ResolveDots);
BENCHMARK(Library_AbsoluteWithoutDots);
BENCHMARK(Alternative_AbsoluteWithoutDots);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.PrintRatios();
    benchmark::Shutdown();
    return 0;
}
