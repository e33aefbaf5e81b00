// COsTextFile on real files: detection by mark and by scan, line ends and refills in every format,
// characters one by one, conversions, and the object's life from open to close.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "tests/support/ProcessCounts.h"
#include "tests/support/TempDir.h"
#include "tests/support/TextFileModel.h"

using veltrane_test::TempDir;
using veltrane_test::WriteBytes;

namespace {

// One object and the line block it reads into, both released at the end of the scope.
struct Reader {
    Reader() : file(COsTextFile::CreateInstance()) {}
    ~Reader()
    {
        FreeBlock(block);
        COsTextFile::FreeInstance(&file);
    }
    COsTextFile* file;
    char* block = nullptr;
};

struct Line {
    int result;
    std::string text;  // the block's bytes before its terminator, NULs included
    bool operator==(const Line& other) const { return result == other.result && text == other.text; }
};

std::ostream& operator<<(std::ostream& out, const Line& line)
{
    return out << line.result << " '" << line.text << "'";
}

// Writes `bytes` to a file of its own in `dir` and gives its name. Rewriting one file in a loop would cost a
// flush of its old data on each truncation (ext4 does that for files replaced by truncating).
std::string FreshFile(const TempDir& dir, const std::string& bytes)
{
    static int count = 0;
    const std::string path = dir / ("t" + std::to_string(++count) + ".txt");
    WriteBytes(path, bytes);
    return path;
}

// Every line up to the first -1.
std::vector<Line> ReadLines(Reader& reader)
{
    std::vector<Line> lines;
    for (int result; lines.size() < 100000 && (result = reader.file->ReadLine(nullptr, &reader.block)) != -1;)
        lines.push_back({result, std::string(reader.block, static_cast<size_t>(GetBlockLength(reader.block) - 1))});
    return lines;
}

std::vector<int> ReadChars(Reader& reader)
{
    std::vector<int> chars;
    for (int value; chars.size() < 10000 && (value = reader.file->ReadChar()) != -1;)
        chars.push_back(value);
    return chars;
}

// Code points in each of the file encodings, written out here rather than through the library.
std::string Utf8(const std::u32string& text)
{
    std::string out;
    for (char32_t c : text)
        veltrane_test::AppendUtf8(out, c);
    return out;
}

void AppendUnit(std::string& out, uint32_t unit, int bytes, bool bigEndian)
{
    for (int i = 0; i < bytes; ++i)
        out += static_cast<char>(unit >> 8 * (bigEndian ? bytes - 1 - i : i));
}

std::string Utf16(const std::u32string& text, bool bigEndian)
{
    std::string out;
    for (char32_t c : text) {
        if (c >= 0x10000) {
            AppendUnit(out, 0xD800 + ((c - 0x10000) >> 10), 2, bigEndian);
            AppendUnit(out, 0xDC00 + ((c - 0x10000) & 0x3FF), 2, bigEndian);
        } else {
            AppendUnit(out, c, 2, bigEndian);
        }
    }
    return out;
}

std::string Utf32(const std::u32string& text, bool bigEndian)
{
    std::string out;
    for (char32_t c : text)
        AppendUnit(out, c, 4, bigEndian);
    return out;
}

// A format without a mark, how it stores text and how many bytes make a unit.
struct Encoding {
    ETextFormat format;
    std::string (*encode)(const std::u32string&);
    int unit;
};

const Encoding kEncodings[] = {
    {TextFormatUTF8, Utf8, 1},
    {TextFormatUTF16LE, [](const std::u32string& t) { return Utf16(t, false); }, 2},
    {TextFormatUTF16BE, [](const std::u32string& t) { return Utf16(t, true); }, 2},
    {TextFormatUTF32LE, [](const std::u32string& t) { return Utf32(t, false); }, 4},
    {TextFormatUTF32BE, [](const std::u32string& t) { return Utf32(t, true); }, 4},
};

// What ReadLine gives for a line of `text` in `format`: the UTF-8 readers 0, the others the bytes with the
// terminator, or 0 for an empty line.
Line Expected(ETextFormat format, const std::string& text)
{
    const bool converting = format != TextFormatUTF8 && format != TextFormatUTF8Bom;
    return {converting && !text.empty() ? static_cast<int>(text.size() + 1) : 0, text};
}

}  // namespace

TEST(COsTextFileDetection, MarksDecideAndTheScanDecidesTheRest)
{
    struct Row {
        std::string bytes;
        int open;
        ETextFormat format;
        std::vector<Line> lines;
    };
    const Row rows[] = {
        {"", 0, TextFormatAuto, {}},
        {std::string("\xFF\xFE" "a\0", 4), 0, TextFormatUTF16LEBom, {{2, "a"}}},
        {std::string("\xFF\xFE\0\0", 4), 0, TextFormatUTF32LEBom, {}},      // not UTF-16 with a NUL
        {std::string("\xFF\xFE\0\0a\0\0\0", 8), 0, TextFormatUTF32LEBom, {{2, "a"}}},
        {std::string("\xFF\xFE" "a", 3), 0, TextFormatUTF16LEBom, {}},       // half a unit is dropped
        {"\xFF\xFE", 0, TextFormatUTF16LEBom, {}},
        {"\xFF" "A\xC3\xA9", 0, TextFormatAnsi, {{8, "\xC3\xBF" "A\xC3\x83\xC2\xA9"}}},  // no scan after FF
        {"\xFF", 0, TextFormatAnsi, {{3, "\xC3\xBF"}}},
        {std::string("\0A", 2), 0, TextFormatAnsi, {{0, ""}}},               // the NUL ends the line
        {std::string("\0\0\xFE\xFF\0\0\0a", 8), 0, TextFormatUTF32BEBom, {{2, "a"}}},
        {std::string("\0\0\xFE", 3), 0, TextFormatAnsi, {{0, ""}}},
        {std::string("\xFE\xFF\0a\0\n", 6), 0, TextFormatUTF16BEBom, {{2, "a"}}},
        {"\xEF\xBB\xBF" "x\n", 0, TextFormatUTF8Bom, {{0, "x"}}},
        {"\xEF\xBB\xBF", 0, TextFormatUTF8Bom, {}},
        {"\xEF\xBB" "x", 0, TextFormatAnsi, {{6, "\xC3\xAF\xC2\xBB" "x"}}},  // EF BB is a lead cut short
        {"\xEF\xBB", -2, TextFormatAuto, {}},                                // the file ends inside it
        {"\xFE" "A", 0, TextFormatAnsi, {{4, "\xC3\xBE" "A"}}},              // FE never leads
        {"a\r\nb", 0, TextFormatUTF8, {{0, "a"}, {0, "b"}}},                 // ASCII is UTF-8
        {"caf\xE9 au lait", 0, TextFormatAnsi, {{14, "caf\xC3\xA9 au lait"}}},
        {"caf\xE9", -2, TextFormatAuto, {}},
        {"\xC3\xA9t\xC3\xA9", 0, TextFormatUTF8, {{0, "\xC3\xA9t\xC3\xA9"}}},
        // Only the pattern counts: an overlong NUL, a surrogate and a five-byte form pass untouched.
        {"\xC0\x80\xED\xA0\x80\xF8\x88\x80\x80\x80", 0, TextFormatUTF8, {{0, "\xC0\x80\xED\xA0\x80\xF8\x88\x80\x80\x80"}}},
        {"a\x80", 0, TextFormatAnsi, {{5, "a\xE2\x82\xAC"}}},                // a stray continuation byte
    };
    TempDir dir;
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.bytes));
        const std::string path = FreshFile(dir, row.bytes);
        Reader reader;
        ASSERT_EQ(reader.file->Open(path.c_str(), "rb", TextFormatAuto, 0), row.open);
        EXPECT_EQ(reader.file->GetFormat(), row.format);
        EXPECT_EQ(ReadLines(reader), row.lines);
    }
}

namespace {

// A sequence of every lead, from two bytes to the six-byte form.
const std::string kLeadSequences[] = {"\xC3\xA9", "\xE4\xB8\xAD", "\xF4\x8F\xBF\xBF", "\xF8\x88\x80\x80\x80",
                                      "\xFC\x84\x80\x80\x80\x80"};

// Opens `length` bytes of ASCII with `variant` at `place` under detection: the format, or -2, must be the
// plain model's.
void ExpectDetectedAsTheModel(const TempDir& dir, size_t length, size_t place, const std::string& variant)
{
    std::string bytes(length, 'a');
    bytes.replace(place, variant.size(), variant);
    const std::string path = FreshFile(dir, bytes);
    size_t start = 0;
    const int expected = veltrane_test::DetectedFormat(bytes, start);
    Reader reader;
    const int open = reader.file->Open(path.c_str(), "rb", TextFormatAuto, 0);
    EXPECT_EQ(open < 0 ? open : static_cast<int>(reader.file->GetFormat()), expected)
        << testing::PrintToString(variant) << " at " << place;
}

}  // namespace

TEST(COsTextFileDetection, TheScanFindsALateBreakAcrossItsPieces)
{
    TempDir dir;
    // Far behind a sequence that crosses the first boundary of the scan's pieces, a bad byte or a file that
    // ends inside a sequence still fails the scan.
    std::string text(3u << 20, 'a');
    text.replace((1u << 20) - 1, 3, "\xE4\xB8\xAD");
    WriteBytes(dir / "latin.txt", text + "\xE9!");
    WriteBytes(dir / "cut.txt", text + "\xE4\xB8");
    const std::pair<const char*, int> rows[] = {{"latin.txt", TextFormatAnsi}, {"cut.txt", -2}};
    for (const auto& [name, expected] : rows) {
        Reader reader;
        const int open = reader.file->Open((dir / name).c_str(), "rb", TextFormatAuto, 0);
        EXPECT_EQ(open < 0 ? open : static_cast<int>(reader.file->GetFormat()), expected) << name;
    }

    // Every lead, whole and one continuation short, at each place around the boundary, with two blocks of 64
    // bytes behind it and a file that does not end on a multiple of sixteen bytes: what the scan carries from
    // one piece to the next, and what a block looks at before its own bytes, is all that decides these.
    const size_t boundary = 1u << 20;
    for (const std::string& whole : kLeadSequences) {
        for (const std::string& variant : {whole, whole.substr(0, whole.size() - 1)}) {
            for (size_t place = boundary - variant.size(); place <= boundary; ++place) {
                ExpectDetectedAsTheModel(dir, boundary + 133, place, variant);
            }
        }
    }
}

TEST(COsTextFileDetection, TheScanHoldsForEveryLeadAtEveryPlace)
{
    // Each lead, its sequence whole, one continuation short and one too long, and FE, at every place from 40
    // on in 83 bytes of ASCII: the scan looks at sixteen bytes a step and 64 a block, the last three bytes
    // one by one, and a sequence may cross from one to the next.
    TempDir dir;
    std::vector<std::string> sequences(std::begin(kLeadSequences), std::end(kLeadSequences));
    sequences.push_back("\xFE\x80");
    for (const std::string& whole : sequences) {
        for (const std::string& variant : {whole, whole.substr(0, whole.size() - 1), whole + "\x80"}) {
            for (size_t place = 40; place + variant.size() <= 83; ++place) {
                ExpectDetectedAsTheModel(dir, 83, place, variant);
            }
        }
    }
}

TEST(COsTextFileFormats, AGivenFormatNeedsItsMarkAndReadsAnyOtherMarkAsText)
{
    TempDir dir;
    WriteBytes(dir / "empty.txt", "");
    WriteBytes(dir / "plain.txt", "plain\n");
    WriteBytes(dir / "marked16.txt", std::string("\xFF\xFEh\0i\0", 6));
    const std::string empty = dir / "empty.txt", plain = dir / "plain.txt", marked = dir / "marked16.txt";
    struct Row {
        const std::string* path;
        int format;
        int open;
        std::vector<Line> lines;
    };
    const Row rows[] = {
        {&empty, TextFormatAnsi, 0, {}},
        {&empty, TextFormatUTF8, 0, {}},
        {&empty, TextFormatUTF8Bom, -2, {}},
        {&empty, TextFormatUTF16LEBom, -2, {}},
        {&empty, TextFormatUTF32LEBom, -2, {}},
        {&plain, TextFormatUTF8Bom, -2, {}},
        {&plain, -1, -2, {}},
        {&plain, 12, -2, {}},
        {&marked, TextFormatUTF16LE, 0, {{6, "\xEF\xBB\xBFhi"}}},  // the mark becomes U+FEFF
        {&marked, TextFormatUTF16LEBom, 0, {{3, "hi"}}},
        {&marked, TextFormatUTF32LEBom, -2, {}},                 // FF FE h: not the UTF-32 mark
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(*row.path + " format " + std::to_string(row.format));
        Reader reader;
        ASSERT_EQ(reader.file->Open(row.path->c_str(), "rb", static_cast<ETextFormat>(row.format), 0), row.open);
        EXPECT_EQ(ReadLines(reader), row.lines);
        if (row.open < 0) {
            // The file stays open until Close: another Open is refused, and after Close it works.
            EXPECT_EQ(reader.file->Open(plain.c_str(), "rb", TextFormatUTF8, 0), -2);
            EXPECT_EQ(reader.file->Close(), 0);
            EXPECT_EQ(reader.file->Open(plain.c_str(), "rb", TextFormatUTF8, 0), 0);
            EXPECT_EQ(ReadLines(reader), std::vector<Line>({{0, "plain"}}));
        }
    }
}

TEST(COsTextFileLines, LineEndsInEveryFormat)
{
    struct Row {
        std::u32string text;
        bool mac;
        int bufferUnits;  // the buffer in units of the format; 0 is the default 4096 bytes
        std::vector<std::string> lines;
    };
    const Row rows[] = {
        {U"a\n", false, 0, {"a"}},                    // no empty line after the last line end
        {U"\n", false, 0, {""}},
        {U"a\nb", false, 0, {"a", "b"}},
        {U"a\rb\n", false, 0, {"a\rb"}},
        {U"a\rb\n", true, 0, {"a", "b\n"}},
        {U"a\r\nb\r\n", true, 0, {"a", "\nb", "\n"}},
        {U"abc\rdef\n", false, 4, {"abcdef"}},        // the CR ending the first refill is lost
        {U"abc\rdef\n", false, 5, {"abc\rdef"}},
        {U"ab\r\ncd", false, 3, {"ab", "cd"}},         // CR and LF in different refills
        {U"a\r", false, 0, {"a"}},                    // a CR that ends the file is lost
        {U"a\r\r\n", false, 0, {"a\r"}},               // only the one CR before the LF goes
        {U"\r\n\r\n", false, 0, {"", ""}},
        {U"\u00E9t\u00E9 \u4E2D\U0001F600\n\u03B1", false, 0, {"\xC3\xA9t\xC3\xA9 \xE4\xB8\xAD\xF0\x9F\x98\x80", "\xCE\xB1"}},
    };
    TempDir dir;
    for (const Encoding& encoding : kEncodings) {
        for (const Row& row : rows) {
            SCOPED_TRACE("format " + std::to_string(encoding.format) + " " + Utf8(row.text));
            const std::string path = FreshFile(dir, encoding.encode(row.text));
            Reader reader;
            reader.file->SetMacCRLF(row.mac);
            ASSERT_EQ(reader.file->Open(path.c_str(), "rb", encoding.format, row.bufferUnits * encoding.unit), 0);
            std::vector<Line> expected;
            for (const std::string& line : row.lines)
                expected.push_back(Expected(encoding.format, line));
            EXPECT_EQ(ReadLines(reader), expected);
            EXPECT_EQ(reader.file->ReadLine(nullptr, &reader.block), -1);  // and the end stays the end
        }
    }
}

TEST(COsTextFileLines, LinesThatStraddleEveryRefillBoundaryComeOutWhole)
{
    // Lines of 0 to 11 characters, one of them outside the BMP, read with every buffer size from -1 to 13
    // units: each line end falls at every offset of a refill, and odd sizes split units.
    std::u32string text;
    std::vector<std::string> lines;
    for (int length = 0; length < 12; ++length) {
        std::u32string line;
        for (int i = 0; i < length; ++i)
            line += i == 5 ? U'\U0001F600' : static_cast<char32_t>(U'a' + i);
        text += line + U"\n";
        lines.push_back(Utf8(line));
    }
    TempDir dir;
    for (const Encoding& encoding : kEncodings) {
        const std::string path = FreshFile(dir, encoding.encode(text));
        for (int size = -1; size <= 13 * encoding.unit; ++size) {
            SCOPED_TRACE("format " + std::to_string(encoding.format) + " buffer " + std::to_string(size));
            Reader reader;
            ASSERT_EQ(reader.file->Open(path.c_str(), "rb", encoding.format, size), 0);
            std::vector<Line> expected;
            for (size_t i = 0; size != -1 && i < lines.size(); ++i)
                expected.push_back(Expected(encoding.format, lines[i]));
            EXPECT_EQ(ReadLines(reader), expected);
        }
    }
}

TEST(COsTextFileLines, RefillsOfAnySizeAcrossLongFilesAgreeWithThePlainModel)
{
    // 200 000 characters with line ends of every kind here and there, so that CRs fall on refill ends and on
    // the ends of the reader's larger reads of the stream.
    std::u32string text;
    unsigned state = 7;
    const char32_t pieces[] = {U'a', U'\u00E9', U'\u4E2D', U'\U0001F600', U' ', U'\r', U'\n', U'\r'};
    while (text.size() < 200000) {
        state = state * 1103515245u + 12345u;
        text += pieces[(state >> 16) % ((state >> 8) % 9 == 0 ? 8 : 5)];
    }
    TempDir dir;
    for (const Encoding& encoding : {kEncodings[0], kEncodings[1], kEncodings[4]}) {
        const std::string bytes = encoding.encode(text);
        const std::string path = FreshFile(dir, bytes);
        for (int size : {0, 1, 4095, 5000, 65535, 65536, 65537, (1 << 17) + 3}) {
            for (bool mac : {false, true}) {
                SCOPED_TRACE("format " + std::to_string(encoding.format) + " buffer " + std::to_string(size));
                Reader reader;
                reader.file->SetMacCRLF(mac);
                ASSERT_EQ(reader.file->Open(path.c_str(), "rb", encoding.format, size), 0);
                std::vector<Line> expected;
                for (const auto& [result, line] : veltrane_test::ExpectedLines(bytes, 0, encoding.format, size, mac))
                    expected.push_back({result, line});
                ASSERT_GT(expected.size(), 1000u);
                EXPECT_EQ(ReadLines(reader), expected);
            }
        }
    }
}

TEST(COsTextFileLines, ConvertingReadersStopAtANulAndReplaceWhatIsNoCharacter)
{
    TempDir dir;
    struct Row {
        ETextFormat format;
        std::string bytes;
        std::vector<Line> lines;
    };
    const Row rows[] = {
        {TextFormatUTF8, std::string("a\0b\n", 4), {{0, std::string("a\0b", 3)}}},  // kept as bytes
        {TextFormatUTF8, "a\xE4\xB8", {{0, "a\xE4\xB8"}}},                           // a cut character too
        {TextFormatAnsi, std::string("a\0b\nc", 5), {{2, "a"}, {2, "c"}}},
        {TextFormatUTF16LE, std::string("a\0\0\0b\0\n\0c\0", 10), {{2, "a"}, {2, "c"}}},
        {TextFormatUTF16LE, std::string("a\0\0\xD8", 4), {{5, "a\xEF\xBF\xBD"}}},      // a lone high surrogate
        {TextFormatUTF16LE, std::string("a\0b", 3), {{2, "a"}}},                       // a rest of one byte
        {TextFormatUTF32LE, std::string("\0\0\x11\0\0\xD8\0\0=\xD8\0\0\0\xDE\0\0", 16),
         {{13, "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"}}},                   // 0x110000, surrogates
        {TextFormatUTF32BE, std::string("\0\0\0a\0\0\0b\0\0", 10), {{3, "ab"}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE("format " + std::to_string(row.format) + " " + testing::PrintToString(row.bytes));
        const std::string path = FreshFile(dir, row.bytes);
        Reader reader;
        ASSERT_EQ(reader.file->Open(path.c_str(), "rb", row.format, 0), 0);
        EXPECT_EQ(ReadLines(reader), row.lines);
    }
}

TEST(COsTextFileLines, TheBlockIsReusedAndTheEndLeavesItByFormat)
{
    TempDir dir;
    WriteBytes(dir / "t8.txt", std::string(3000, 'x') + "\nshort\n");
    WriteBytes(dir / "t16.txt", Utf16(U"\u00E9\u00E9\u00E9\n", false));
    Reader utf8;
    ASSERT_EQ(utf8.file->Open((dir / "t8.txt").c_str(), "rb", TextFormatUTF8, 0), 0);
    EXPECT_EQ(utf8.file->ReadLine(nullptr, &utf8.block), 0);
    EXPECT_EQ(GetBlockLength(utf8.block), 3001);
    char* first = utf8.block;
    EXPECT_EQ(utf8.file->ReadLine(nullptr, &utf8.block), 0);
    EXPECT_EQ(utf8.block, first);                 // the short line fits the block that is there
    EXPECT_EQ(GetBlockLength(utf8.block), 6);
    EXPECT_STREQ(utf8.block, "short");
    EXPECT_EQ(utf8.file->ReadLine(nullptr, &utf8.block), -1);
    EXPECT_STREQ(utf8.block, "");                 // the UTF-8 reader empties the block at the end

    Reader utf16;
    bool flag = true;
    ASSERT_EQ(utf16.file->Open((dir / "t16.txt").c_str(), "rb", TextFormatUTF16LE, 0), 0);
    EXPECT_EQ(utf16.file->ReadLine(&flag, &utf16.block), 7);
    EXPECT_FALSE(flag);
    EXPECT_EQ(GetBlockLength(utf16.block), 7);
    EXPECT_EQ(utf16.file->ReadLine(nullptr, &utf16.block), -1);
    EXPECT_STREQ(utf16.block, "\xC3\xA9\xC3\xA9\xC3\xA9");  // a converting reader leaves the last line

    Reader empty;  // an empty file under detection leaves even a null block null
    WriteBytes(dir / "empty.txt", "");
    ASSERT_EQ(empty.file->Open((dir / "empty.txt").c_str(), "rb", TextFormatAuto, 0), 0);
    EXPECT_EQ(empty.file->ReadLine(nullptr, &empty.block), -1);
    EXPECT_EQ(empty.block, nullptr);
    EXPECT_EQ(empty.file->ReadChar(), -1);
}

TEST(COsTextFileChars, UnitsComeOutAsNumbersWithoutCr)
{
    TempDir dir;
    struct Row {
        ETextFormat format;
        std::string bytes;
        std::vector<int> chars;
    };
    const Row rows[] = {
        {TextFormatUTF8, "a\r\nb", {'a', '\n', 'b'}},
        {TextFormatUTF8, "\xC3\xA9", {0xC3, 0xA9}},                     // a character byte by byte
        {TextFormatAnsi, "\r\r\xFF", {0xFF}},
        {TextFormatAuto, std::string("\xFE\xFF\0a\0\n", 6), {0x61, 0x0A}},
        {TextFormatUTF16LE, std::string("=\xD8\0\xDE\r\0\x0D\x0A", 8), {0xD83D, 0xDE00, 0x0A0D}},
        {TextFormatUTF16BE, std::string("\0\r\0a\r\0", 6), {0x61, 0x0D00}},
        {TextFormatUTF32LE, std::string("\0\0\x11\0\r\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x7F", 16),
         {0x110000, 0xFFFD, 0x7FFFFFFF}},                                // -1 stays the end
        {TextFormatUTF32BE, std::string("\0\0\0\r\0\0\xD8\0\0\0", 10), {0xD800}},
    };
    for (const Row& row : rows) {
        for (bool mac : {false, true}) {
            SCOPED_TRACE("format " + std::to_string(row.format) + " " + testing::PrintToString(row.bytes));
            const std::string path = FreshFile(dir, row.bytes);
            Reader reader;
            reader.file->SetMacCRLF(mac);
            ASSERT_EQ(reader.file->Open(path.c_str(), "rb", row.format, 3), 0);
            EXPECT_EQ(ReadChars(reader), row.chars);
        }
    }
}

TEST(COsTextFileChars, CharsAndLinesShareOneBuffer)
{
    TempDir dir;
    WriteBytes(dir / "t.txt", Utf16(U"ab\ncd\n", false));
    Reader reader;
    ASSERT_EQ(reader.file->Open((dir / "t.txt").c_str(), "rb", TextFormatUTF16LE, 0), 0);
    EXPECT_EQ(reader.file->ReadChar(), 'a');
    EXPECT_EQ(reader.file->ReadLine(nullptr, &reader.block), 2);
    EXPECT_STREQ(reader.block, "b");
    EXPECT_EQ(reader.file->ReadChar(), 'c');
    EXPECT_EQ(ReadLines(reader), std::vector<Line>({{2, "d"}}));
    EXPECT_EQ(reader.file->ReadChar(), -1);
}

TEST(COsTextFileLife, CodePageCountsFromTheNextLineAndGoesWithCloseTheMacFlagStays)
{
    TempDir dir;
    WriteBytes(dir / "t.txt", "\xC1\r\xC1\r");  // C1 is "Б" in windows-1251, "Á" in windows-1252
    const std::string path = dir / "t.txt";
    Reader reader;
    reader.file->SetCodePage("windows-1251");
    reader.file->SetUnknownChar("?");
    reader.file->SetMacCRLF(true);
    ASSERT_EQ(reader.file->Open(path.c_str(), "rb", TextFormatAnsi, 0), 0);
    EXPECT_EQ(reader.file->ReadLine(nullptr, &reader.block), 3);
    EXPECT_STREQ(reader.block, "\xD0\x91");
    reader.file->SetCodePage(nullptr);  // the ANSI code page from the next line on
    EXPECT_EQ(reader.file->ReadLine(nullptr, &reader.block), 3);
    EXPECT_STREQ(reader.block, "\xC3\x81");

    reader.file->SetCodePage("windows-1251");
    EXPECT_EQ(reader.file->Close(), 0);
    EXPECT_EQ(reader.file->Close(), 0);
    EXPECT_EQ(reader.file->ReadLine(nullptr, &reader.block), -1);  // no reader after Close
    EXPECT_EQ(reader.file->ReadChar(), -1);
    ASSERT_EQ(reader.file->Open(path.c_str(), "rb", TextFormatAnsi, 0), 0);
    EXPECT_EQ(ReadLines(reader), std::vector<Line>({{3, "\xC3\x81"}, {3, "\xC3\x81"}}));
}

TEST(COsTextFileLife, RefusedOpensChangeNothingAndLeakNothing)
{
    TempDir dir;
    WriteBytes(dir / "t.txt", "text\n");
    std::filesystem::create_directory(dir.path() / "folder");
    const bool fifo = std::system(("mkfifo '" + (dir / "fifo") + "' 2>/dev/null").c_str()) == 0;
    const int descriptors = veltrane_test::OpenDescriptorCount();
    {
        Reader reader;
        EXPECT_EQ(reader.file->ReadLine(nullptr, &reader.block), -1);  // before any Open
        EXPECT_EQ(reader.file->Open((dir / "t.txt").c_str(), "rb", TextFormatUTF16BE, 7), 0);
        EXPECT_EQ(reader.file->Close(), 0);
        const auto start = std::chrono::steady_clock::now();
        const std::string missing = dir / "missing.txt", folder = dir / "folder", pipe = dir / "fifo";
        for (const std::string* path : {&missing, &folder, fifo ? &pipe : &folder})
            EXPECT_EQ(reader.file->Open(path->c_str(), "rb", TextFormatAuto, 0), -2) << *path;
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));  // no wait for a writer
        EXPECT_EQ(reader.file->Open(nullptr, "rb", TextFormatAuto, 0), -2);
        EXPECT_EQ(reader.file->Open((dir / "t.txt").c_str(), nullptr, TextFormatAuto, 0), -2);
        EXPECT_EQ(reader.file->GetFormat(), TextFormatUTF16BE);  // what the last good Open stored
        EXPECT_EQ(reader.file->Open((dir / "t.txt").c_str(), "rb", TextFormatUTF8Bom, 0), -2);
        COsTextFile* held = reader.file;  // FreeInstance closes a file left open
        COsTextFile::FreeInstance(&held);
        EXPECT_EQ(held, nullptr);
        reader.file = nullptr;
        COsTextFile::FreeInstance(&reader.file);
    }
    EXPECT_EQ(veltrane_test::OpenDescriptorCount(), descriptors);
}

TEST(COsTextFileLines, OnlyLineEndsAndAGibibyteLine)
{
    TempDir dir;
    WriteBytes(dir / "lf.txt", std::string(1000, '\n'));
    WriteBytes(dir / "cr.txt", std::string(1000, '\r'));
    const std::string lf = dir / "lf.txt", cr = dir / "cr.txt";
    struct Row {
        const std::string* path;
        bool mac;
        size_t count;
        std::string first;
    };
    const Row rows[] = {
        {&lf, false, 1000, ""},
        {&cr, true, 1000, ""},
        {&cr, false, 1, std::string(999, '\r')},  // one line; the CR at its end is lost
    };
    for (const Row& row : rows) {
        Reader reader;
        reader.file->SetMacCRLF(row.mac);
        ASSERT_EQ(reader.file->Open(row.path->c_str(), "rb", TextFormatAuto, 0), 0);
        const std::vector<Line> lines = ReadLines(reader);
        ASSERT_EQ(lines.size(), row.count);
        EXPECT_EQ(lines.front().text, row.first);
    }

    // A line of 1 GiB, nearly all of it a hole of zero bytes in a sparse file, then one more line: detection
    // scans it all, and the UTF-8 reader keeps the zeros.
    const std::string big = dir / "big.txt";
    {
        std::FILE* out = std::fopen(big.c_str(), "wb");
        ASSERT_NE(out, nullptr);
        std::fputc('a', out);
        std::fseek(out, (1L << 30) - 1, SEEK_SET);
        std::fputs("z\nlast", out);
        std::fclose(out);
    }
    Reader reader;
    ASSERT_EQ(reader.file->Open(big.c_str(), "rb", TextFormatAuto, 1 << 16), 0);
    EXPECT_EQ(reader.file->GetFormat(), TextFormatUTF8);
    ASSERT_EQ(reader.file->ReadLine(nullptr, &reader.block), 0);
    ASSERT_EQ(GetBlockLength(reader.block), (1 << 30) + 1);
    EXPECT_EQ(reader.block[0], 'a');
    EXPECT_EQ(reader.block[1], '\0');
    EXPECT_EQ(reader.block[(1 << 30) - 1], 'z');
    EXPECT_EQ(reader.block[1 << 30], '\0');
    EXPECT_EQ(ReadLines(reader), std::vector<Line>({{0, "last"}}));
}
