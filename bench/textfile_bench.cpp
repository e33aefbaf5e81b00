// COsTextFile beside what a user would write instead, in the same iteration, over 256 MiB of text in lines
// of about 80 bytes (mostly ASCII, with Latin, Greek, Chinese and emoji now and then):
// - ReadLine of the UTF-8 file, as UTF-8 and with automatic detection (which scans the whole file first),
//   beside POSIX getline(3) on a FILE*, std::getline on a std::ifstream, and read(2) + memchr, the bare
//   line scan that any reader has to do and the limit to approach.
// - ReadLine of the same text as UTF-16LE, beside reading the file whole and converting it with ICU.
// - The detection scan alone (Open with TextFormatAuto, then Close), beside reading the file in the same
//   pieces without looking at them.
// The files live in a directory of their own under the temporary directory and are removed at the end.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

#include <Veltrane.h>

#include "bench/BenchFiles.h"
#include "bench/RunPair.h"

namespace {

using bench::BenchDirectory;
using bench::Check;

constexpr size_t kFileBytes = 256u << 20;
// The pieces in which the detection scan reads the file, and its alternative reads it.
constexpr size_t kScanPiece = 256u << 10;

// What every reader reports: the lines and their bytes, line ends not counted.
struct Count {
    size_t lines = 0;
    size_t bytes = 0;
    bool operator==(const Count& other) const { return lines == other.lines && bytes == other.bytes; }
};

// Lines of 60 to 100 bytes of words, each ended by LF.
std::string MakeUtf8Text(size_t bytes)
{
    const char* words[] = {"the", "file", "caf\xC3\xA9", "\xCE\xB1\xCE\xB2\xCE\xB3", "\xE4\xB8\xAD\xE6\x96\x87",
                           "network", "12", "\xE2\x82\xAC", "library", "\xF0\x9F\x98\x80", "request", "served"};
    std::string text;
    text.reserve(bytes + 128);
    unsigned state = 4242;
    size_t lineStart = 0;
    size_t lineLength = 80;
    while (text.size() < bytes) {
        state = state * 1103515245u + 12345u;
        text += words[(state >> 16) % 12];
        if (text.size() - lineStart >= lineLength) {
            text += '\n';
            lineStart = text.size();
            lineLength = 60 + (state >> 8) % 41;
        } else {
            text += ' ';
        }
    }
    text.resize(text.rfind('\n') + 1);
    return text;
}

struct Files {
    std::string utf8;
    std::string utf16;
    Count count;
    std::string utf8Text;  // the UTF-8 of the whole text, to compare the UTF-16 side with
};

const Files& TestFiles()
{
    static const Files files = [] {
        Files made;
        const std::string text = MakeUtf8Text(kFileBytes);
        for (size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
            ++made.count.lines;
            made.count.bytes += end - at;
        }
        made.utf8 = (BenchDirectory() / "lines-utf8.txt").string();
        std::ofstream(made.utf8, std::ios::binary).write(text.data(), static_cast<std::streamsize>(text.size()));
        wchar16* wide = nullptr;
        const int units = COsEncoding::UTF8ToUTF16(text.c_str(), &wide);
        made.utf16 = (BenchDirectory() / "lines-utf16le.txt").string();
        std::ofstream(made.utf16, std::ios::binary)
            .write(reinterpret_cast<const char*>(wide), static_cast<std::streamsize>((units - 1) * 2));
        delete[] wide;
        made.utf8Text = text;
        return made;
    }();
    return files;
}

Count LibraryLines(const std::string& path, ETextFormat format)
{
    Count count;
    COsTextFile* file = COsTextFile::CreateInstance();
    char* line = nullptr;
    Check(file->Open(path.c_str(), "rb", format, 0) == 0, "the library opens the file");
    while (file->ReadLine(nullptr, &line) != -1) {
        ++count.lines;
        count.bytes += static_cast<size_t>(GetBlockLength(line) - 1);
    }
    FreeBlock(line);
    COsTextFile::FreeInstance(&file);
    return count;
}

Count PosixGetline(const std::string& path)
{
    Count count;
    FILE* stream = std::fopen(path.c_str(), "rb");
    char* line = nullptr;
    size_t capacity = 0;
    for (ssize_t got; (got = getline(&line, &capacity, stream)) != -1;) {
        ++count.lines;
        count.bytes += static_cast<size_t>(got) - (line[got - 1] == '\n');
    }
    std::free(line);
    std::fclose(stream);
    return count;
}

Count StdGetline(const std::string& path)
{
    Count count;
    std::ifstream in(path, std::ios::binary);
    for (std::string line; std::getline(in, line);) {
        ++count.lines;
        count.bytes += line.size();
    }
    return count;
}

// The bare scan: 64 KiB reads, memchr for each line end, a line cut by a read carried over by its length.
Count ReadAndMemchr(const std::string& path)
{
    Count count;
    const int descriptor = ::open(path.c_str(), O_RDONLY);
    std::unique_ptr<char[]> buffer(new char[1 << 16]);
    size_t pending = 0;
    for (ssize_t got; (got = ::read(descriptor, buffer.get(), 1 << 16)) > 0;) {
        const char* at = buffer.get();
        const char* end = at + got;
        for (const char* found; (found = static_cast<const char*>(std::memchr(at, '\n', end - at))) != nullptr;
             at = found + 1) {
            ++count.lines;
            count.bytes += pending + (found - at);
            pending = 0;
        }
        pending += end - at;
    }
    ::close(descriptor);
    return count;
}

// ReadLine of the UTF-8 file in `format` beside `alternative` over the same file.
void LinesBeside(benchmark::State& state, ETextFormat format, Count (*alternative)(const std::string&))
{
    const Files& files = TestFiles();
    Count library, other;
    bench::RunPair(state, [&] { library = LibraryLines(files.utf8, format); },
                   [&] { other = alternative(files.utf8); });
    Check(library == files.count && other == files.count, "both sides read every line");
}

void BM_ReadLine_Utf8_BesideGetline(benchmark::State& state)
{
    LinesBeside(state, TextFormatUTF8, PosixGetline);
}

void BM_ReadLine_Auto_BesideGetline(benchmark::State& state)
{
    LinesBeside(state, TextFormatAuto, PosixGetline);
}

void BM_ReadLine_Utf8_BesideStdGetline(benchmark::State& state)
{
    LinesBeside(state, TextFormatUTF8, StdGetline);
}

void BM_ReadLine_Utf8_BesideReadMemchr(benchmark::State& state)
{
    LinesBeside(state, TextFormatUTF8, ReadAndMemchr);
}

void BM_ReadLine_Utf16LE_BesideWholeIcu(benchmark::State& state)
{
    const Files& files = TestFiles();
    Count library;
    std::string alternative;
    bench::RunPair(
        state, [&] { library = LibraryLines(files.utf16, TextFormatUTF16LE); },
        [&] { alternative = bench::IcuUtf16ToUtf8(bench::ReadWithIfstream(files.utf16)); });
    Check(library == files.count && alternative == files.utf8Text, "both sides give the whole text");
}

void BM_DetectionScan_BesideReadingAlone(benchmark::State& state)
{
    const Files& files = TestFiles();
    ETextFormat found = TextFormatAuto;
    size_t read = 0;
    bench::RunPair(
        state,
        [&] {
            COsTextFile* file = COsTextFile::CreateInstance();
            Check(file->Open(files.utf8.c_str(), "rb", TextFormatAuto, 0) == 0, "the scan passes");
            found = file->GetFormat();
            COsTextFile::FreeInstance(&file);
        },
        [&] {
            FILE* stream = std::fopen(files.utf8.c_str(), "rb");
            std::unique_ptr<char[]> piece(new char[kScanPiece]);
            read = 0;
            for (size_t got; (got = std::fread(piece.get(), 1, kScanPiece, stream)) > 0;)
                read += got;
            std::fclose(stream);
        });
    Check(found == TextFormatUTF8 && read == files.utf8Text.size(), "UTF-8 found, every byte read");
    state.counters["library_GB_per_s"] = static_cast<double>(read) / (state.counters["library_ms"] / 1000) / 1e9;
}

}  // namespace

BENCHMARK(BM_ReadLine_Utf8_BesideGetline)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLine_Auto_BesideGetline)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLine_Utf8_BesideStdGetline)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLine_Utf8_BesideReadMemchr)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadLine_Utf16LE_BesideWholeIcu)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DetectionScan_BesideReadingAlone)->Iterations(6)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return bench::RunAndClean(argc, argv);
}
