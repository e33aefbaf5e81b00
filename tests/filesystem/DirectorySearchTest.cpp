// The host's directory search: a directory that is swapped for a link after it was listed is not entered,
// and removals go through the directory the search holds open, wherever it has been moved since.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "platform/directories.h"
#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using veltrane_test::TempDir;
using veltrane_test::WriteBytes;

namespace {

// Moves the search on to the entry `name`; false if the search ends first.
bool SeekEntry(HANDLE search, platform::DirectoryEntry& entry, const char* name)
{
    while (std::strcmp(entry.name, name) != 0) {
        if (!platform::ContinueSearch(search, entry))
            return false;
    }
    return true;
}

}  // namespace

TEST(DirectorySearch, ADirectorySwappedForALinkAfterItWasListedIsNotEntered)
{
    TempDir dir;
    fs::create_directories(dir / "tree/victim");
    fs::create_directories(dir / "outside");
    WriteBytes(dir / "outside/keep", "keep");

    platform::DirectoryEntry entry{};
    const HANDLE search = platform::StartSearch(dir / "tree/*", entry);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);
    ASSERT_TRUE(SeekEntry(search, entry, "victim"));
    EXPECT_NE(entry.attributes & FILE_ATTRIBUTE_DIRECTORY, 0u);

    // The directory as it was listed is gone; a link to the outside stands under its name.
    ASSERT_EQ(std::rename((dir / "tree/victim").c_str(), (dir / "aside").c_str()), 0);
    fs::create_directory_symlink(dir / "outside", dir / "tree/victim");

    platform::DirectoryEntry below{};
    EXPECT_EQ(platform::StartSearchBelow(search, "victim", below), INVALID_HANDLE_VALUE);
    EXPECT_EQ(platform::GetLastError(), platform::kErrorPathNotFound);
    EXPECT_FALSE(platform::RemoveDirectoryBelow(search, "victim"));
    EXPECT_TRUE(platform::RemoveFileBelow(search, "victim"));  // the link itself
    platform::EndSearch(search);

    EXPECT_FALSE(fs::exists(fs::symlink_status(dir / "tree/victim")));
    EXPECT_EQ(veltrane_test::FileBytes(dir / "outside/keep"), "keep");
}

TEST(DirectorySearch, RemovesThroughTheOpenDirectoryWhereverItWasMoved)
{
    TempDir dir;
    fs::create_directories(dir / "a/sub");
    WriteBytes(dir / "a/f", "");
    platform::DirectoryEntry entry{};
    const HANDLE search = platform::StartSearch(dir / "a/*", entry);
    ASSERT_NE(search, INVALID_HANDLE_VALUE);

    ASSERT_EQ(std::rename((dir / "a").c_str(), (dir / "b").c_str()), 0);
    fs::create_directories(dir / "a/sub");  // a new directory of the old name, with the same entries
    WriteBytes(dir / "a/f", "");

    EXPECT_TRUE(platform::RemoveFileBelow(search, "f"));
    EXPECT_FALSE(platform::RemoveFileBelow(search, "sub"));  // never a directory
    EXPECT_TRUE(platform::RemoveDirectoryBelow(search, "sub"));
    EXPECT_TRUE(platform::RemoveFileBelow(search, "sub"));  // gone already: counts as removed
    EXPECT_TRUE(platform::RemoveDirectoryBelow(search, "sub"));
    platform::EndSearch(search);
    EXPECT_FALSE(fs::exists(dir / "b/f"));
    EXPECT_FALSE(fs::exists(dir / "b/sub"));
    EXPECT_TRUE(fs::exists(dir / "a/f"));
    EXPECT_TRUE(fs::exists(dir / "a/sub"));

    // An ended search answers to nothing.
    EXPECT_FALSE(platform::RemoveFileBelow(search, "f"));
    EXPECT_FALSE(platform::ContinueSearch(search, entry));
}
