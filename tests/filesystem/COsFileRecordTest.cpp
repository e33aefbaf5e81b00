// What COsFile and FileTimeCompGreater read from a directory record: file times as local time, the order
// of write times, and the version text of the record's file.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "tests/support/TempDir.h"
#include "tests/time/TimeTestSupport.h"

using veltrane_test::Record;
using veltrane_test::Text;

namespace {

_S_FileData RecordFor(const std::string& fullPath)
{
    _S_FileData record{};  // value-initialised: every field zero, as a caller clears it
    std::strncpy(record.szFullPath, fullPath.c_str(), sizeof record.szFullPath - 1);
    record.hFind = INVALID_HANDLE_VALUE;
    return record;
}

}  // namespace

TEST(COsFileTimes, ReadTheRecordsFileTimesAsLocalTime)
{
    _S_FileData record = RecordFor("/nowhere/at/all.txt");  // nothing is read from the disk
    record.findData.ftCreationTime = {617916800u, 29316075u};     // 1999-12-31 23:59:59.000 UTC
    record.findData.ftLastWriteTime = {3018226768u, 31091467u};   // 2024-02-29 12:34:56.789 UTC

    _STSystemTime created;
    _STSystemTime written;
    {
        veltrane_test::TimeZoneScope zone("UTC0");
        EXPECT_TRUE(COsFile::GetFileCreateTime(record, created));
        EXPECT_TRUE(COsFile::GetFileLastWriteTime(record, written));
    }
    EXPECT_EQ(Text(created), "1999-12-31 23:59:59.000 w5");
    EXPECT_EQ(Text(written), "2024-02-29 12:34:56.789 w4");
    {
        veltrane_test::TimeZoneScope zone("IST-5:30");  // half an hour in the offset: the new year and the next day begin
        EXPECT_TRUE(COsFile::GetFileCreateTime(record, created));
        EXPECT_TRUE(COsFile::GetFileLastWriteTime(record, written));
    }
    EXPECT_EQ(Text(created), "2000-01-01 05:29:59.000 w6");
    EXPECT_EQ(Text(written), "2024-02-29 18:04:56.789 w4");
}

TEST(FileTimeCompGreater, PutsTheNewestFirstAndEqualTimesInNoOrder)
{
    std::vector<_S_FileData> records(4, RecordFor("x"));
    records[0].stWriteTime = Record(2024, 1, 1, 0, 0, 0, 0);
    records[1].stWriteTime = Record(2024, 1, 1, 0, 0, 0, 1);   // a millisecond later
    records[2].stWriteTime = Record(2023, 12, 31, 23, 59, 59, 999);
    records[3].stWriteTime = Record(2024, 1, 1, 0, 0, 0, 0);
    records[3].stWriteTime.wDayOfWeek = 6;                  // the weekday is no part of the order

    const FileTimeCompGreater greater;
    EXPECT_FALSE(greater(records[0], records[3]));
    EXPECT_FALSE(greater(records[3], records[0]));
    EXPECT_TRUE(greater(records[1], records[0]));
    EXPECT_FALSE(greater(records[2], records[0]));
    std::sort(records.begin(), records.end(), greater);
    EXPECT_EQ(records[0].stWriteTime.wMilliseconds, 1);
    EXPECT_EQ(records[3].stWriteTime.wYear, 2023);
}

TEST(COsFileGetFileVersion, ReadsTheFirstTranslationsTextOfTheRecordsFile)
{
    const std::string samples = VELTRANE_PE_SAMPLES;
    std::string out;
    EXPECT_TRUE(COsFile::GetFileVersion(RecordFor(samples + "/versioned64.exe"), out));
    EXPECT_EQ(out, "2.5.0 \xE7\x89\x88\xF0\x9F\x98\x80");  // "2.5.0 版😀" of the Japanese table
    EXPECT_TRUE(COsFile::GetFileVersion(RecordFor(samples + "/versioned32.exe"), out));
    EXPECT_EQ(out, "2.5.0 \xE7\x89\x88\xF0\x9F\x98\x80");

    veltrane_test::TempDir dir;
    veltrane_test::WriteBytes(dir / "text.txt", "MZ but nothing more");
    _S_FileData unterminated = RecordFor("");
    std::memset(unterminated.szFullPath, 'a', sizeof unterminated.szFullPath);  // no terminator at all
    const _S_FileData refused[] = {
        RecordFor(samples + "/noversion64.exe"),
        RecordFor(samples + "/notranslation32.dll"),
        RecordFor(dir / "text.txt"),
        RecordFor(dir / "missing.exe"),
        RecordFor(dir.path().string()),
        RecordFor(samples + "/versioned64.exe\xFF"),
        unterminated,
    };
    for (const _S_FileData& record : refused) {
        SCOPED_TRACE(std::string(record.szFullPath, 60));
        out = "untouched";
        EXPECT_FALSE(COsFile::GetFileVersion(record, out));
        EXPECT_EQ(out, "untouched");
    }
    if (std::system(("mkfifo '" + (dir / "fifo.exe") + "' 2>/dev/null").c_str()) == 0) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(COsFile::GetFileVersion(RecordFor(dir / "fifo.exe"), out));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    }
}

TEST(COsFileGetFileVersion, AFileEnumeratedInADirectoryDeeperThanTheRecordsPathFieldIsRead)
{
    // The full path of the record holds 1023 bytes; the directory and the name, each whole, tell the rest.
    veltrane_test::TempDir dir;
    std::string deep = dir.path().string();
    while (deep.size() < 800)
        deep += "/" + std::string(100, 'd');
    deep += "/" + std::string(1000 - deep.size(), 'e');  // 1001 bytes: the directory fits its field
    COsDirectory::CreateDirectoryA(deep);
    const std::string name = "versioned-" + std::string(40, 'v') + ".exe";
    std::filesystem::copy_file(veltrane_test::HostPath(std::string(VELTRANE_PE_SAMPLES) + "/versioned64.exe"),
                               veltrane_test::HostPath(deep + "/" + name));
    // A file named by the cut path, whose version would be read instead.
    const std::string cut = (deep + "/" + name).substr(0, 1023);
    veltrane_test::WriteBytes(cut, "MZ");

    _S_FileData record{};
    ASSERT_TRUE(COsDirectory::FindFirstFileA(deep, "*.exe", record));
    EXPECT_EQ(std::string(record.szFileName), name);
    std::string out;
    EXPECT_TRUE(COsFile::GetFileVersion(record, out));
    EXPECT_EQ(out, "2.5.0 \xE7\x89\x88\xF0\x9F\x98\x80");
    COsDirectory::FindClose(record);
}
