// COsLibrary: loading by absolute and relative name, symbol lookup, release and the last error numbers.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <utility>

#ifndef _WIN32
#include <fcntl.h>
#include <unistd.h>
#endif

#include <Veltrane.h>

#include "tests/support/HostSystem.h"
#include "tests/support/TempDir.h"

// The sample library's file name as the build made it.
constexpr char kSampleFileName[] = VELTRANE_SAMPLE_FILE_NAME;

TEST(COsLibrary, LoadsByAbsoluteNameAndFindsItsFunction)
{
    const std::string absolute = CVeltrane::GetInstance()->VeltraneLibDir() + kSampleFileName;
    HINSTANCE library = COsLibrary::LoadLib(absolute);
    ASSERT_NE(library, nullptr) << absolute;

    COsLibrary::FARPROC answer = COsLibrary::GetProcAddr(library, "veltrane_sample_answer");
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer(), 42);

    EXPECT_EQ(COsLibrary::GetProcAddr(library, "veltrane_sample_missing"), nullptr);
    EXPECT_EQ(COsLibrary::GetErrorNo(), 127);
    EXPECT_TRUE(COsLibrary::FreeLib(library));
    EXPECT_TRUE(COsLibrary::FreeLib(nullptr));

    // The library is gone with its last release: a second release, or a handle that no load gave, is
    // refused, and nothing of the library is read again.
    EXPECT_FALSE(COsLibrary::FreeLib(library));
    EXPECT_EQ(COsLibrary::GetErrorNo(), 126);
    EXPECT_EQ(COsLibrary::GetProcAddr(library, "veltrane_sample_answer"), nullptr);
    EXPECT_EQ(COsLibrary::GetErrorNo(), 127);
    int notALibrary[64] = {};
    EXPECT_FALSE(COsLibrary::FreeLib(reinterpret_cast<HINSTANCE>(notALibrary)));
    EXPECT_EQ(COsLibrary::GetErrorNo(), 126);
}

TEST(COsLibrary, RelativeNameIsTakenFromTheLibraryDirectoryNotTheCurrentOneOrTheHostSearch)
{
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::temp_directory_path());
    HINSTANCE library = COsLibrary::LoadLib(kSampleFileName);
    std::filesystem::current_path(previous);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(COsLibrary::GetProcAddr(library, "veltrane_sample_answer"), nullptr);
    EXPECT_TRUE(COsLibrary::FreeLib(library));

    // A name the host's own search would find (the C library, or a system DLL) is not searched for.
    const char* systemLibrary = veltrane_test::kWindowsHost ? "kernel32.dll" : "libc.so.6";
    for (const char* missing : {systemLibrary, "/nonexistent-veltrane-dir/libnothing.so"}) {
        EXPECT_EQ(COsLibrary::LoadLib(missing), nullptr) << missing;
        EXPECT_EQ(COsLibrary::GetErrorNo(), 126) << missing;
    }
}

TEST(COsLibrary, NamesWithANulAndANullLibraryFindNothing)
{
    // Cut at the NUL, the name would load the sample library; the symbol name would find its function.
    const std::string sample = CVeltrane::GetInstance()->VeltraneLibDir() + kSampleFileName;
    for (const std::string& name : {sample + std::string("\0/elsewhere/evil.so", 19), std::string(kSampleFileName) + '\0'}) {
        HINSTANCE library = COsLibrary::LoadLib(name);
        EXPECT_EQ(library, nullptr) << name.c_str();
        COsLibrary::FreeLib(library);
    }

    HINSTANCE library = COsLibrary::LoadLib(sample);
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(COsLibrary::GetProcAddr(library, std::string("veltrane_sample_answer\0x", 24)), nullptr);
    EXPECT_EQ(COsLibrary::GetErrorNo(), 127);
    EXPECT_TRUE(COsLibrary::FreeLib(library));

    // Without a library nothing is found, not even what every process has loaded.
    for (const char* name : {"system", "malloc", "veltrane_sample_answer"}) {
        EXPECT_EQ(COsLibrary::GetProcAddr(nullptr, name), nullptr) << name;
        EXPECT_EQ(COsLibrary::GetErrorNo(), 127) << name;
    }
}

#ifndef _WIN32
// FIFOs, and a loader that searches for a name without a "/", are this host's.
TEST(COsLibrary, ANameThatIsNoFileOrHasNoSeparatorIsNeitherWaitedOnNorSearchedFor)
{
    veltrane_test::TempDir directory;

    // A FIFO where a library should be: the loader would wait for a writer that never comes. If it does
    // wait, a writer that opens and closes the FIFO ends the wait, so the test fails instead of hanging.
    const std::string fifo = directory / "libfifo.so";
    ASSERT_EQ(std::system(("mkfifo '" + fifo + "'").c_str()), 0);
    // The last error is the loading thread's own, so that thread reads it.
    std::future<std::pair<HINSTANCE, int32_t>> loading = std::async(std::launch::async, [&] {
        HINSTANCE loaded = COsLibrary::LoadLib(fifo);
        return std::make_pair(loaded, COsLibrary::GetErrorNo());
    });
    const bool waited = loading.wait_for(std::chrono::milliseconds(500)) == std::future_status::timeout;
    if (waited)
        ::close(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK));
    const auto [library, error] = loading.get();
    EXPECT_FALSE(waited) << "LoadLib waited on a FIFO";
    EXPECT_EQ(library, nullptr);
    EXPECT_EQ(error, 126);
    COsLibrary::FreeLib(library);

    // A drive-head name keeps no separator on this host and reaches the host as written, like every file
    // name: from the current directory, never from the loader's search path.
    const std::string driveName = "C:veltrane-sample.so";
    std::filesystem::copy_file(CVeltrane::GetInstance()->VeltraneLibDir() + kSampleFileName, directory.path() / driveName);
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    HINSTANCE fromCurrent = COsLibrary::LoadLib(driveName);
    std::filesystem::current_path(previous);
    ASSERT_NE(fromCurrent, nullptr);
    EXPECT_NE(COsLibrary::GetProcAddr(fromCurrent, "veltrane_sample_answer"), nullptr);
    EXPECT_TRUE(COsLibrary::FreeLib(fromCurrent));
}
#endif
