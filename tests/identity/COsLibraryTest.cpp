// COsLibrary: loading by absolute and relative name, symbol lookup, release and the last error numbers.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <Veltrane.h>

namespace {

const char kSampleFileName[] = "libveltrane_sample.so";

}  // namespace

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
}

TEST(COsLibrary, RelativeNameIsTakenFromTheLibraryDirectoryNotTheCurrentOne)
{
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::temp_directory_path());

    HINSTANCE library = COsLibrary::LoadLib(kSampleFileName);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(COsLibrary::GetProcAddr(library, "veltrane_sample_answer"), nullptr);
    EXPECT_TRUE(COsLibrary::FreeLib(library));

    // A name the host's own search would find (the C library) is not searched for.
    EXPECT_EQ(COsLibrary::LoadLib("libc.so.6"), nullptr);
    EXPECT_EQ(COsLibrary::GetErrorNo(), 126);
    std::filesystem::current_path(previous);
}

TEST(COsLibrary, MissingLibraryGivesNullAndNullHandleFreesTrue)
{
    EXPECT_EQ(COsLibrary::LoadLib("/nonexistent-veltrane-dir/libnothing.so"), nullptr);
    EXPECT_EQ(COsLibrary::GetErrorNo(), 126);
    EXPECT_TRUE(COsLibrary::FreeLib(nullptr));
}
