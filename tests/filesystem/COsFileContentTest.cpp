// COsFile::GetFileContent: each format's mark, unit size and byte order, what is too short for a mark, and
// the statuses of the read.
#include <gtest/gtest.h>

#include <string>

#include <Veltrane.h>

#include "tests/support/HostSystem.h"
#include "tests/support/TempDir.h"

using veltrane_test::TempDir;
using veltrane_test::WriteBytes;

namespace {

std::string Bytes(std::initializer_list<int> values)
{
    std::string bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    return bytes;
}

}  // namespace

TEST(COsFileGetFileContent, DecodesEachFormatByItsOwnRules)
{
    TempDir dir;
    const std::string euro = "\xE2\x82\xAC";           // U+20AC
    const std::string smile = "\xF0\x9F\x98\x80";      // U+1F600, a surrogate pair in UTF-16
    struct Row {
        const char* what;
        std::string bytes;
        int format;
        const char* codePage;
        std::string expected;
    };
    const Row rows[] = {
        // Auto: the first mark that matches, else the code page; UTF-8 without a mark is not looked for.
        {"auto utf-32le", Bytes({0xFF, 0xFE, 0, 0, 0xAC, 0x20, 0, 0}), TextFormatAuto, nullptr, euro},
        {"auto utf-32be", Bytes({0, 0, 0xFE, 0xFF, 0, 1, 0xF6, 0}), TextFormatAuto, nullptr, smile},
        {"auto utf-8 mark", "\xEF\xBB\xBF" "a" + euro, TextFormatAuto, nullptr, "a" + euro},
        {"auto utf-16le", Bytes({0xFF, 0xFE, 0x3D, 0xD8, 0x00, 0xDE, 'a', 0}), TextFormatAuto, nullptr, smile + "a"},
        {"auto utf-16be", Bytes({0xFE, 0xFF, 0x20, 0xAC}), TextFormatAuto, nullptr, euro},
        {"auto only FF FE", Bytes({0xFF, 0xFE}), TextFormatAuto, nullptr, ""},
        {"auto no mark: code page", "caf\xE9", TextFormatAuto, "windows-1252", "caf\xC3\xA9"},
        {"auto utf-8 without mark is taken as ANSI", "\xC3\xA9", TextFormatAuto, nullptr, "\xC3\x83\xC2\xA9"},
        // Ansi decodes the whole buffer, a mark included.
        {"ansi keeps FF FE", Bytes({0xFF, 0xFE}), TextFormatAnsi, nullptr, "\xC3\xBF\xC3\xBE"},
        {"ansi code page 936", "\xD6\xD0", TextFormatAnsi, "GBK", "\xE4\xB8\xAD"},
        {"value outside the enumeration acts as ansi", "\xE9", 12, nullptr, "\xC3\xA9"},
        {"negative value acts as ansi", "\xE9", -1, nullptr, "\xC3\xA9"},
        // UTF-8: a mark format skips three bytes unseen; the plain one keeps a mark as text.
        {"utf-8 mark skipped", "\xEF\xBB\xBFx", TextFormatUTF8Bom, nullptr, "x"},
        {"utf-8 mark format without a mark loses three bytes", "abcdef", TextFormatUTF8Bom, nullptr, "def"},
        {"utf-8 mark format, too short", "ab", TextFormatUTF8Bom, nullptr, ""},
        {"utf-8 keeps the mark", "\xEF\xBB\xBFx", TextFormatUTF8, nullptr, "\xEF\xBB\xBFx"},
        {"utf-8 up to the first NUL", std::string("ab\0cd", 5), TextFormatUTF8, nullptr, "ab"},
        {"utf-8 is not validated", "a\xFF" "b", TextFormatUTF8, nullptr, "a\xFF" "b"},
        // UTF-16: the rest of a unit is ignored; a 0 unit ends the text; lone surrogates become U+FFFD.
        {"utf-16le 7 bytes: 3 units", Bytes({'a', 0, 'b', 0, 'c', 0, 'd'}), TextFormatUTF16LE, nullptr, "abc"},
        {"utf-16le keeps a mark", Bytes({0xFF, 0xFE, 'a', 0}), TextFormatUTF16LE, nullptr, "\xEF\xBB\xBF" "a"},
        {"utf-16le stops at 0", Bytes({'a', 0, 0, 0, 'b', 0}), TextFormatUTF16LE, nullptr, "a"},
        {"utf-16le lone surrogate", Bytes({0x00, 0xD8, 'a', 0}), TextFormatUTF16LE, nullptr, "\xEF\xBF\xBD" "a"},
        {"utf-16le mark, too short", Bytes({0xFF, 0xFE}), TextFormatUTF16LEBom, nullptr, ""},
        {"utf-16le mark skipped unseen", Bytes({'x', 'y', 'a', 0}), TextFormatUTF16LEBom, nullptr, "a"},
        {"utf-16be", Bytes({0x20, 0xAC, 0, 'a'}), TextFormatUTF16BE, nullptr, euro + "a"},
        {"utf-16be mark", Bytes({0xFE, 0xFF, 0xD8, 0x3D, 0xDE, 0x00}), TextFormatUTF16BEBom, nullptr, smile},
        // UTF-32: code points; anything that is no scalar value becomes U+FFFD.
        {"utf-32le", Bytes({0x00, 0xF6, 0x01, 0, 'a', 0, 0, 0, 'b'}), TextFormatUTF32LE, nullptr, smile + "a"},
        {"utf-32le beyond U+10FFFF", Bytes({0, 0, 0x11, 0}), TextFormatUTF32LE, nullptr, "\xEF\xBF\xBD"},
        {"utf-32le surrogate", Bytes({0, 0xD8, 0, 0}), TextFormatUTF32LE, nullptr, "\xEF\xBF\xBD"},
        {"utf-32le stops at 0", Bytes({'a', 0, 0, 0, 0, 0, 0, 0, 'b', 0, 0, 0}), TextFormatUTF32LE, nullptr, "a"},
        {"utf-32le mark, too short", Bytes({0xFF, 0xFE, 0, 0}), TextFormatUTF32LEBom, nullptr, ""},
        {"utf-32be", Bytes({0, 0, 0x20, 0xAC}), TextFormatUTF32BE, nullptr, euro},
        {"utf-32be mark", Bytes({0, 0, 0xFE, 0xFF, 0, 0, 0, 'z'}), TextFormatUTF32BEBom, nullptr, "z"},
    };
    int index = 0;
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        const std::string name = dir / ("f" + std::to_string(index++));
        WriteBytes(name, row.bytes);
        std::string out = "stale";
        EXPECT_EQ(COsFile::GetFileContent(name, static_cast<ETextFormat>(row.format), row.codePage, out), 0);
        EXPECT_EQ(out, row.expected);
    }
}

TEST(COsFileGetFileContent, LongTextsDecodeLikeTheConversionsAndFailuresEmptyTheResult)
{
    TempDir dir;
    // Long enough for the word-at-a-time paths, with a NUL unit placed at an odd unit position.
    std::u16string wide;
    for (int i = 0; i < 5000; ++i)
        wide += (i % 3 == 0) ? u"\u4E2D" : (i % 3 == 1) ? u"a" : u"\U0001F600";
    std::string utf16(reinterpret_cast<const char*>(wide.data()), wide.size() * 2);
    char* expected = nullptr;
    ASSERT_GT(COsEncoding::UTF16ToUTF8(wide.c_str(), &expected), 0);
    WriteBytes(dir / "long16", utf16);
    std::string out;
    EXPECT_EQ(COsFile::GetFileContent(dir / "long16", TextFormatUTF16LE, nullptr, out), 0);
    EXPECT_EQ(out, expected);
    delete[] expected;

    const size_t stop = 4093;
    wide[stop] = 0;
    WriteBytes(dir / "cut16", std::string(reinterpret_cast<const char*>(wide.data()), wide.size() * 2));
    ASSERT_GT(COsEncoding::UTF16ToUTF8(wide.c_str(), &expected), 0);
    EXPECT_EQ(COsFile::GetFileContent(dir / "cut16", TextFormatUTF16LE, nullptr, out), 0);
    EXPECT_EQ(out, expected);
    delete[] expected;

    // The statuses of the read pass through, with the result empty.
    out = "stale";
    EXPECT_EQ(COsFile::GetFileContent(dir / "missing", TextFormatAuto, nullptr, out), OS_ERR_OPEN);
    EXPECT_EQ(out, "");
    WriteBytes(dir / "empty", "");
    out = "stale";
    EXPECT_EQ(COsFile::GetFileContent(dir / "empty", TextFormatUTF8, nullptr, out), 0);
    EXPECT_EQ(out, "");
    {
        std::ofstream sparse(dir / "sparse", std::ios::binary);
    }
    std::filesystem::resize_file(dir.path() / "sparse", (1ull << 31));  // one byte over the limit
    EXPECT_EQ(COsFile::GetFileContent(dir / "sparse", TextFormatUTF8, nullptr, out), OS_ERR_OUT_OF_RANGE);
    // A code page that the host cannot convert: the read succeeded, the text stays empty. Linux has no
    // table for DOS-720; Windows has its own, and converts.
    WriteBytes(dir / "ansi", "abc");
    out = "stale";
    EXPECT_EQ(COsFile::GetFileContent(dir / "ansi", TextFormatAnsi, "DOS-720", out), 0);
    const bool hostHasPage = veltrane_test::kWindowsHost && !veltrane_test::SystemLacksCodePage(720);
    EXPECT_EQ(out, hostHasPage ? "abc" : "");
}
