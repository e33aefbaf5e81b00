// COsDirectory::CreateDirectoryA: every missing level, what counts as success, and where it stops.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include <Veltrane.h>

#include "tests/support/TempDir.h"

namespace fs = std::filesystem;
using veltrane_test::TempDir;

TEST(COsDirectoryCreateDirectoryA, MakesEveryMissingLevelAndTakesWhatExistsAsSuccess)
{
    TempDir dir;
    veltrane_test::WriteBytes(dir / "plain.txt", "keep");

    struct Row {
        std::string path;
        bool result;
        std::string mustBeDirectory;  // relative to the temporary directory; "" for none
    };
    const Row rows[] = {
        {dir / "a/b/c", true, "a/b/c"},
        {dir / "x/y/", true, "x/y"},                       // the trailing "/" meets the level just made
        {dir / "a/b", true, "a/b"},                        // already there
        {dir / "plain.txt", true, ""},                     // a file of that name counts as there
        {dir / "plain.txt/under", false, ""},              // a file cannot hold a directory
        {dir / "a\\b2", true, "a/b2"},                       // "a" exists: the backslash is a separator to the host
        {dir / "p\\q\\r", false, ""},                      // "p\q" missing, and the climb goes by "/" alone
        {dir / "w/./v/../u", true, "w/u"},                 // dots resolve on the way to the host
        {dir / "\xE6\x97\xA5\xE8\xAA\x8C/\xC3\xA9t\xC3\xA9", true, "\xE6\x97\xA5\xE8\xAA\x8C/\xC3\xA9t\xC3\xA9"},
        {dir / "bad\xFF/x", false, ""},                    // not UTF-8: cannot be converted
        {dir / std::string("nul\0/x", 6), false, ""},      // a NUL would cut the name short
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        EXPECT_EQ(COsDirectory::CreateDirectoryA(row.path), row.result);
        if (!row.mustBeDirectory.empty()) {
            EXPECT_TRUE(fs::is_directory(veltrane_test::HostPath(dir / row.mustBeDirectory)));
        }
    }
    EXPECT_EQ(veltrane_test::FileBytes(dir / "plain.txt"), "keep");
    EXPECT_FALSE(fs::exists(dir.path() / "p"));
    EXPECT_FALSE(fs::exists(dir.path() / "nul"));
    EXPECT_FALSE(fs::exists(dir.path() / "bad\xFF"));
}

TEST(COsDirectoryCreateDirectoryA, DirectoriesMadeBeforeAFailureStay)
{
    TempDir dir;
    // Only the last level's name cannot be converted, so the levels above it are made and stay.
    EXPECT_FALSE(COsDirectory::CreateDirectoryA(dir / "made/also/bad\xFF"));
    EXPECT_TRUE(fs::is_directory(dir.path() / "made" / "also"));
}

TEST(COsDirectoryCreateDirectoryA, RelativeNamesAreMadeInTheLibraryDirectory)
{
    const std::string name = "veltrane-mkdir-" + COsGuid::NewGuid();
    const fs::path library = CVeltrane::GetInstance()->VeltraneLibDir();
    ASSERT_FALSE(fs::exists(library / name));
    EXPECT_TRUE(COsDirectory::CreateDirectoryA(name + "/one/two"));
    EXPECT_TRUE(fs::is_directory(library / name / "one" / "two"));
    EXPECT_TRUE(COsDirectory::DirectoryExist(name + "/one"));
    fs::remove_all(library / name);
}

TEST(COsDirectoryCreateDirectoryA, ADeepChainIsMadeWithoutRecursionAndTooLongForTheHostFails)
{
    TempDir dir;
    std::string deep = dir / "d";
    for (int level = 0; level < 300; ++level)  // about 600 bytes: within every host's path limit
        deep += "/d";
    EXPECT_TRUE(COsDirectory::CreateDirectoryA(deep));
    EXPECT_TRUE(fs::is_directory(deep));

    // Far beyond any host's path limit: refused at once, with nothing made on the way.
    std::string tooDeep = dir / "e";
    for (int level = 0; level < 20000; ++level)
        tooDeep += "/e";
    EXPECT_FALSE(COsDirectory::CreateDirectoryA(tooDeep));
    EXPECT_FALSE(fs::exists(dir.path() / "e"));
}
