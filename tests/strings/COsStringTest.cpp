// COsString: comparison orders, bounded copies, replace, repeated-pattern trims, case change and split.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <Veltrane.h>

namespace {

using Tokens = std::vector<std::string>;

}  // namespace

TEST(COsStringCompare, NullPointerGivesNullArgumentWhateverTheCount)
{
    EXPECT_EQ(COsString::Compare("a", nullptr, false), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::Compare(nullptr, "a", true), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::Compare("a", nullptr, 0, false), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::Compare(nullptr, nullptr, 3, true), OS_ERR_NULL_ARGUMENT);
}

TEST(COsStringCompare, ExactBytesGiveMinusOneZeroOrOneAsUnsigned)
{
    struct Row { const char* first; const char* second; int expected; };
    const Row rows[] = {
        {"abc", "ABC", 1},         // 0x61 above 0x41
        {"ABC", "abc", -1},
        {"", "", 0},
        {"abc", "abd", -1},        // a difference of one still gives exactly -1
        {"az", "a", 1},            // the shorter text ends first
        {"\xC0", "a", 1},          // bytes above 0x7F compare as unsigned
        {"a", "z", -1},            // a difference of 25 is brought to -1
    };
    for (const Row& row : rows) {
        EXPECT_EQ(COsString::Compare(row.first, row.second, false), row.expected) << row.first << " / " << row.second;
        EXPECT_EQ(COsString::Compare(std::string(row.first), std::string(row.second), false), row.expected);
    }
}

TEST(COsStringCompare, IgnoringCaseFoldsToLowerAndKeepsTheDifference)
{
    EXPECT_EQ(COsString::Compare("abc", "ABC", true), 0);
    EXPECT_EQ(COsString::Compare(std::string("Hello World"), std::string("hELLO wORLD"), true), 0);
    // 0x5F sits between the capitals and the small letters; folding to lower puts it below every letter.
    EXPECT_LT(COsString::Compare("_", "A", true), 0);
    EXPECT_LT(COsString::Compare("_", "a", true), 0);
    EXPECT_GT(COsString::Compare("Z", "_", true), 0);
    // The result is the difference of the folded bytes, not clamped.
    EXPECT_EQ(COsString::Compare("a", "D", true), 'a' - 'd');
    EXPECT_EQ(COsString::Compare(std::string("ab"), std::string("A"), true), 'b');
    // Non-letters are not folded: '[' (0x5B) and '{' (0x7B) stay apart.
    EXPECT_EQ(COsString::Compare("[", "{", true), '[' - '{');
}

TEST(COsStringCompare, LongTextsDifferingLateAreFoundInEveryCaseMode)
{
    // Long enough that the comparison runs over whole blocks before the difference.
    std::string lower(1000, 'q');
    std::string upper(1000, 'Q');
    EXPECT_EQ(COsString::Compare(lower, upper, true), 0);
    upper[997] = 'R';
    EXPECT_EQ(COsString::Compare(lower, upper, true), 'q' - 'r');
    EXPECT_EQ(COsString::Compare(lower, upper, 997, true), 0);
    EXPECT_EQ(COsString::Compare(lower, upper, 998, true), 'q' - 'r');
    // Bytes that differ only in bit 0x20 but are not letters stay different inside a long run too.
    std::string symbols(300, '@');
    std::string shifted = symbols;
    shifted[130] = '`';
    EXPECT_EQ(COsString::Compare(symbols, shifted, true), '@' - '`');
    std::string accents(300, '\xC1');
    std::string otherAccents = accents;
    otherAccents[299] = '\xE1';
    EXPECT_EQ(COsString::Compare(accents, otherAccents, true), 0xC1 - 0xE1);
    // A NUL inside a standard string ends its text for the comparison.
    std::string withNul = lower;
    withNul[500] = '\0';
    EXPECT_GT(COsString::Compare(lower, withNul, true), 0);
    EXPECT_EQ(COsString::Compare(withNul, lower.substr(0, 500), false), 0);
}

namespace {

// The case-blind order byte by byte: ASCII letters folded to lower case, the first differing pair decides.
int FoldedOrder(const std::string& first, const std::string& second)
{
    for (size_t index = 0;; ++index) {
        int left = static_cast<unsigned char>(first.c_str()[index]);
        int right = static_cast<unsigned char>(second.c_str()[index]);
        left = (left >= 'A' && left <= 'Z') ? left + 32 : left;
        right = (right >= 'A' && right <= 'Z') ? right + 32 : right;
        if (left != right || left == 0)
            return left - right;
    }
}

}  // namespace

TEST(COsStringCompare, IgnoringCaseAgreesWithTheByteOrderOnRandomTexts)
{
    // Bytes chosen to sit on every edge of the fold: letters of both cases around 'A'/'Z'/'a'/'z', their
    // neighbours that differ from them in bit 0x20 only, a space, a NUL and bytes above 0x7F.
    const char alphabet[] = {'a', 'A', 'z', 'Z', '@', '`', '[', '{', '_', ' ', '\0', '\xC1', '\xE1', 'm', 'M'};
    uint32_t state = 2024;
    auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    for (int round = 0; round < 2000; ++round) {
        size_t length = next() % 150;
        std::string first(length, 'a');
        for (char& byte : first)
            byte = (next() % 4 == 0) ? alphabet[next() % sizeof alphabet] : static_cast<char>('a' + next() % 3);
        std::string second = first;
        // Mostly case changes, sometimes one real difference, at any place of the text.
        for (char& byte : second)
            if (byte >= 'a' && byte <= 'z' && next() % 2 == 0)
                byte = static_cast<char>(byte - 32);
        if (length > 0 && next() % 2 == 0)
            second[next() % length] = alphabet[next() % sizeof alphabet];
        ASSERT_EQ(COsString::Compare(first, second, true), FoldedOrder(first, second)) << "round " << round;
        ASSERT_EQ(COsString::Compare(first.c_str(), second.c_str(), true), FoldedOrder(first, second));
    }
}

TEST(COsStringCompare, CountLimitsTheBytesCompared)
{
    EXPECT_EQ(COsString::Compare("abcX", "abcY", 3, false), 0);
    EXPECT_EQ(COsString::Compare("abcX", "abcY", 4, false), -1);
    EXPECT_EQ(COsString::Compare("abcX", "abcY", 0, false), 0);
    EXPECT_EQ(COsString::Compare("ab", "abc", 100, false), -1);
    EXPECT_EQ(COsString::Compare(std::string("abcX"), std::string("ABCY"), 3, true), 0);
    EXPECT_EQ(COsString::Compare(std::string("abcX"), std::string("ABCY"), 4, true), 'x' - 'y');
    EXPECT_EQ(COsString::Compare(std::string("x"), std::string("y"), 0, false), 0);
}

TEST(COsStringCopy, CopiesAtMostCountIntoANewTerminatedBuffer)
{
    char* buffer = nullptr;
    EXPECT_EQ(COsString::Copy("abc", 100, &buffer), 3);
    ASSERT_NE(buffer, nullptr);
    EXPECT_STREQ(buffer, "abc");
    char* second = nullptr;
    EXPECT_EQ(COsString::Copy("abcdef", 2, &second), 2);
    EXPECT_STREQ(second, "ab");
    EXPECT_EQ(COsString::Copy("", &buffer), 0);  // replaces, releasing the earlier buffer (ASan sees a leak otherwise)
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(COsString::Copy("abc", 0, &second), 0);
    EXPECT_STREQ(second, "");
    delete[] buffer;
    delete[] second;
}

TEST(COsStringCopy, NullSourceReleasesTheIncomingBufferAndLeavesNull)
{
    char* buffer = nullptr;
    ASSERT_EQ(COsString::Copy("earlier", &buffer), 7);
    EXPECT_EQ(COsString::Copy(nullptr, &buffer), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(buffer, nullptr);
    ASSERT_EQ(COsString::Copy("earlier", &buffer), 7);
    EXPECT_EQ(COsString::Copy(nullptr, 3, &buffer), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(buffer, nullptr);
}

TEST(COsStringCopy, StandardStringFormsKeepEmbeddedNuls)
{
    std::string text("ab\0cd", 5);
    EXPECT_EQ(COsString::Copy(text), text);
    EXPECT_EQ(COsString::Copy(text, 4), std::string("ab\0c", 4));
    EXPECT_EQ(COsString::Copy(text, 50), text);
}

TEST(COsStringReplace, InsertedTextIsNeverSearchedAgain)
{
    struct Row { const char* text; const char* pattern; const char* replacement; const char* expected; };
    const Row rows[] = {
        {"aaa", "a", "aa", "aaaaaa"},
        {"aXbXc", "X", "", "abc"},
        {"abc", "", "z", "abc"},
        {"", "a", "b", ""},
        {"aaaa", "aa", "b", "bb"},          // hits do not overlap
        {"abab", "ab", "bab", "babbab"},    // 'ab' formed across a replacement is not found
        {"xyz", "xyzw", "q", "xyz"},
        {"one two one", "one", "1", "1 two 1"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsString::Replace(row.text, row.pattern, row.replacement), row.expected)
            << row.text << " / " << row.pattern << " / " << row.replacement;
    EXPECT_EQ(COsString::Replace(std::string("a\0a", 3), "a", "b"), std::string("b\0b", 3));
}

TEST(COsStringTrim, RemovesOnlySpacesFromBothEnds)
{
    EXPECT_EQ(COsString::Trim("  a b  "), "a b");
    EXPECT_EQ(COsString::Trim("\ta "), "\ta");
    EXPECT_EQ(COsString::Trim("a\r\n"), "a\r\n");
    EXPECT_EQ(COsString::Trim("     "), "");
    EXPECT_EQ(COsString::Trim(""), "");
}

TEST(COsStringTrim, PatternIsRemovedAsAWholeUnitRepeatedly)
{
    EXPECT_EQ(COsString::TrimEnd("xxabab", "ab"), "xx");
    EXPECT_EQ(COsString::TrimEnd("xxba", "ab"), "xxba");
    EXPECT_EQ(COsString::TrimEnd("abab", "ab"), "");
    EXPECT_EQ(COsString::TrimEnd("ab", "abc"), "ab");
    EXPECT_EQ(COsString::TrimEnd("xaab", "ab"), "xa");   // 'ab' is a unit, not a set of characters
    EXPECT_EQ(COsString::TrimEnd("aab", ""), "aab");
    EXPECT_EQ(COsString::TrimStart("ababxx", "ab"), "xx");
    EXPECT_EQ(COsString::TrimStart("baxx", "ab"), "baxx");
    EXPECT_EQ(COsString::TrimStart("aaa", "aa"), "a");
    EXPECT_EQ(COsString::TrimEnd("a.TXT", ".txt", true), "a");
    EXPECT_EQ(COsString::TrimEnd("a.TXT", ".txt", false), "a.TXT");
    EXPECT_EQ(COsString::TrimEnd("a.TXT", ".txt"), "a.TXT");
    EXPECT_EQ(COsString::TrimStart("WwWx", "w", true), "x");
    // The case-blind trim folds letters only: '_' does not match '\x7F' or any letter.
    EXPECT_EQ(COsString::TrimEnd("a__", "_", true), "a");
    EXPECT_EQ(COsString::TrimEnd("a@@", "`", true), "a@@");
}

TEST(COsStringTrim, LongRunOfPatternsIsRemovedWhole)
{
    std::string text = "keep";
    for (int i = 0; i < 100000; ++i)
        text += "Ab";
    EXPECT_EQ(COsString::TrimEnd(text, "aB", true), "keep");
    EXPECT_EQ(COsString::TrimEnd(text, "aB", false), text);
}

TEST(COsStringTrim, BufferFormsReturnZeroAndReplaceTheOutParameter)
{
    char* result = nullptr;
    EXPECT_EQ(COsString::Trim("  a  ", &result), 0);
    EXPECT_STREQ(result, "a");
    // The text may be the very buffer that the out-parameter holds.
    EXPECT_EQ(COsString::TrimEnd(result, "a", &result), 0);
    EXPECT_STREQ(result, "");
    EXPECT_EQ(COsString::Copy("xxabab", &result), 6);
    EXPECT_EQ(COsString::TrimEnd(result, "AB", true, &result), 0);
    EXPECT_STREQ(result, "xx");
    EXPECT_EQ(COsString::TrimStart("ABx", "ab", &result), 0);
    EXPECT_STREQ(result, "ABx");
    EXPECT_EQ(COsString::TrimStart("ABx", "ab", true, &result), 0);
    EXPECT_STREQ(result, "x");
    delete[] result;
}

TEST(COsStringTrim, BufferFormsLeaveTheOutParameterAloneOnNull)
{
    char* result = nullptr;
    ASSERT_EQ(COsString::Copy("kept", &result), 4);
    char* const held = result;
    EXPECT_EQ(COsString::Trim(nullptr, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimStart(nullptr, "a", &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimStart("a", nullptr, true, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimEnd("a", nullptr, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimEnd(nullptr, "a", false, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(result, held);
    EXPECT_STREQ(result, "kept");
    EXPECT_EQ(COsString::Trim("a", nullptr), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimEnd("a", "a", nullptr), OS_ERR_NULL_ARGUMENT);
    delete[] result;
}

TEST(COsStringCase, OnlyAsciiLettersChangeAndTheTextEndsAtNul)
{
    const std::string utf8 = "gr\xC3\xBC\xC3\x9F" "e \xE4\xB8\xAD z";
    EXPECT_EQ(COsString::ToUpper(utf8), "GR\xC3\xBC\xC3\x9F" "E \xE4\xB8\xAD Z");
    EXPECT_EQ(COsString::ToLower("MiXeD_1@[`"), "mixed_1@[`");
    EXPECT_EQ(COsString::ToUpper(std::string("ab\0cd", 5)), "AB");
}

TEST(COsStringSplit, TwoArgumentFormKeepsEmptyTokensAndSplitsOnTheWholeSeparator)
{
    EXPECT_EQ(COsString::Split("a,,b", ","), (Tokens{"a", "", "b"}));
    EXPECT_EQ(COsString::Split("a,", ","), (Tokens{"a", ""}));
    EXPECT_EQ(COsString::Split("", ","), (Tokens{""}));
    EXPECT_EQ(COsString::Split("a;b,c", ",;"), (Tokens{"a;b,c"}));
    EXPECT_EQ(COsString::Split("a::b:c", "::"), (Tokens{"a", "b:c"}));
    EXPECT_EQ(COsString::Split("ab", ""), (Tokens{"ab"}));
}

TEST(COsStringSplit, FlagsSelectAnyByteOrWholeSeparatorAndDropEmpty)
{
    struct Row { const char* text; const char* separator; bool dropEmpty; bool whole; Tokens expected; };
    const Row rows[] = {
        {"a,,b", ",", true, true, {"a", "b"}},
        {"a;b,c", ",;", false, false, {"a", "b", "c"}},
        {";a;,b,", ",;", false, false, {"", "a", "", "b", ""}},
        {";a;,b,", ",;", true, false, {"a", "b"}},
        {"", ",", true, true, {}},
        {"", ",", true, false, {}},
        {"ab", "", false, false, {"ab"}},
        {"ab", "", false, true, {"ab"}},
        {",,,", ",", true, false, {}},
        {"a-b", "-", false, false, {"a", "b"}},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsString::Split(row.text, row.separator, row.dropEmpty, row.whole), row.expected)
            << row.text << " / " << row.separator << " " << row.dropEmpty << row.whole;
    EXPECT_EQ(COsString::Split(std::string("a\0b,c", 5), ","), (Tokens{std::string("a\0b", 3), "c"}));
}
