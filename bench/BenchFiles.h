// Internal: what the file benchmarks share: a directory of their own for the files they make, a check that
// stops the run, a whole read with std::ifstream and ICU's UTF-16 to UTF-8 conversion.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <unicode/ustring.h>

#include <Veltrane.h>

namespace bench {

// A directory under the temporary directory, made at the first call; RunAndClean removes it.
inline const std::filesystem::path& BenchDirectory()
{
    static const std::filesystem::path directory = [] {
        std::filesystem::path path = std::filesystem::temp_directory_path() / ("veltrane-bench-" + COsGuid::NewGuid());
        std::filesystem::create_directories(path);
        return path;
    }();
    return directory;
}

inline void Check(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "benchmark check failed: %s\n", what);
        std::abort();
    }
}

// The whole file as bytes, as a user reads it with the standard library.
inline std::string ReadWithIfstream(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    in.seekg(0, std::ios::end);
    std::string bytes(static_cast<size_t>(in.tellg()), '\0');
    in.seekg(0);
    in.read(&bytes[0], static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

// UTF-16LE bytes to UTF-8 with ICU's u_strToUTF8 and its preflight.
inline std::string IcuUtf16ToUtf8(const std::string& bytes)
{
    const UChar* units = reinterpret_cast<const UChar*>(bytes.data());
    const int32_t count = static_cast<int32_t>(bytes.size() / 2);
    UErrorCode error = U_ZERO_ERROR;
    int32_t needed = 0;
    u_strToUTF8(nullptr, 0, &needed, units, count, &error);
    std::string out(static_cast<size_t>(needed), '\0');
    error = U_ZERO_ERROR;
    u_strToUTF8(&out[0], needed, &needed, units, count, &error);
    return out;
}

// The body of main: runs the benchmarks, then removes the directory and what it holds.
inline int RunAndClean(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    std::filesystem::remove_all(BenchDirectory(), ignored);
    return 0;
}

}  // namespace bench
