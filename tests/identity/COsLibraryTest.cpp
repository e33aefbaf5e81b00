// COsLibrary: loading by absolute and relative name, symbol lookup, release and the last error numbers.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <Veltrane.h>

constexpr char kSampleFileName[] = "libveltrane_sample.so";

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

    // A name the host's own search would find (the C library) is not searched for.
    for (const char* missing : {"libc.so.6", "/nonexistent-veltrane-dir/libnothing.so"}) {
        EXPECT_EQ(COsLibrary::LoadLib(missing), nullptr) << missing;
        EXPECT_EQ(COsLibrary::GetErrorNo(), 126) << missing;
    }
}
