// Pinyin initials: the letters of single units, the decoding of codes, and the combinations of whole texts.
#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "tests/support/PinYinReference.h"
#include "tests/support/TextConversions.h"

namespace {

using veltrane_test::ToUtf8;

std::string Joined(const std::vector<std::string>& letters)
{
    std::string joined;
    for (const std::string& letter : letters)
        joined += letter;
    return joined;
}

std::u16string Repeated(char16_t unit, size_t count)
{
    return std::u16string(count, unit);
}

}  // namespace

TEST(PinYin, LettersOfSingleUnitsAndWhetherTheyAreChinese)
{
    struct Row {
        char16_t unit;
        const char* letters;
        bool chinese;
    } rows[] = {
        {u'\u4E00', "Y", true},     // the first unit of the table, 一
        {u'\u4E01', "ZD", true},    // 丁: ZHENG before DING, the highest syllable number first
        {u'\u4E2D', "Z", true},     // 中
        {u'\u91CD', "ZC", true},    // 重
        {u'\u884C', "XH", true},    // 行: XING HENG HANG, H once
        {u'\u548C', "H", true},     // 和: HUO HU HE, one letter
        {u'\u5355', "SDC", true},   // 单
        {u'\u5F20', "Z", true},     // 张
        {u'\u9FA5', "Y", true},     // the last unit of the table, 龥 YU
        {u'\u4E12', "C", true},     // the readings give CHOU
        {u'\u6261', "T", true},     // TUO alone: the dictionary fields name no other reading
        {u'\u5159', "", false},     // in the table's range, but its only reading is no syllable
        {u'\u4DFF', "", false},     // the unit just below the table
        {u'\u9FA6', "", false},     // and just above it
        {u'\uE81A', "Z", true},     // the private-use ideograph of GB18030's FE55, U+3473 ZHOU
        {u'\uE863', "Y", true},     // the last private-use row, U+4DAE YAN
        {u'\uE81C', "", false},     // a private-use row that holds a radical without a reading
        {u'\uE819', "", false},     // just below the private-use rows
        {u'\uE864', "", false},     // and just above them
        {u'\u3007', "L", true},     // the ideographic zero, by its own rule
        {u'a', "a", false},         // ASCII letters keep their case, digits stand for themselves
        {u'Z', "Z", false},
        {u'7', "7", false},
        {u' ', "", false},
        {u',', "", false},
        {u'\0', "", false},
        {u'\u00E9', "", false},     // a Latin letter with a diacritic
        {u'\uFF21', "", false},     // a full-width A
        {char16_t{0xD840}, "", false},  // surrogate halves
        {char16_t{0xDC00}, "", false},
        {u'\uFFFD', "", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "U+" << std::hex << static_cast<unsigned>(row.unit));
        EXPECT_EQ(Joined(GetPinYin(row.unit)), row.letters);
        for (const std::string& letter : GetPinYin(row.unit))
            EXPECT_EQ(letter.size(), 1u);
        EXPECT_EQ(IsChinese(row.unit), row.chinese);
    }
}

TEST(PinYin, DecodeGivesEachLetterOnceInOrderAndPassesOverGroupsThatAreNoSyllable)
{
    auto group = [](int64_t number, int position) { return number << (9 * position); };
    struct Row {
        int64_t code;
        const char* letters;
    } rows[] = {
        {0, ""},
        {-1, ""},
        {INT64_MIN, ""},
        {0xAF, "L"},                 // LING
        {0x4F82, "ZC"},              // ZHONG CHONG
        {0x1C8F07F, "H"},            // HUO HU HE
        {0x80751C, "SDC"},           // SHAN DAN CHAN
        {0x133E28F65, "YTQC"},       // YI TUO QIAN CHI
        {group(1, 0) | group(6, 1) | group(22, 2) | group(56, 3) | group(78, 4) | group(81, 5) | group(90, 6),
         "ABCDEFG"},                 // seven groups, the most a positive code holds, in rising order too
        {group(357, 0) | group(175, 2), "YL"},   // a group of 0 inside the code
        {group(357, 0) | group(404, 1), "Y"},    // above the last syllable
        {0x1FF, ""},
        {INT64_MAX, ""},             // seven groups of 511
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "code 0x" << std::hex << row.code);
        EXPECT_EQ(Joined(DecodePinYin(row.code)), row.letters);
    }
}

TEST(PinYin, FirstLettersCombineOneLetterPerCharacterWithTheNewestVaryingFastest)
{
    struct Row {
        std::string text;
        const char* letters;
    } rows[] = {
        {"", ""},
        {"abc123", ""},                                            // nothing Chinese: no result at all
        {ToUtf8(u"\u91CD"), "Z,C"},                                // 重
        {ToUtf8(u"a\u91CD" u"1"), "aZ1,aC1"},                      // Latin letters and digits take part
        {ToUtf8(u"\u4E2D \u91CD"), "ZZ,ZC"},                       // a blank contributes nothing
        {ToUtf8(u"\u957F\u884C"), "ZX,ZH,CX,CH"},                  // 长行
        {ToUtf8(u"\u91CD,\u884C"), "ZX,ZH,CX,CH"},                 // no comma of the input reaches the result
        {ToUtf8(u"\u5355\u91CD"), "SZ,SC,DZ,DC,CZ,CC"},
        {ToUtf8(u"A\u3007b"), "ALb"},
        {ToUtf8(u"\u00E9\u4E2D"), "Z"},
        {ToUtf8(u"\U00020000\u4E2D"), "Z"},                        // a surrogate pair gives nothing
        {"\xED\xA0\x80" + ToUtf8(u"\u4E2D"), "Z"},                 // a surrogate written in UTF-8
        {"\xFF" + ToUtf8(u"\u91CD") + "\xC3", "Z,C"},              // invalid bytes give nothing
        {std::string("\xE9\x87", 2), ""},                          // 重 cut off
        {ToUtf8(u"\u91CD") + std::string(1, '\0') + ToUtf8(u"\u884C"), "Z,C"}, // the text ends at its first NUL
        {ToUtf8(u"\uE81A\u4E00"), "ZY"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(GetPinYinFirstLetters(row.text), row.letters);
    }
}

TEST(PinYin, FullListUpToTheLimitThenOneCombination)
{
    // Twelve characters of two letters: 4096 combinations of 13 bytes, in the order of binary counting.
    std::string twelve = GetPinYinFirstLetters(ToUtf8(Repeated(u'\u91CD', 12)));
    ASSERT_EQ(twelve.size(), 4096u * 13 - 1);
    for (size_t row = 0; row < 4096; ++row) {
        std::string expected;
        for (int bit = 11; bit >= 0; --bit)
            expected += (row >> bit) & 1 ? 'C' : 'Z';
        ASSERT_EQ(twelve.substr(row * 13, 12), expected) << row;
        if (row < 4095) {
            ASSERT_EQ(twelve[row * 13 + 12], ',');
        }
    }

    // Thirteen do not fit: one letter each, the first character giving its last.
    EXPECT_EQ(GetPinYinFirstLetters(ToUtf8(Repeated(u'\u91CD', 13))), "C" + std::string(12, 'Z'));

    // Exactly at the limit: 4096 combinations of 24 letters and a comma take 102400 bytes, which still fits;
    // one more character of one letter does not.
    std::u16string atLimit = Repeated(u'\u91CD', 12) + Repeated(u'\u4E2D', 12);
    std::string full = GetPinYinFirstLetters(ToUtf8(atLimit));
    EXPECT_EQ(full.size(), 102400u - 1);
    EXPECT_EQ(full.substr(0, 25), std::string(12, 'Z') + std::string(12, 'Z') + ",");
    EXPECT_EQ(full.substr(full.size() - 24), std::string(12, 'C') + std::string(12, 'Z'));
    EXPECT_EQ(GetPinYinFirstLetters(ToUtf8(atLimit + u"\u4E2D")), "C" + std::string(24, 'Z'));

    // Three-letter characters past the point where the product stops growing.
    EXPECT_EQ(GetPinYinFirstLetters(ToUtf8(Repeated(u'\u5355', 30))), "C" + std::string(29, 'S'));
}

TEST(PinYin, TextsOfAMillionCharactersGiveOneCombination)
{
    const size_t million = 1000000;
    std::string many = GetPinYinFirstLetters(ToUtf8(Repeated(u'\u5355', million)));
    ASSERT_EQ(many.size(), million);
    EXPECT_EQ(many[0], 'C');
    EXPECT_EQ(many.find_first_not_of('S', 1), std::string::npos);

    std::string latinFirst = GetPinYinFirstLetters(ToUtf8(u"x" + Repeated(u'\u91CD', million) + u"!"));
    ASSERT_EQ(latinFirst.size(), million + 1);
    EXPECT_EQ(latinFirst[0], 'x');
    EXPECT_EQ(latinFirst.find_first_not_of('Z', 1), std::string::npos);

    EXPECT_EQ(GetPinYinFirstLetters(std::string(million, 'a')), "");
}

TEST(PinYin, FirstLettersAgreeWithTheStepByStepConstructionOnRandomTexts)
{
    // Characters of one to four letters, letters and digits, and units that give nothing.
    const char16_t pool[] = {u'\u4E2D', u'\u91CD', u'\u884C', u'\u5355', u'\u548C', u'\u3007', u'\uE81A',
                             u'\u5159', u'a',      u'Q',      u'0',      u' ',      u',',      u'\u00E9',
                             char16_t{0xD840}, char16_t{0xDC00}};
    std::mt19937 random(20240601);
    for (int trial = 0; trial < 3000; ++trial) {
        std::u16string text;
        size_t length = random() % 17;
        bool multiLetterOnly = trial % 10 == 0;  // long runs of many-letter characters reach the limit
        for (size_t i = 0; i < length; ++i)
            text += multiLetterOnly ? pool[1 + random() % 3] : pool[random() % (sizeof pool / sizeof pool[0])];
        std::string utf8 = ToUtf8(text);  // the halves become U+FFFD, which gives nothing either way
        SCOPED_TRACE(utf8);
        ASSERT_EQ(GetPinYinFirstLetters(utf8), veltrane_test::ReferenceFirstLetters(veltrane_test::ToUtf16(utf8)));
    }
}
