// COsDirectory beside what a user would write instead, in the same iteration:
// - A walk over 100 000 files with FindFirstFileA/FindNextFileA, which describe each entry with its
//   attributes and its times as local time, beside std::filesystem::directory_iterator with each entry's
//   status and last write time converted to local time (localtime_r), and beside the tightest form of that
//   loop: directory_iterator with one stat(2) of each entry.
// - CleanDirectory of a tree of 20 000 files in 20 directories beside std::filesystem::remove_all of each
//   of the directory's entries; each side gets a fresh tree, made and written out outside the timing.
// Everything lives in a directory of its own under the temporary directory and is removed at the end.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>

#include <Veltrane.h>

#include "bench/RunPair.h"

namespace {

namespace fs = std::filesystem;

constexpr int kWalkFiles = 100000;
constexpr int kTreeDirectories = 20;
constexpr int kTreeFilesPerDirectory = 1000;

const fs::path& BenchDirectory()
{
    static const fs::path directory = [] {
        fs::path path = fs::temp_directory_path() / ("veltrane-bench-" + COsGuid::NewGuid());
        fs::create_directories(path);
        return path;
    }();
    return directory;
}

void MakeFile(const std::string& path)
{
    close(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
}

const std::string& WalkDirectory()
{
    static const std::string directory = [] {
        const std::string path = (BenchDirectory() / "walk").string();
        fs::create_directories(path);
        for (int i = 0; i < kWalkFiles; ++i)
            MakeFile(path + "/file-" + std::to_string(i) + ".dat");
        return path;
    }();
    return directory;
}

// The library's side of both walks: each entry's attributes and local write time, as the other side reads them.
long long FindWalk(const std::string& directory)
{
    long long sum = 0;
    _S_FileData record{};
    for (bool found = COsDirectory::FindFirstFileA(directory, record); found;
         found = COsDirectory::FindNextFileA(record))
        sum += record.stWriteTime.wSecond + record.bDirectory;
    COsDirectory::FindClose(record);
    return sum;
}

void BM_WalkBesideDirectoryIterator(benchmark::State& state)
{
    const std::string& directory = WalkDirectory();
    // The file clock's distance from the system clock, for the conversion a C++17 program has to make.
    const auto clockOffset = std::chrono::system_clock::now().time_since_epoch() -
                             std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                 fs::file_time_type::clock::now().time_since_epoch());
    long long sum = 0;
    bench::RunPair(
        state,
        [&] { sum += FindWalk(directory); },
        [&] {
            for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
                const fs::file_status status = entry.status();
                const auto written = std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                         entry.last_write_time().time_since_epoch()) + clockOffset;
                const time_t seconds = std::chrono::system_clock::to_time_t(std::chrono::system_clock::time_point(written));
                std::tm local;
                localtime_r(&seconds, &local);
                sum += local.tm_sec + (status.type() == fs::file_type::directory);
            }
        });
    benchmark::DoNotOptimize(sum);
}

void BM_WalkBesideDirectoryIteratorAndStat(benchmark::State& state)
{
    const std::string& directory = WalkDirectory();
    long long sum = 0;
    bench::RunPair(
        state,
        [&] { sum += FindWalk(directory); },
        [&] {
            for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
                struct stat status;
                if (stat(entry.path().c_str(), &status) != 0)
                    continue;
                std::tm local;
                localtime_r(&status.st_mtim.tv_sec, &local);
                sum += local.tm_sec + S_ISDIR(status.st_mode);
            }
        });
    benchmark::DoNotOptimize(sum);
}

void MakeTree(const std::string& root)
{
    for (int directory = 0; directory < kTreeDirectories; ++directory) {
        const std::string path = root + "/d" + std::to_string(directory);
        fs::create_directories(path);
        for (int i = 0; i < kTreeFilesPerDirectory; ++i)
            MakeFile(path + "/file-" + std::to_string(i) + ".dat");
    }
}

void BM_CleanDirectoryBesideRemoveAll(benchmark::State& state)
{
    const std::string root = (BenchDirectory() / "tree").string();
    fs::create_directories(root);
    bool cleaned = true;
    bench::RunPairPrepared(
        state,
        [&] {
            MakeTree(root);
            sync();  // the new tree's blocks are written out first, so neither side's timing pays for them
        },
        [&] { cleaned = COsDirectory::CleanDirectory(root) && cleaned; },
        [&] {
            for (const fs::directory_entry& entry : fs::directory_iterator(root))
                fs::remove_all(entry.path());
        });
    if (!cleaned)
        state.SkipWithError("CleanDirectory failed");
}

}  // namespace

BENCHMARK(BM_WalkBesideDirectoryIterator)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WalkBesideDirectoryIteratorAndStat)->Iterations(10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CleanDirectoryBesideRemoveAll)->Iterations(10)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    fs::remove_all(BenchDirectory(), ignored);
    return 0;
}
