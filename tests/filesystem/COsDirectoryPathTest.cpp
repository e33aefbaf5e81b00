// COsDirectory path text rules: absolute heads, splitting at either separator, the 1024-byte limit.
#include <gtest/gtest.h>

#include <string>

#include <Veltrane.h>

TEST(COsDirectoryIsAbsolutePath, DriveAndUncHeadsOnlyForwardSlashesNeverCount)
{
    struct Row {
        const char* path;
        int expected;
    } rows[] = {
        {"\\\\x", 1},          // UNC head: two backslashes and one more byte
        {"\\\\", 0},           // two backslashes alone are too short
        {"\\x", 0},            // one backslash is rooted, not absolute
        {"C:", 1},             // a drive head needs nothing behind it
        {"C:name", 1},
        {"z:\\dir", 1},
        {"c", 0},
        {"1:", 0},             // a digit is no drive letter
        {"\xc3\xa9:", 0},      // nor is a non-ASCII letter
        {":C", 0},
        {"/usr", 0},           // "/" never makes a path absolute in the text rules
        {"//host/x", 0},       // forward slashes never make a UNC head
        {"\\/host", 0},
        {"", 0},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsDirectory::IsAbsolutePath(row.path), row.expected) << '"' << row.path << '"';
    EXPECT_EQ(COsDirectory::IsAbsolutePath(nullptr), OS_ERR_NULL_ARGUMENT);
}

TEST(COsDirectorySplit, LaterSeparatorOfEitherKindWins)
{
    struct Row {
        const char* path;
        const char* directory;
        const char* fileName;
    } rows[] = {
        {"a/b\\c.txt", "a/b\\", "c.txt"},
        {"a\\b/c.txt", "a\\b/", "c.txt"},
        {"c.txt", "", "c.txt"},
        {"C:/", "C:/", ""},
        {"/", "/", ""},
        {"a/b/", "a/b/", ""},
        {"\\\\srv\\share\\f", "\\\\srv\\share\\", "f"},
        {"C:name", "", "C:name"},
        {"", "", ""},
    };
    for (const Row& row : rows) {
        std::string directory = "stale";
        std::string fileName = "stale";
        EXPECT_EQ(COsDirectory::GetDirectory(row.path, directory), 0) << row.path;
        EXPECT_EQ(COsDirectory::GetFileName(row.path, fileName), 0) << row.path;
        EXPECT_EQ(directory, row.directory) << row.path;
        EXPECT_EQ(fileName, row.fileName) << row.path;
    }
}

TEST(COsDirectorySplit, ExactlyLimitSplitsOneByteMoreIsOutOfRangeAndLeavesOut)
{
    const std::string atLimit = std::string(1018, 'd') + "/f.txt";
    ASSERT_EQ(atLimit.size(), 1024u);
    std::string directory;
    std::string fileName;
    EXPECT_EQ(COsDirectory::GetDirectory(atLimit, directory), 0);
    EXPECT_EQ(COsDirectory::GetFileName(atLimit, fileName), 0);
    EXPECT_EQ(directory, std::string(1018, 'd') + "/");
    EXPECT_EQ(fileName, "f.txt");

    const std::string overLimit = "d" + atLimit;
    directory = "kept";
    fileName = "kept too";
    EXPECT_EQ(COsDirectory::GetDirectory(overLimit, directory), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(COsDirectory::GetFileName(overLimit, fileName), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(directory, "kept");
    EXPECT_EQ(fileName, "kept too");
}

TEST(COsDirectoryGetCurrentModuleFileName, NamesTheTestExecutableNotTheLibrary)
{
    const std::string path = COsDirectory::GetCurrentModuleFileName();
    ASSERT_FALSE(path.empty());
    EXPECT_EQ(path.front(), '/');
    std::string fileName;
    ASSERT_EQ(COsDirectory::GetFileName(path, fileName), 0);
    EXPECT_EQ(fileName, "filesystem_tests");
}
