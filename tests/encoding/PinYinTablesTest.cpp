// The committed pinyin tables against their format: the syllable list, the codes, the two index tables.
#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "encoding/PinYinTables.h"

using namespace encoding;

namespace {

// The syllables of a code from its lowest group up; an empty list for a code that breaks the format.
std::vector<std::string> Syllables(int64_t code)
{
    std::vector<std::string> names;
    for (; code > 0; code >>= kPinYinBitsPerSyllable) {
        int64_t number = code & kPinYinSyllableMask;
        if (number < 1 || number > static_cast<int64_t>(kPinYinSyllableCount))
            return {};
        names.push_back(PinYinSyllables[number - 1]);
    }
    return names;
}

std::string SyllablesOfUnit(char16_t unit)
{
    int64_t row = unit >= kPinYinPrivateFirst ? PinYinPrivateIndex[unit - kPinYinPrivateFirst]
                                              : PinYinCharIndex[unit - kPinYinCharFirst];
    std::string joined;
    for (const std::string& name : Syllables(PinYinCodes[row]))
        joined += (joined.empty() ? "" : " ") + name;
    return joined;
}

}  // namespace

TEST(PinYinTables, SyllablesAreTheAlphabeticalListOfUpperCaseSyllables)
{
    EXPECT_STREQ(PinYinSyllables[0], "A");
    EXPECT_STREQ(PinYinSyllables[174], "LING");  // the ideographic zero's reading, number 175
    EXPECT_STREQ(PinYinSyllables[402], "ZUO");
    std::set<std::string> withV;
    for (size_t i = 0; i < kPinYinSyllableCount; ++i) {
        std::string name = PinYinSyllables[i];
        ASSERT_FALSE(name.empty());
        EXPECT_EQ(name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ"), std::string::npos) << name;
        if (name.find('V') != std::string::npos)
            withV.insert(name);
        if (i > 0) {
            EXPECT_LT(std::strcmp(PinYinSyllables[i - 1], PinYinSyllables[i]), 0) << name;
        }
    }
    EXPECT_EQ(withV, (std::set<std::string>{"LV", "LVE", "NV", "NVE"}));
}

TEST(PinYinTables, CodesHoldFallingSyllableNumbersAndEachStandsOnce)
{
    ASSERT_GE(PinYinCodeCount, 2u);
    EXPECT_EQ(PinYinCodes[0], 0);
    std::set<int64_t> seen;
    for (size_t row = 1; row < PinYinCodeCount; ++row) {
        SCOPED_TRACE(testing::Message() << "row " << row);
        int64_t code = PinYinCodes[row];
        ASSERT_GT(code, 0);
        EXPECT_TRUE(seen.insert(code).second);
        int groups = 0;
        int64_t previous = kPinYinSyllableMask + 1;
        for (int64_t rest = code; rest > 0; rest >>= kPinYinBitsPerSyllable, ++groups) {
            int64_t number = rest & kPinYinSyllableMask;
            EXPECT_GE(number, 1);  // a group of 0 would end the code early
            EXPECT_LE(number, static_cast<int64_t>(kPinYinSyllableCount));
            EXPECT_LT(number, previous);
            previous = number;
        }
        EXPECT_LE(groups, 7);
    }
}

TEST(PinYinTables, IndexRowsNameCodeRowsAndEveryCodeIsUsed)
{
    ASSERT_EQ(sizeof PinYinCharIndex / sizeof PinYinCharIndex[0], 20902u);  // U+4E00..U+9FA5
    ASSERT_EQ(sizeof PinYinPrivateIndex / sizeof PinYinPrivateIndex[0], 74u);  // U+E81A..U+E863
    std::vector<bool> used(PinYinCodeCount, false);
    auto countFilled = [&used](const int64_t* rows, size_t count) {
        size_t filled = 0;
        for (size_t i = 0; i < count; ++i) {
            EXPECT_GE(rows[i], 0);
            EXPECT_LT(static_cast<size_t>(rows[i]), PinYinCodeCount);
            if (rows[i] < 0 || static_cast<size_t>(rows[i]) >= PinYinCodeCount)
                continue;
            used[static_cast<size_t>(rows[i])] = true;
            filled += rows[i] != 0;
        }
        return filled;
    };
    size_t filled = countFilled(PinYinCharIndex, kPinYinCharCount);
    size_t privateFilled = countFilled(PinYinPrivateIndex, kPinYinPrivateCount);
    for (size_t row = 1; row < PinYinCodeCount; ++row)
        EXPECT_TRUE(used[row]) << "code row " << row << " is named by no character";
    // The readings cover nearly the whole block; a lost field of the data would show here.
    EXPECT_GE(filled, 20800u);
    EXPECT_GE(privateFilled, 50u);
}

TEST(PinYinTables, TellingRowsListTheirSyllablesHighestFirst)
{
    struct Row {
        char16_t unit;
        const char* syllables;
    } rows[] = {
        {u'\u4E00', "YI"},
        {u'\u4E01', "ZHENG DING"},
        {u'\u4E2D', "ZHONG"},
        {u'\u91CD', "ZHONG CHONG"},
        {u'\u884C', "XING HENG HANG"},
        {u'\u548C', "HUO HU HE"},
        {u'\u5355', "SHAN DAN CHAN"},
        {u'\u5F20', "ZHANG"},
        {u'\uE81A', "ZHOU"},
        // Where the readings give other sets than a reference list might: the data holds.
        {u'\u4E12', "CHOU"},
        {u'\u6261', "TUO"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(SyllablesOfUnit(row.unit), row.syllables) << std::hex << static_cast<unsigned>(row.unit);
}
