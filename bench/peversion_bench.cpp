// The version text of a 64 MiB PE file whose resources lie at its end: the parser reading at offsets
// beside what a user without it writes, reading the whole file into memory and parsing that.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "bench/RunPair.h"
#include "filesystem/PeVersion.h"
#include "tests/filesystem/PeImageBuilder.h"
#include "tests/filesystem/PeStreamSource.h"

namespace {

constexpr uint64_t kFileSize = 64ull << 20;

// Writes the image with its resource section moved to the end of a file of kFileSize bytes.
std::string WriteLargeImage()
{
    pe_test::PeImage image = pe_test::VersionImage(pe_test::StandardBlock(
        {{u"040704B0", u"7.0 de"}, {u"040904B0", u"1.2.3.4 en"}}, {{0x409, 1200}}));
    const size_t sectionSize = image.bytes.size() - image.sectionRaw;
    const uint64_t farOffset = kFileSize - sectionSize;
    pe_test::Put32(image.bytes, image.sectionHeader + 20, static_cast<uint32_t>(farOffset));
    const std::string path =
        (std::filesystem::temp_directory_path() / ("veltrane-peversion-" + std::to_string(std::random_device{}()) + ".exe"))
            .string();
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    const std::vector<char> zeros(1 << 20, 0);
    out.write(reinterpret_cast<const char*>(image.bytes.data()), static_cast<std::streamsize>(image.sectionRaw));
    for (uint64_t written = image.sectionRaw; written < farOffset;) {
        const uint64_t chunk = std::min<uint64_t>(zeros.size(), farOffset - written);
        out.write(zeros.data(), static_cast<std::streamsize>(chunk));
        written += chunk;
    }
    out.write(reinterpret_cast<const char*>(image.bytes.data() + image.sectionRaw),
              static_cast<std::streamsize>(sectionSize));
    return path;
}

void FileVersionOfA64MiBFile(benchmark::State& state)
{
    const std::string path = WriteLargeImage();
    std::u16string version;
    bench::RunPair(
        state,
        [&] {
            pe_test::StreamSource source(path);
            if (!peversion::ReadFileVersion(source, version))
                state.SkipWithError("no version found");
        },
        [&] {
            std::ifstream in(path, std::ios::binary);
            std::vector<unsigned char> whole(kFileSize);
            in.read(reinterpret_cast<char*>(whole.data()), static_cast<std::streamsize>(whole.size()));
            if (!peversion::ReadFileVersion(peversion::MemorySource(whole.data(), whole.size()), version))
                state.SkipWithError("no version found");
        });
    std::filesystem::remove(path);
}

}  // namespace

BENCHMARK(FileVersionOfA64MiBFile)->Unit(benchmark::kMicrosecond);
BENCHMARK_MAIN();
