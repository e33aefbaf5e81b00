// COsEncoding on long texts of legacy pages: a long text converts exactly as its lines do one by one.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "tests/encoding/TableProbe.h"
#include "tests/support/HostSystem.h"

namespace {

const std::vector<const char*> kPages = {"GBK", "shift_jis", "big5", "ks_c_5601-1987", "windows-1251",
                                         "windows-1255", "IBM037", "koi8-r", "iso-8859-7", "GB18030"};
// Windows reads a lead byte and the byte after it as one undefined pair even when that byte is a line end,
// so there a text of random bytes in a double-byte page does not decode as its lines do.
const std::vector<const char*> kSingleBytePages = {"windows-1251", "windows-1255", "IBM037", "koi8-r", "iso-8859-7"};

// About 200 KiB of lines of up to 39 pieces that `pick` makes, none of them a line end.
template <typename Unit, typename Pick>
std::vector<std::basic_string<Unit>> RandomLines(unsigned start, Pick pick)
{
    std::mt19937 random(start);
    std::vector<std::basic_string<Unit>> lines;
    for (size_t total = 0; total < 200 * 1024; total += lines.back().size() + 1) {
        std::basic_string<Unit> line;
        for (size_t pieces = random() % 40; pieces > 0; --pieces)
            line += pick(random);
        lines.push_back(line);
    }
    return lines;
}

template <typename From, typename To>
std::basic_string<To> Convert(int (*convert)(const From*, const char*, To**), const std::basic_string<From>& text,
                              const char* page)
{
    To* out = nullptr;
    int status = convert(text.c_str(), page, &out);
    std::basic_string<To> result = out ? out : std::basic_string<To>();
    EXPECT_EQ(status, text.empty() ? 0 : static_cast<int>(result.size()) + 1);
    delete[] out;
    return result;
}

// The whole text is long enough to be converted through the page's table where it has one; each line is
// short enough to go through the host's converter.
template <typename From, typename To>
void ExpectWholeTextConvertsAsItsLines(const std::vector<std::basic_string<From>>& lines,
                                       int (*convert)(const From*, const char*, To**),
                                       const std::vector<const char*>& pages)
{
    const std::basic_string<From> lineEnd(1, From('\n'));
    std::basic_string<From> whole;
    for (const std::basic_string<From>& line : lines)
        whole += line + lineEnd;
    std::string lacking;
    for (const char* page : pages) {
        SCOPED_TRACE(page);
        if (veltrane_test::SystemLacksCodePage(COsEncodingTableProbe::Lookup(page))) {
            lacking += std::string(" ") + page;
            continue;
        }
        std::basic_string<To> convertedEnd = Convert(convert, lineEnd, page);  // not U+000A in EBCDIC
        std::basic_string<To> expected;
        for (const std::basic_string<From>& line : lines)
            expected += Convert(convert, line, page) + convertedEnd;
        EXPECT_TRUE(Convert(convert, whole, page) == expected);
    }
    if (!lacking.empty())
        GTEST_SKIP() << "this system has no table for" << lacking << " (Wine lacks pages that Windows has)";
}

}  // namespace

TEST(COsEncodingLongText, DecodingALongTextEqualsDecodingItsLines)
{
    auto byteOtherThanLineEnd = [](std::mt19937& random) {
        unsigned byte = 1 + random() % 254;  // never NUL
        return static_cast<char>(byte < '\n' ? byte : byte + 1);
    };
    ExpectWholeTextConvertsAsItsLines(RandomLines<char>(7, byteOtherThanLineEnd), &COsEncoding::AnsiToUnicode,
                                      veltrane_test::kWindowsHost ? kSingleBytePages : kPages);
}

TEST(COsEncodingLongText, EncodingALongTextEqualsEncodingItsLines)
{
    // Mostly ASCII and CJK ideographs, with Latin, Greek, Cyrillic and Hebrew, pairs and lone surrogates.
    ExpectWholeTextConvertsAsItsLines(RandomLines<char16_t>(11, [](std::mt19937& random) {
        unsigned pick = random() % 100;
        if (pick < 40)
            return std::u16string(1, static_cast<char16_t>(0x20 + random() % 0x5F));
        if (pick < 90)
            return std::u16string(1, static_cast<char16_t>(0x4E00 + random() % 0x5000));
        if (pick < 96)
            return std::u16string(1, static_cast<char16_t>(0x80 + random() % 0x700));
        if (pick < 98)
            return std::u16string(u"\U0001F600");
        return std::u16string(1, static_cast<char16_t>(0xD800 + random() % 0x800));
    }), &COsEncoding::UnicodeToAnsi, kPages);
}

TEST(COsEncodingLongText, TheByteAfterAnUnassignedPairIsKept)
{
    // The host's decoder of this page reports the unassigned pair A2 E8 only after taking both bytes.
    std::u16string pair = Convert(&COsEncoding::AnsiToUnicode, std::string("\xA2\xE8"), "ks_c_5601-1987");
    EXPECT_EQ(Convert(&COsEncoding::AnsiToUnicode, std::string("\xA2\xE8" "AB"), "ks_c_5601-1987"), pair + u"AB");
}
