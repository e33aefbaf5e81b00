// COsFile beside what a user would write instead, in the same iteration:
// - GetFileContent of a 256 MiB UTF-16LE file and of a 256 MiB UTF-8 file, beside std::ifstream reading
//   the file whole and ICU converting it to UTF-8 (u_strToUTF8 with its preflight for UTF-16; a UTF-8 to
//   UTF-8 converter for UTF-8, which is what a program that takes the file's encoding as a name runs), and
//   for UTF-8 also beside the bare std::ifstream read, the floor of any reader.
// - Write by name, one locked append per call, beside fopen + flock + fwrite + fclose.
// The files live in a directory of their own under the temporary directory and are removed at the end.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/file.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <Veltrane.h>

#include "bench/BenchFiles.h"
#include "bench/RunPair.h"

namespace {

using bench::BenchDirectory;
using bench::Check;

constexpr size_t kFileBytes = 256u << 20;

// Mixed text: ASCII words with Latin, Greek and Chinese characters now and then, and a line end per line.
std::u16string MakeText(size_t units)
{
    const char16_t* words[] = {u"the", u"file", u"caf\u00E9", u"\u03B1\u03B2\u03B3", u"\u4E2D\u6587\u5B57",
                               u"network", u"12", u"\u20AC", u"library", u"\u65E5\u5FD7"};
    std::u16string text;
    text.reserve(units + 16);
    unsigned state = 4242;
    while (text.size() < units) {
        state = state * 1103515245u + 12345u;
        text += words[(state >> 16) % 10];
        text += (state >> 8) % 13 == 0 ? u"\r\n" : u" ";
    }
    text.resize(units);
    if (text.back() >= 0xD800 && text.back() <= 0xDBFF)
        text.back() = u'.';
    return text;
}

struct Files {
    std::string utf16;
    std::string utf8;
    size_t utf8Bytes;
};

const Files& TestFiles()
{
    static const Files files = [] {
        Files made;
        const std::u16string text = MakeText(kFileBytes / 2);
        made.utf16 = (BenchDirectory() / "text-utf16le.txt").string();
        std::ofstream(made.utf16, std::ios::binary)
            .write(reinterpret_cast<const char*>(text.data()), static_cast<std::streamsize>(text.size() * 2));
        char* utf8 = nullptr;
        COsEncoding::UTF16ToUTF8(text.c_str(), &utf8);
        std::string bytes(utf8);
        delete[] utf8;
        bytes.resize(kFileBytes, ' ');
        made.utf8 = (BenchDirectory() / "text-utf8.txt").string();
        std::ofstream(made.utf8, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        made.utf8Bytes = bytes.size();
        return made;
    }();
    return files;
}

std::string IcuUtf8ToUtf8(const std::string& bytes)
{
    UErrorCode error = U_ZERO_ERROR;
    std::string out(bytes.size() * 3 / 2 + 16, '\0');
    const int32_t written = ucnv_convert("UTF-8", "UTF-8", &out[0], static_cast<int32_t>(out.size()), bytes.data(),
                                         static_cast<int32_t>(bytes.size()), &error);
    out.resize(U_SUCCESS(error) ? static_cast<size_t>(written) : 0);
    return out;
}

void BM_GetFileContent_Utf16LE(benchmark::State& state)
{
    const Files& files = TestFiles();
    std::string library;
    std::string alternative;
    bench::RunPair(
        state, [&] { COsFile::GetFileContent(files.utf16, TextFormatUTF16LE, nullptr, library); },
        [&] { alternative = bench::IcuUtf16ToUtf8(bench::ReadWithIfstream(files.utf16)); });
    Check(library == alternative && !library.empty(), "both sides give the same UTF-8 text");
    state.counters["MiB"] = kFileBytes >> 20;
}

void BM_GetFileContent_Utf8_BesideIcu(benchmark::State& state)
{
    const Files& files = TestFiles();
    std::string library;
    std::string alternative;
    bench::RunPair(
        state, [&] { COsFile::GetFileContent(files.utf8, TextFormatUTF8, nullptr, library); },
        [&] { alternative = IcuUtf8ToUtf8(bench::ReadWithIfstream(files.utf8)); });
    Check(library == alternative && library.size() == files.utf8Bytes, "both sides give the whole text");
    state.counters["MiB"] = kFileBytes >> 20;
}

void BM_GetFileContent_Utf8_BesideReadAlone(benchmark::State& state)
{
    const Files& files = TestFiles();
    std::string library;
    std::string alternative;
    bench::RunPair(
        state, [&] { COsFile::GetFileContent(files.utf8, TextFormatUTF8, nullptr, library); },
        [&] { alternative = bench::ReadWithIfstream(files.utf8); });
    Check(library == alternative, "both sides give the whole text");
    state.counters["MiB"] = kFileBytes >> 20;
}

void BM_WriteAppends(benchmark::State& state)
{
    constexpr int kAppends = 2000;
    const std::string line = "2026-11-24 10:15:02.118 worker 3: request 1834 served in 12 ms\n";
    const std::string libraryFile = (BenchDirectory() / "appends-library.log").string();
    const std::string alternativeFile = (BenchDirectory() / "appends-flock.log").string();
    bench::RunPair(
        state,
        [&] {
            for (int i = 0; i < kAppends; ++i) {
                size_t written = 0;
                COsFile::Write(libraryFile, "a+", line.data(), line.size(), written);
            }
        },
        [&] {
            for (int i = 0; i < kAppends; ++i) {
                FILE* stream = std::fopen(alternativeFile.c_str(), "a+");
                flock(fileno(stream), LOCK_EX);
                std::fwrite(line.data(), 1, line.size(), stream);
                std::fclose(stream);
            }
        });
    Check(std::filesystem::file_size(libraryFile) == std::filesystem::file_size(alternativeFile),
          "both sides appended the same");
    state.counters["library_appends_per_s"] = kAppends / (state.counters["library_ms"] / 1000);
    state.counters["alternative_appends_per_s"] = kAppends / (state.counters["alternative_ms"] / 1000);
}

}  // namespace

BENCHMARK(BM_GetFileContent_Utf16LE)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetFileContent_Utf8_BesideIcu)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GetFileContent_Utf8_BesideReadAlone)->Iterations(6)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteAppends)->Iterations(20)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return bench::RunAndClean(argc, argv);
}
