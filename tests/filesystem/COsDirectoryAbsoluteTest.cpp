// COsDirectory::GetAbsolutePath and DirectoryExist: relative names from the library directory, dot
// resolution on the text within its capacity, separators in normal form.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <utility>

#include <Veltrane.h>

#include "tests/support/HostSystem.h"

TEST(COsDirectoryGetAbsolutePath, ResolvesDotsOnTheTextWithinCapacityAndTakesRelativeNamesFromTheLibraryDirectory)
{
    const std::string library = CVeltrane::GetInstance()->VeltraneLibDir();
    // The root of the library's file system: "/", or its drive ("Z:/") on Windows.
    const std::string root = library.substr(0, library.find('/') + 1);
    ASSERT_TRUE(root == "/" || (veltrane_test::kWindowsHost && root.size() == 3 && root[1] == ':')) << library;
    ASSERT_TRUE(library.size() > root.size() && library.back() == '/') << library;
    const std::string parent = library.substr(0, library.find_last_of('/', library.size() - 2) + 1);
    std::string climbAboveRoot;  // one "../" per "/" of the library directory: a level more than it has
    for (size_t slash = library.find('/'); slash != std::string::npos; slash = library.find('/', slash + 1))
        climbAboveRoot += "../";
    // Characters of two UTF-16 units each (4 bytes), as many as make root + pairs + "/b" 1023 units.
    std::string pairs;
    for (size_t character = 0; character < (1023 - root.size() - 2) / 2; ++character)
        pairs += "\xf0\x9f\x98\x80";

    const std::pair<std::string, std::string> rows[] = {
        {"C:\\a\\b.txt", "C:/a/b.txt"},
        {"C:\\a\\..\\b.txt", "C:/b.txt"},
        {"C:/a/..", "C:/a/.."},                // no "./" or ".\": the dots stay
        {"C:\\..\\..\\x", "C:/x"},            // never above the drive's root
        {"\\\\srv\\share\\a\\..\\..\\..\\b.txt", "\\\\srv/share/b.txt"},  // nor above the share; its head stays
        {"C:a\\..\\..\\b\\.\\c", "C:../b/c"},  // drive-relative: an unclimbable ".." stays
        // A name rooted by a separator alone: the host's root here, the library's drive on Windows.
        {"/a/./b/../c//x", root + "a/c/x"},
        {"/usr/lib", root + "usr/lib"},
        {"\\x\\y", root + "x/y"},
        // No result holds a doubled separator, but the two that begin a network name.
        {"a//b\\\\c/", library + "a/b/c/"},
        {root + "a//b", root + "a/b"},
        {"C:\\\\x", "C:/x"},
        {"\\\\srv\\share\\\\x", "\\\\srv/share/x"},
        // A UNC head followed by more separators (an empty server name) stays a UNC head: folded into one
        // backslash it would be a name rooted on the current drive, another file.
        {"\\\\\\srv\\x", "\\\\/srv/x"},
        {"\\\\\\\\srv\\.\\x", "\\\\/srv/x"},
        {root + "../x/./", root + "x/"},
        {root + "a/b/.", root + "a/b/."},                // "/." at the end is no dot sequence
        {root + "a/b./.../c/../d", root + "a/b./.../d"},  // a name may end in a dot, and "..." is a name
        // The resolved form must fit 1024 UTF-16 units with the terminator; beyond that it is cleared.
        {root + pairs + "/./b", root + pairs + "/b"},  // 1023 units
        {root + pairs + "/./bc", ""},                  // 1024 units
        {"data\\x/y.txt", library + "data/x/y.txt"},
        {"", library},
        {"..\\y\\z.txt", parent + "y/z.txt"},
        {"ver.//x", library + "ver./x"},       // a dot sequence without a "." segment: resolution folds "//"
        {"\\\\", root},                        // too short for a UNC head: rooted by separators alone
        {climbAboveRoot + "../x/./y", root + "x/y"},
    };
    for (const auto& [path, expected] : rows) {
        SCOPED_TRACE(path.substr(0, 40));
        std::string out = "untouched";
        EXPECT_EQ(COsDirectory::GetAbsolutePath(path, out), 0);
        EXPECT_EQ(out, expected);
    }
}

TEST(COsDirectoryDirectoryExist, TellsDirectoriesFromFilesAndTakesRelativeNamesFromTheLibraryDirectory)
{
    const std::string name = "veltrane-direxist-" + COsGuid::NewGuid();
    const std::filesystem::path root = std::filesystem::temp_directory_path() / name;
    std::filesystem::create_directories(root / "sub");
    std::ofstream(root / "plain.txt") << "x";

    EXPECT_TRUE(COsDirectory::DirectoryExist(root.string()));
    EXPECT_TRUE(COsDirectory::DirectoryExist((root / "sub").string() + "/"));
    EXPECT_TRUE(COsDirectory::DirectoryExist((root / "sub" / "..").string() + "/./sub"));
    EXPECT_FALSE(COsDirectory::DirectoryExist((root / "plain.txt").string()));
    EXPECT_FALSE(COsDirectory::DirectoryExist((root / "missing").string()));

    // From the temporary directory the relative name would find `root`; the library directory has none.
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::temp_directory_path());
    const std::filesystem::path inLibrary = std::filesystem::path(CVeltrane::GetInstance()->VeltraneLibDir()) / name;
    EXPECT_FALSE(COsDirectory::DirectoryExist(name));
    std::filesystem::create_directory(inLibrary);
    EXPECT_TRUE(COsDirectory::DirectoryExist(name));
    std::filesystem::remove(inLibrary);

    std::filesystem::current_path(previous);

    // Cut at its NUL, each name would be an existing directory.
    for (const std::string& named : {root.string() + std::string("\0/no/such/dir", 13), root.string() + '\0',
                                     std::string("\0", 1)}) {
        EXPECT_FALSE(COsDirectory::DirectoryExist(named));
    }
    std::filesystem::remove_all(root);
}

TEST(COsDirectoryGetAbsolutePath, RelativeNamesNeedNoFacadeSoItsEndInAnotherThreadLeavesThemWhole)
{
    // The facade is made and ended over and over while names are made absolute; a name that went through
    // the facade would read its directory from an object another thread is freeing.
    const std::string expected = COsSystem::GetVeltraneLibDir() + "data/x.txt";
    ASSERT_TRUE(expected.front() == '/' || (veltrane_test::kWindowsHost && expected[1] == ':')) << expected;
    std::atomic<bool> done{false};
    std::thread facadeOwner([&done] {
        for (int round = 0; round < 300 && !done; ++round) {
            CVeltrane::GetInstance();
            CVeltrane::FreeInstance();
        }
    });
    int wrong = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string out;
        if (COsDirectory::GetAbsolutePath("data/x.txt", out) != 0 || out != expected)
            ++wrong;
    }
    done = true;
    facadeOwner.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(CVeltrane::GetInstance()->VeltraneLibDir(), COsSystem::GetVeltraneLibDir());
    CVeltrane::FreeInstance();
}
