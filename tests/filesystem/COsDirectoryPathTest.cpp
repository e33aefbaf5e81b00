// COsDirectory path text rules: absolute heads, splitting at either separator, the 1024-byte limit.
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include <Veltrane.h>

#include "tests/support/HostSystem.h"

TEST(COsDirectoryIsAbsolutePath, DriveAndUncHeadsOnlyForwardSlashesNeverCount)
{
    const std::pair<const char*, int> rows[] = {
        {"\\\\x", 1},          // UNC head: two backslashes and one more byte
        {"\\\\", 0},           // two backslashes alone are too short
        {"\\/host", 0},        // one backslash is rooted, not absolute, whatever follows
        {"z:", 1},             // a drive head needs nothing behind it ("C:\..." is absolute in the resolution table)
        {"1:", 0},             // a digit is no drive letter
        {"\xc3\xa9:", 0},      // nor is a non-ASCII letter
        {"/usr", 0},           // "/" never makes a path absolute in the text rules
        {"//host/x", 0},       // forward slashes never make a UNC head
        {"", 0},
    };
    for (const auto& [path, expected] : rows)
        EXPECT_EQ(COsDirectory::IsAbsolutePath(path), expected) << '"' << path << '"';
    EXPECT_EQ(COsDirectory::IsAbsolutePath(nullptr), OS_ERR_NULL_ARGUMENT);
}

TEST(COsDirectorySplit, LaterSeparatorOfEitherKindWinsUpToTheLimitAndBeyondItOutputsStay)
{
    const std::string atLimit = std::string(1018, 'd') + "/f.txt";  // 1024 bytes
    struct Row {
        std::string path, directory, fileName;
        int status;
    } rows[] = {
        {"a/b\\c.txt", "a/b\\", "c.txt", 0},
        {"a\\b/c.txt", "a\\b/", "c.txt", 0},
        {"c.txt", "", "c.txt", 0},
        {"/", "/", "", 0},                    // a separator at the very start
        {"a/b/", "a/b/", "", 0},
        {"C:name", "", "C:name", 0},          // the colon of a drive head is no separator
        {"", "", "", 0},
        {atLimit, std::string(1018, 'd') + "/", "f.txt", 0},
        {"d" + atLimit, "stale", "stale", OS_ERR_OUT_OF_RANGE},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.path);
        std::string directory = "stale", fileName = "stale";
        EXPECT_EQ(COsDirectory::GetDirectory(row.path, directory), row.status);
        EXPECT_EQ(COsDirectory::GetFileName(row.path, fileName), row.status);
        EXPECT_EQ(directory, row.directory);
        EXPECT_EQ(fileName, row.fileName);
    }
}

TEST(COsDirectoryGetCurrentModuleFileName, NamesTheTestExecutableNotTheLibrary)
{
    const std::string path = COsDirectory::GetCurrentModuleFileName();
    // Rooted at "/", or at a drive ("Z:/") on Windows, where the program's name also carries ".exe".
    EXPECT_TRUE(path.substr(0, 1) == "/" || (veltrane_test::kWindowsHost && path.substr(1, 2) == ":/")) << path;
    EXPECT_EQ(path.find('\\'), std::string::npos) << "backslashes become forward slashes";
    std::string fileName;
    ASSERT_EQ(COsDirectory::GetFileName(path, fileName), 0);
    EXPECT_EQ(fileName, std::string("filesystem_tests") + veltrane_test::kExecutableSuffix);
}
