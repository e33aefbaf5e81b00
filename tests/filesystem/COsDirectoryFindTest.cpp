// The enumeration of COsDirectory on the real file system: what a walk hands out and how a record describes
// it, the wildcards, searches that find nothing, handles that stand for no search, names and paths that do
// not fit the record, walks over a directory that changes, and the count of files whose name holds a text.
#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "tests/support/HostSystem.h"
#include "tests/support/ProcessCounts.h"
#include "tests/support/TempDir.h"
#include "tests/time/TimeTestSupport.h"

namespace fs = std::filesystem;
using veltrane_test::TempDir;
using veltrane_test::Text;
using veltrane_test::WriteBytes;

namespace {

// The names a whole walk hands out, sorted; every record of the walk is checked against `directory`.
std::vector<std::string> Walk(const std::string& directory, const std::string& filter)
{
    std::vector<std::string> names;
    _S_FileData record{};
    for (bool found = COsDirectory::FindFirstFileA(directory, filter, record); found;
         found = COsDirectory::FindNextFileA(record))
        names.push_back(record.szFileName);
    COsDirectory::FindClose(record);
    std::sort(names.begin(), names.end());
    return names;
}

// Sets a file's access and write times (seconds since 1970 UTC and nanoseconds), without following a link.
void SetTimes(const std::string& path, time_t accessSeconds, long accessNanoseconds, time_t writeSeconds,
              long writeNanoseconds)
{
#ifdef _WIN32
    // The system keeps 100-ns ticks since 1601.
    auto ticks = [](time_t seconds, long nanoseconds) {
        const uint64_t value = (static_cast<uint64_t>(seconds) + 11644473600ULL) * 10000000ULL + nanoseconds / 100;
        return FILETIME{static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
    };
    const FILETIME access = ticks(accessSeconds, accessNanoseconds), write = ticks(writeSeconds, writeNanoseconds);
    HANDLE file = ::CreateFileW(veltrane_test::HostPath(path).c_str(), FILE_WRITE_ATTRIBUTES,
                                FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr);
    ASSERT_NE(file, INVALID_HANDLE_VALUE) << path;
    const bool set = ::SetFileTime(file, nullptr, &access, &write) != 0;
    ::CloseHandle(file);
    ASSERT_TRUE(set) << path;
#else
    const struct timespec times[2] = {{accessSeconds, accessNanoseconds}, {writeSeconds, writeNanoseconds}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0) << path;
#endif
}

}  // namespace

TEST(COsDirectoryFind, HandsOutEveryEntryOnceWithoutTheDotsAndDescribesIt)
{
    TempDir dir;
    WriteBytes(dir / "a.txt", "hello");
    WriteBytes(dir / ".hidden", "");
    WriteBytes(dir / "locked.txt", "x");
    fs::permissions(dir / "locked.txt", fs::perms::owner_read | fs::perms::group_read);
    fs::create_directory(dir / "sub");
    SetTimes(dir / "a.txt", 1577934245, 6000000, 1623760496, 789000000);  // 2020-01-02 03:04:05.006, 2021-06-15 12:34:56.789

    std::map<std::string, _S_FileData> seen;
    _S_FileData record{};
    {
        veltrane_test::TimeZoneScope zone("UTC0");
        for (bool found = COsDirectory::FindFirstFileA(dir.name(), record); found;
             found = COsDirectory::FindNextFileA(record)) {
            EXPECT_EQ(seen.count(record.szFileName), 0u) << record.szFileName;
            seen[record.szFileName] = record;
        }
    }
    COsDirectory::FindClose(record);

    ASSERT_EQ(seen.size(), 4u);
    for (const auto& [name, entry] : seen) {
        EXPECT_EQ(std::string(entry.szDirectory), dir.name());
        EXPECT_EQ(std::string(entry.szFullPath), dir / name);
        EXPECT_EQ(entry.bDirectory, name == "sub" ? 1 : 0) << name;
    }
    const _S_FileData& text = seen["a.txt"];
    EXPECT_EQ(Text(text.stWriteTime), "2021-06-15 12:34:56.789 w2");
    EXPECT_EQ(Text(text.stAccessTime), "2020-01-02 03:04:05.006 w4");
    EXPECT_EQ(text.findData.nFileSizeLow, 5u);
    // Windows marks a file it made as one to archive (0x20); Linux keeps no such bit.
    EXPECT_EQ(text.findData.dwFileAttributes, veltrane_test::kWindowsHost ? 0x20u : FILE_ATTRIBUTE_NORMAL);
    EXPECT_EQ(std::u16string(reinterpret_cast<const char16_t*>(text.findData.cFileName)), u"a.txt");
    EXPECT_NE(seen[".hidden"].findData.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN, 0u);
    EXPECT_NE(seen["locked.txt"].findData.dwFileAttributes & FILE_ATTRIBUTE_READONLY, 0u);
    EXPECT_NE(seen["sub"].findData.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY, 0u);

    // The creation time is the birth time where the file system keeps one (now, not the write time set
    // above), else the write time.
    _STSystemTime created;
    {
        veltrane_test::TimeZoneScope zone("UTC0");
        EXPECT_TRUE(COsDirectory::GetDirectoryCreateTime(text, created));
    }
    const _STSystemTime now = COsSystemTime::GetSystemTime();
    EXPECT_TRUE(Text(created) == Text(text.stWriteTime) || created.wYear == now.wYear ||
                created.wYear + 1 == now.wYear)
        << Text(created);
}

TEST(COsDirectoryFind, WildcardsOfTheLastSegmentMatchCharactersInExactCase)
{
    TempDir dir;
    std::vector<std::string> names = {"a.txt", "ab.txt", "b.txt.bak", "noext", ".hidden",
                                      "\xC3\xA9.txt",                 // é.txt: one character, two bytes
                                      "\xE6\x97\xA5\xE5\xBF\x97.txt"};  // 日志.txt: two characters
    // Windows matches and names files without regard to case, so there "A.TXT" is "a.txt" and "*.TXT"
    // finds what "*.txt" finds; Linux keeps both files and matches in exact case.
    const bool exactCase = !veltrane_test::kWindowsHost;
    if (exactCase)
        names.push_back("A.TXT");
    for (const std::string& name : names)
        WriteBytes(dir / name, "");
    const std::string e = "\xC3\xA9.txt";
    const std::string rizhi = "\xE6\x97\xA5\xE5\xBF\x97.txt";

    struct Row {
        const char* filter;
        std::vector<std::string> expected;
    };
    std::vector<Row> rows = {
        {"*.txt", {"a.txt", "ab.txt", e, rizhi}},
        {"*.TXT", exactCase ? std::vector<std::string>{"A.TXT"} : std::vector<std::string>{"a.txt", "ab.txt", e, rizhi}},
        {"?.txt", {"a.txt", e}},
        {"??.txt", {"ab.txt", rizhi}},
        {"???.txt", {}},
        {"a*", {"a.txt", "ab.txt"}},
        {"a**t", {"a.txt", "ab.txt"}},
        {"*.t?t", {"a.txt", "ab.txt", e, rizhi}},
        {"*x*", {"a.txt", "ab.txt", "b.txt.bak", "noext", e, rizhi}},
        {"*.bak", {"b.txt.bak"}},
        {".*", {".hidden"}},
        {"noext", {"noext"}},
        {"NOEXT", exactCase ? std::vector<std::string>{} : std::vector<std::string>{"noext"}},
        {"*.*", names},  // every name, also those without a dot, as on Windows
        {"*", names},
    };
    if (!veltrane_test::UnderWine())
        rows.push_back({"*?", names});  // Wine's own matching finds nothing for "*?", where Windows finds every name
    for (Row& row : rows) {
        std::sort(row.expected.begin(), row.expected.end());
        EXPECT_EQ(Walk(dir.name(), row.filter), row.expected) << row.filter;
    }
}

TEST(COsDirectoryFind, FindsNothingWithAnOpenSearchOrWithout)
{
    TempDir dir;
    fs::create_directory(dir / "empty");

    // Only "." and ".." match: false, but the search is open and FindClose ends it.
    _S_FileData record{};
    EXPECT_FALSE(COsDirectory::FindFirstFileA(dir / "empty", record));
    EXPECT_NE(record.hFind, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(COsDirectory::FindNextFileA(record));
    COsDirectory::FindClose(record);

    // Nothing matches, or there is no such directory, or the directory is a file: no search at all.
    WriteBytes(dir / "file", "");
    for (const std::string& directory : {dir / "missing", dir / "empty", dir / "file"}) {
        _S_FileData none{};
        std::strcpy(none.szFileName, "stale");
        EXPECT_FALSE(COsDirectory::FindFirstFileA(directory, "*.txt", none)) << directory;
        EXPECT_EQ(none.hFind, INVALID_HANDLE_VALUE);
        EXPECT_STREQ(none.szFileName, "");
        EXPECT_FALSE(COsDirectory::FindNextFileA(none));
        COsDirectory::FindClose(none);
    }

    // A directory or filter that cannot be handed to the system leaves the record's handle as it came.
    _S_FileData refused{};
    refused.hFind = INVALID_HANDLE_VALUE;
    EXPECT_FALSE(COsDirectory::FindFirstFileA(dir / "bad\xFF", refused));
    EXPECT_FALSE(COsDirectory::FindFirstFileA(dir.name(), std::string("a\0b", 3), refused));
    // A directory too long to have its dots resolved has no absolute form, even where the filter climbs
    // back into a directory that has entries: they would be handed out under names at the root.
    WriteBytes(dir / "empty/a.txt", "");
    EXPECT_FALSE(COsDirectory::FindFirstFileA(dir / ("empty/./" + std::string(1100, 'a')), "../*", refused))
        << refused.szFullPath;
    EXPECT_EQ(refused.hFind, INVALID_HANDLE_VALUE);
    COsDirectory::FindClose(refused);
}

TEST(COsDirectoryFind, AClosedStaleOrMadeUpHandleIsRefusedNotFollowed)
{
    TempDir dir;
    for (int i = 0; i < 3; ++i)
        WriteBytes(dir / ("f" + std::to_string(i)), "");
    const int descriptors = veltrane_test::OpenDescriptorCount();

    _S_FileData record{};
    ASSERT_TRUE(COsDirectory::FindFirstFileA(dir.name(), record));
    const HANDLE closed = record.hFind;
    COsDirectory::FindClose(record);
    EXPECT_EQ(record.hFind, closed);  // the value stays, and stands for nothing now
    EXPECT_FALSE(COsDirectory::FindNextFileA(record));
    COsDirectory::FindClose(record);  // a second close does nothing
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);

    // A new search does not answer to the old value, though it may reuse what stood behind it.
    _S_FileData fresh{};
    ASSERT_TRUE(COsDirectory::FindFirstFileA(dir.name(), fresh));
    EXPECT_NE(fresh.hFind, closed);
    EXPECT_FALSE(COsDirectory::FindNextFileA(record));
    COsDirectory::FindClose(record);
    EXPECT_TRUE(COsDirectory::FindNextFileA(fresh));  // the stale close above did not end this one
    COsDirectory::FindClose(fresh);

    // Values a record that was never cleared might hold.
    for (uintptr_t value : {uintptr_t{0}, uintptr_t{1}, uintptr_t{0x12345678}, reinterpret_cast<uintptr_t>(&record),
                            ~uintptr_t{1}, (uintptr_t{1} << 32) | 1}) {
        _S_FileData garbage{};
        garbage.hFind = reinterpret_cast<HANDLE>(value);
        EXPECT_FALSE(COsDirectory::FindNextFileA(garbage)) << value;
        COsDirectory::FindClose(garbage);
    }
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);
}

TEST(COsDirectoryFind, RelativeDirectoriesAndFiltersWithDirectoriesStartAtTheLibraryDirectory)
{
    const std::string libraryDirectory = CVeltrane::GetInstance()->VeltraneLibDir();
    const std::string relative = "veltrane-walk-" + COsGuid::NewGuid();
    struct Cleanup {
        std::string path;
        ~Cleanup() { fs::remove_all(path); }
    } cleanup{libraryDirectory + relative};
    fs::create_directories(cleanup.path + "/sub");
    WriteBytes(cleanup.path + "/sub/a.txt", "");

    struct Row {
        std::string directory;
        std::string filter;
        std::string fullPath;  // of the one entry found
    };
    const std::vector<Row> rows = {
        {relative + "/sub", "*.txt", libraryDirectory + relative + "/sub/a.txt"},
        {relative + "/sub/", "*", libraryDirectory + relative + "/sub/a.txt"},  // one "/" before the name
        {relative, "sub/*.txt", libraryDirectory + relative + "/a.txt"},        // the filter's directory is not
        {"", relative + "/sub/a.txt", libraryDirectory + "a.txt"},              // in szDirectory
    };
    for (const Row& row : rows) {
        _S_FileData record{};
        ASSERT_TRUE(COsDirectory::FindFirstFileA(row.directory, row.filter, record)) << row.directory << row.filter;
        EXPECT_STREQ(record.szFileName, "a.txt");
        EXPECT_EQ(std::string(record.szFullPath), row.fullPath);
        EXPECT_FALSE(COsDirectory::FindNextFileA(record));
        COsDirectory::FindClose(record);
    }
}

TEST(COsDirectoryFind, TextsLongerThanTheRecordAreCutWithATerminator)
{
    TempDir dir;
    // Five levels of 200 bytes: a directory of more than 1024 bytes, which only the record cannot hold.
    std::string deep = dir.name();
    for (int level = 0; level < 5; ++level)
        deep += "/" + std::string(200, static_cast<char>('a' + level));
    fs::create_directories(deep);
    const std::string name(250, 'n');
    WriteBytes(deep + "/" + name, "");

    _S_FileData record{};
    std::memset(record.szDirectory, 'x', sizeof record.szDirectory);
    ASSERT_TRUE(COsDirectory::FindFirstFileA(deep, record));
    EXPECT_EQ(std::string(record.szFileName), name);
    EXPECT_EQ(std::string(record.szDirectory), deep.substr(0, 1023));
    EXPECT_EQ(std::string(record.szFullPath), (deep + "/" + name).substr(0, 1023));
    COsDirectory::FindClose(record);
}

TEST(COsDirectoryFind, ANameThatIsNotUtf8IsHandedOutWithReplacementCharacters)
{
    if (veltrane_test::kWindowsHost)
        GTEST_SKIP() << "Windows names are UTF-16: no name of bytes that are not UTF-8 can be made there";
    TempDir dir;
    WriteBytes(dir / "bad\xFF.txt", "");
    EXPECT_EQ(Walk(dir.name(), "*"), std::vector<std::string>{"bad\xEF\xBF\xBD.txt"});
    EXPECT_EQ(Walk(dir.name(), "bad?.txt"), std::vector<std::string>{"bad\xEF\xBF\xBD.txt"});
}

TEST(COsDirectoryFind, AWalkOverADirectoryThatGrowsOrVanishesEnds)
{
    TempDir dir;
    constexpr int kFiles = 1500;  // more than one reading of the directory
    for (int i = 0; i < kFiles; ++i)
        WriteBytes(dir / ("old-" + std::to_string(i)), "");

    // Grows: every entry that was there is found once, none twice, and the walk ends.
    std::map<std::string, int> seen;
    _S_FileData record{};
    bool found = COsDirectory::FindFirstFileA(dir.name(), record);
    for (int i = 0; i < kFiles; ++i)
        WriteBytes(dir / ("new-" + std::to_string(i)), "");
    for (int steps = 0; found && steps < 4 * kFiles; ++steps) {
        ++seen[record.szFileName];
        found = COsDirectory::FindNextFileA(record);
    }
    EXPECT_FALSE(found);
    COsDirectory::FindClose(record);
    int old = 0;
    for (const auto& [name, count] : seen) {
        EXPECT_EQ(count, 1) << name;
        old += name.rfind("old-", 0) == 0 ? 1 : 0;
    }
    EXPECT_EQ(old, kFiles);

    // Vanishes part-way: the walk ends without an entry that is gone by the time it is looked at.
    _S_FileData vanishing{};
    ASSERT_TRUE(COsDirectory::FindFirstFileA(dir.name(), vanishing));
    if (veltrane_test::kWindowsHost) {
        // Windows keeps a directory that a search holds open: there its entries vanish instead.
        std::vector<fs::path> entries;
        for (const auto& entry : fs::directory_iterator(dir.path()))
            entries.push_back(entry.path());
        for (const fs::path& entry : entries)
            fs::remove(entry);
    } else {
        fs::remove_all(dir.path());
    }
    int after = 0;
    while (COsDirectory::FindNextFileA(vanishing) && after < 4 * kFiles)
        ++after;
    EXPECT_LT(after, 2 * kFiles);
    EXPECT_FALSE(COsDirectory::FindNextFileA(vanishing));
    COsDirectory::FindClose(vanishing);
}

TEST(COsDirectoryFind, SymbolicLinksAreDescribedAsThemselvesSoLoopsEnd)
{
    if (veltrane_test::UnderWine())
        GTEST_SKIP() << "Wine 8 makes no symbolic links (CreateSymbolicLinkW is not implemented)";
    TempDir dir;
    fs::create_directory(dir / "real");
    fs::create_directory_symlink(dir.path(), dir / "real/up");  // a loop back to the top
    fs::create_symlink("self", dir / "self");                     // a link to itself
    WriteBytes(dir / "real/f", "");

    // A walk that enters every directory it is shown would never end if links counted as directories.
    std::vector<std::string> pending = {dir.name()};
    std::vector<std::string> files;
    while (!pending.empty() && files.size() < 100) {
        const std::string directory = pending.back();
        pending.pop_back();
        _S_FileData record{};
        for (bool found = COsDirectory::FindFirstFileA(directory, record); found;
             found = COsDirectory::FindNextFileA(record)) {
            if (record.bDirectory)
                pending.push_back(record.szFullPath);
            else
                files.push_back(record.szFullPath);
            if (std::string(record.szFileName) == "up" || std::string(record.szFileName) == "self") {
                EXPECT_NE(record.findData.dwFileAttributes & 0x400, 0u);  // FILE_ATTRIBUTE_REPARSE_POINT
            }
        }
        COsDirectory::FindClose(record);
    }
    std::sort(files.begin(), files.end());
    EXPECT_EQ(files, (std::vector<std::string>{dir / "real/f", dir / "real/up", dir / "self"}));
}

#ifdef _WIN32
TEST(COsDirectoryCleanDirectory, RemovesNamesThatTheSystemsNameRulesWouldChange)
{
    // Another program can make names that the system's own name rules change: trailing dots and blanks
    // are dropped, and a device's name means the device in any directory. Each entry is removed by the name
    // the listing gave, which is the only one that reaches it.
    TempDir dir;
    fs::path tree = veltrane_test::HostPath(dir / "tree");
    const std::wstring verbatim = L"\\\\?\\" + tree.make_preferred().wstring();
    ASSERT_TRUE(::CreateDirectoryW(verbatim.c_str(), nullptr));
    ASSERT_TRUE(::CreateDirectoryW((verbatim + L"\\folder.").c_str(), nullptr));
    for (const wchar_t* name : {L"\\dot.", L"\\blank ", L"\\CON", L"\\nul.txt", L"\\folder.\\AUX"}) {
        HANDLE file = ::CreateFileW((verbatim + name).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        ::CloseHandle(file);
    }
    EXPECT_EQ(Walk(dir / "tree", "*"), (std::vector<std::string>{"CON", "blank ", "dot.", "folder.", "nul.txt"}));
    EXPECT_TRUE(COsDirectory::CleanDirectory(dir / "tree"));
    EXPECT_EQ(Walk(dir / "tree", "*"), std::vector<std::string>{});
    EXPECT_TRUE(COsDirectory::DeleteDirectory(dir / "tree"));
}
#endif

TEST(COsDirectoryGetFileNumHaveSamePrefix, CountsFilesWhoseFullNameHoldsTheText)
{
    TempDir dir;
    for (const char* directory : {"logs", "apps"}) {
        fs::create_directories(dir / (std::string(directory) + "/app3"));
        for (const char* name : {"app1.log", "app2.log", "other.log"})
            WriteBytes(dir / (std::string(directory) + "/" + name), "");
    }
    struct Row {
        std::string path;
        std::string prefix;
        int count;
    };
    const std::vector<Row> rows = {
        {dir / "logs/", "app", 2},
        {dir / "apps/", "app", 3},        // the text stands in the directory part of every name
        {dir / "logs/app", "", 2},        // the names that begin with "app", directories left out
        {dir / "logs/", "APP", 0},        // exact case
        {dir / "logs/", "2.lo", 1},       // anywhere in the name
        {dir / "logs", "logs", 0},        // the parent's entries that begin with "logs": the directory only
        {dir / "missing/", "app", 0},
        {dir / "logs/", std::string("ap\0p", 4), 2},  // the text counts up to its NUL
        {dir / "bad\xFF/", "app", OS_ERR_ENCODING},
        // Too long to have its dots resolved, it has no absolute form: not the current directory's files.
        {dir / ("logs/./" + std::string(1100, 'a') + "/"), "", OS_ERR_BAD_PATH},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsDirectory::GetFileNumHaveSamePrefix(row.path, row.prefix), row.count) << row.path << row.prefix;
}
