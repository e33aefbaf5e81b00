// COsDirectory::GetAbsolutePath and DirectoryExist: relative names from the library directory, dot
// resolution on the text, separators in normal form.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include <Veltrane.h>

namespace {

std::string Absolute(const std::string& path)
{
    std::string out = "untouched";
    EXPECT_EQ(COsDirectory::GetAbsolutePath(path, out), 0) << path;
    return out;
}

}  // namespace

TEST(COsDirectoryGetAbsolutePath, AbsolutePathsResolveDotsOnTheTextOnly)
{
    struct Row {
        const char* path;
        const char* expected;
    } rows[] = {
        {"C:\\a\\b.txt", "C:/a/b.txt"},
        {"C:\\a\\..\\b.txt", "C:/b.txt"},
        {"C:/a/..", "C:/a/.."},                 // no "./" or ".\": the dots stay
        {"D:rel.txt", "D:rel.txt"},
        {"C:\\..\\..\\x", "C:/x"},             // never above the drive's root
        {"\\\\srv\\share\\a\\..\\b.txt", "\\\\srv/share/b.txt"},
        {"\\\\srv\\share\\..\\..\\x", "\\\\srv/share/x"},  // nor above the share
        {"/a/./b/../c", "/a/c"},                // "/"-rooted names are this host's absolute paths
        {"/../x/./", "/x/"},
        {"/usr/./lib//x", "/usr/lib/x"},
        {"/a/b/.", "/a/b/."},                  // "/." at the end is no dot sequence
        {"/a/b./c/../d", "/a/b./d"},           // a name may end in a dot on this host
        {"/a/.../b/./c", "/a/.../b/c"},
        {"C:a\\..\\..\\b\\.\\c", "C:../b/c"},  // drive-relative: an unclimbable ".." stays
    };
    for (const Row& row : rows)
        EXPECT_EQ(Absolute(row.path), row.expected) << row.path;
}

TEST(COsDirectoryGetAbsolutePath, RelativeNamesAreTakenFromTheLibraryDirectory)
{
    const std::string library = CVeltrane::GetInstance()->VeltraneLibDir();
    ASSERT_FALSE(library.empty());
    ASSERT_EQ(library.back(), '/');

    EXPECT_EQ(Absolute("data/x.txt"), library + "data/x.txt");
    EXPECT_EQ(Absolute("data\\x.txt"), library + "data/x.txt");
    EXPECT_EQ(Absolute(""), library);
    const std::string parent = library.substr(0, library.find_last_of('/', library.size() - 2) + 1);
    EXPECT_EQ(Absolute("..\\y\\z.txt"), parent + "y/z.txt");
    EXPECT_EQ(Absolute("./a/../b"), library + "b");
    // "ver./x" holds no "." segment but its dot sequence sends it through resolution, which folds "//".
    EXPECT_EQ(Absolute("ver.//x"), library + "ver./x");
    EXPECT_EQ(Absolute("\\\\"), library + "//");  // too short for a UNC head, so relative
    std::string climbAboveRoot;
    for (size_t slash = 0; slash < library.size(); ++slash)
        climbAboveRoot += library[slash] == '/' ? "../" : "";
    EXPECT_EQ(Absolute(climbAboveRoot + "../x/./y"), "/x/y");
}

TEST(COsDirectoryGetAbsolutePath, ResolvedFormBeyondCapacityGivesEmptyTextWithSuccess)
{
    const std::string fits = "/" + std::string(1000, 'a');
    EXPECT_EQ(Absolute(fits + "/./b"), fits + "/b");
    EXPECT_EQ(Absolute("/" + std::string(1100, 'a') + "/./b"), "");

    // The capacity counts UTF-16 units: 400 three-byte characters are 400 units, not 1200 bytes.
    std::string wide = "/";
    for (int i = 0; i < 400; ++i)
        wide += "\xe4\xb8\xad";
    EXPECT_EQ(Absolute(wide + "/./b"), wide + "/b");
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
    EXPECT_FALSE(COsDirectory::DirectoryExist(name));

    std::filesystem::current_path(previous);
    std::filesystem::remove_all(root);
}
