// COsEncoding on long texts of legacy pages: a long text converts exactly as its lines do one by one.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include <Veltrane.h>

namespace {

// Not ks_c_5601-1987: glibc's CP949 decoder reports some invalid pairs after taking their first byte, so a
// byte after such a pair is lost with it, and the line end would not stand on its own.
const char* const kPages[] = {"GBK", "shift_jis", "big5", "windows-1251", "windows-1255",
                              "IBM037", "koi8-r", "iso-8859-7", "GB18030"};

// Lines of random bytes (never NUL, never the line end), each line end on its own.
std::vector<std::string> RandomByteLines(unsigned start)
{
    std::mt19937 random(start);
    std::vector<std::string> lines;
    size_t total = 0;
    while (total < 200 * 1024) {
        std::string line(random() % 40, ' ');
        for (char& byte : line) {
            do
                byte = static_cast<char>(1 + random() % 255);
            while (byte == '\n');
        }
        total += line.size() + 1;
        lines.push_back(line);
    }
    return lines;
}

// Lines of random characters, with surrogate pairs and lone surrogates among them.
std::vector<std::u16string> RandomCharacterLines(unsigned start)
{
    std::mt19937 random(start);
    std::vector<std::u16string> lines;
    size_t total = 0;
    while (total < 200 * 1024) {
        std::u16string line;
        size_t length = random() % 40;
        for (size_t i = 0; i < length; ++i) {
            unsigned pick = random() % 100;
            if (pick < 40)
                line += static_cast<char16_t>(0x20 + random() % 0x5F);            // ASCII
            else if (pick < 90)
                line += static_cast<char16_t>(0x4E00 + random() % 0x5000);        // CJK ideographs
            else if (pick < 96)
                line += static_cast<char16_t>(0x80 + random() % 0x700);           // Latin, Greek, Cyrillic, Hebrew
            else if (pick < 98)
                line += u"\U0001F600";                                            // a pair
            else
                line += static_cast<char16_t>(0xD800 + random() % 0x800);         // a lone surrogate
        }
        total += line.size() + 1;
        lines.push_back(line);
    }
    return lines;
}

}  // namespace

TEST(COsEncodingLongText, DecodingALongTextEqualsDecodingItsLines)
{
    std::vector<std::string> lines = RandomByteLines(7);
    std::string whole;
    for (const std::string& line : lines)
        whole += line + "\n";
    for (const char* page : kPages) {
        wchar16* lineEnd = nullptr;
        ASSERT_GT(COsEncoding::AnsiToUnicode("\n", page, &lineEnd), 0) << page;  // not U+000A in EBCDIC
        wchar16* decoded = nullptr;
        ASSERT_GT(COsEncoding::AnsiToUnicode(whole.c_str(), page, &decoded), 0) << page;
        std::u16string expected;
        for (const std::string& line : lines) {
            wchar16* piece = nullptr;
            ASSERT_GE(COsEncoding::AnsiToUnicode(line.c_str(), page, &piece), 0) << page;
            expected += piece;
            expected += lineEnd;
            delete[] piece;
        }
        EXPECT_TRUE(expected == decoded) << page;
        delete[] decoded;
        delete[] lineEnd;
    }
}

TEST(COsEncodingLongText, EncodingALongTextEqualsEncodingItsLines)
{
    std::vector<std::u16string> lines = RandomCharacterLines(11);
    std::u16string whole;
    for (const std::u16string& line : lines)
        whole += line + u"\n";
    for (const char* page : kPages) {
        char* lineEnd = nullptr;
        ASSERT_GT(COsEncoding::UnicodeToAnsi(u"\n", page, &lineEnd), 0) << page;
        char* encoded = nullptr;
        ASSERT_GT(COsEncoding::UnicodeToAnsi(whole.c_str(), page, &encoded), 0) << page;
        std::string expected;
        for (const std::u16string& line : lines) {
            char* piece = nullptr;
            ASSERT_GE(COsEncoding::UnicodeToAnsi(line.c_str(), page, &piece), 0) << page;
            expected += piece;
            expected += lineEnd;
            delete[] piece;
        }
        EXPECT_TRUE(expected == encoded) << page;
        delete[] encoded;
        delete[] lineEnd;
    }
}
