// COsString: comparison orders, bounded copies, replace, repeated-pattern trims, case change and split.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <Veltrane.h>

#include "tests/support/LargeMemory.h"

namespace {

using Tokens = std::vector<std::string>;

constexpr size_t kNoCount = SIZE_MAX;   // a row for the forms without a count

}  // namespace

TEST(COsStringCompare, ExactBytesGiveMinusOneZeroOrOneAsUnsignedWithinTheCount)
{
    struct Row { const char* first; const char* second; size_t count; int expected; };
    const Row rows[] = {
        {"abc", "ABC", kNoCount, 1},     // 0x61 above 0x41
        {"", "", kNoCount, 0},
        {"az", "a", kNoCount, 1},        // the shorter text ends first
        {"\xC0", "a", kNoCount, 1},      // bytes above 0x7F compare as unsigned
        {"a", "z", kNoCount, -1},        // a difference of 25 is brought to -1
        {"abcX", "abcY", 3, 0},
        {"abcX", "abcY", 4, -1},
        {"abcX", "abcY", 0, 0},
        {"ab", "abc", 100, -1},
    };
    auto compare = [](const auto& first, const auto& second, size_t count) {
        return count == kNoCount ? COsString::Compare(first, second, false) : COsString::Compare(first, second, count, false);
    };
    for (const Row& row : rows) {
        EXPECT_EQ(compare(row.first, row.second, row.count), row.expected) << row.first << " / " << row.second << " " << row.count;
        EXPECT_EQ(compare(std::string(row.first), std::string(row.second), row.count), row.expected) << row.first << " / " << row.second;
    }
    // A NUL inside a standard string ends its text.
    EXPECT_EQ(COsString::Compare(std::string("ab\0c", 4), std::string("ab"), false), 0);
    EXPECT_EQ(COsString::Compare("a", nullptr, false), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::Compare(nullptr, "a", true), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::Compare("a", nullptr, 0, false), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::Compare(nullptr, nullptr, 3, true), OS_ERR_NULL_ARGUMENT);
}

TEST(COsStringCompare, IgnoringCaseFoldsAsciiLettersOnlyAndGivesTheFoldedDifference)
{
    // Every pair of bytes, behind a run of letters that differ only in case and long enough for the
    // comparison to go over whole blocks first, through the standard-string and the pointer forms.
    auto fold = [](int byte) { return byte >= 'A' && byte <= 'Z' ? byte + 32 : byte; };
    std::string first(300, 'q');
    std::string second(300, 'Q');
    for (int left = 0; left < 256; ++left)
        for (int right = 0; right < 256; ++right) {
            first[150] = static_cast<char>(left);
            second[150] = static_cast<char>(right);
            ASSERT_EQ(COsString::Compare(first, second, true), fold(left) - fold(right)) << left << " / " << right;
            ASSERT_EQ(COsString::Compare(first.c_str(), second.c_str(), true), fold(left) - fold(right)) << left << " / " << right;
        }
    first[150] = 'x';
    second[150] = 'Q';
    EXPECT_EQ(COsString::Compare(first, second, 150, true), 0);
    EXPECT_EQ(COsString::Compare(first, second, 151, true), 'x' - 'q');
    EXPECT_EQ(COsString::Compare(first.c_str(), second.c_str(), 151, true), 'x' - 'q');
    // A NUL that both texts hold at the same place ends the comparison, whatever differs behind it.
    first[10] = second[10] = '\0';
    EXPECT_EQ(COsString::Compare(first, second, true), 0);
}

TEST(COsStringCopy, CopiesAtMostCountIntoANewBufferAndReleasesTheOldOneFirst)
{
    char* buffer = nullptr;
    EXPECT_EQ(COsString::Copy("abc", 100, &buffer), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(COsString::Copy("abcdef", 2, &buffer), 2);   // ASan reports the earlier buffer if it is not released
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(COsString::Copy("", &buffer), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(COsString::Copy("abc", 0, &buffer), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(COsString::Copy(nullptr, &buffer), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(buffer, nullptr);
    ASSERT_EQ(COsString::Copy("earlier", &buffer), 7);
    EXPECT_EQ(COsString::Copy(nullptr, 3, &buffer), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(buffer, nullptr);
    // The standard-string forms go by the size and keep embedded NULs.
    const std::string text("ab\0cd", 5);
    EXPECT_EQ(COsString::Copy(text), text);
    EXPECT_EQ(COsString::Copy(text, 4), std::string("ab\0c", 4));
    EXPECT_EQ(COsString::Copy(text, 50), text);
}

TEST(COsStringCopy, ALengthTheResultCannotCountIsOutOfRangeAndStoresNothing)
{
    // 2 GiB + 10 bytes, mapped from one repeated block rather than allocated.
    const veltrane_test::RepeatedText text(size_t{1} << 31 | 10, 'a');
    ASSERT_FALSE(text.Empty());
    char* buffer = nullptr;
    ASSERT_EQ(COsString::Copy("earlier", &buffer), 7);
    EXPECT_EQ(COsString::Copy(text.Data(), &buffer), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(COsString::Copy(text.Data(), text.Length() - 3, &buffer), OS_ERR_OUT_OF_RANGE);
    EXPECT_EQ(buffer, nullptr);
    // A count within range copies that much of the same text.
    EXPECT_EQ(COsString::Copy(text.Data(), 5, &buffer), 5);
    EXPECT_STREQ(buffer, "aaaaa");
    delete[] buffer;
}

TEST(COsStringReplace, InsertedTextIsNeverSearchedAgain)
{
    struct Row { const char* text; const char* pattern; const char* replacement; const char* expected; };
    const Row rows[] = {
        {"aaa", "a", "aa", "aaaaaa"},
        {"aXbXc", "X", "", "abc"},
        {"abc", "", "z", "abc"},
        {"aaaa", "aa", "b", "bb"},          // hits do not overlap
        {"abab", "ab", "bab", "babbab"},    // 'ab' formed across a replacement is not found
        {"xyz", "xyzw", "q", "xyz"},
    };
    for (const Row& row : rows)
        EXPECT_EQ(COsString::Replace(row.text, row.pattern, row.replacement), row.expected)
            << row.text << " / " << row.pattern << " / " << row.replacement;
    EXPECT_EQ(COsString::Replace(std::string("a\0a", 3), "a", "b"), std::string("b\0b", 3));
}

TEST(COsStringTrim, PatternIsRemovedAsAWholeUnitRepeatedlyAndTrimTakesOnlySpaces)
{
    EXPECT_EQ(COsString::Trim("  a b  "), "a b");
    EXPECT_EQ(COsString::Trim("\ta "), "\ta");
    EXPECT_EQ(COsString::Trim("     "), "");
    EXPECT_EQ(COsString::TrimEnd("xxabab", "ab"), "xx");
    EXPECT_EQ(COsString::TrimEnd("xxba", "ab"), "xxba");   // 'ab' is a unit, not a set of characters
    EXPECT_EQ(COsString::TrimEnd("abab", "ab"), "");
    EXPECT_EQ(COsString::TrimEnd("ab", "abc"), "ab");
    EXPECT_EQ(COsString::TrimEnd("aab", ""), "aab");
    EXPECT_EQ(COsString::TrimStart("ababxx", "ab"), "xx");
    EXPECT_EQ(COsString::TrimStart("aaa", "aa"), "a");
    EXPECT_EQ(COsString::TrimEnd("a.TXT", ".txt", true), "a");
    EXPECT_EQ(COsString::TrimEnd("a.TXT", ".txt", false), "a.TXT");
    EXPECT_EQ(COsString::TrimEnd("a.TXT", ".txt"), "a.TXT");
    EXPECT_EQ(COsString::TrimStart("WwWx", "w", true), "x");
    EXPECT_EQ(COsString::TrimEnd("a@@", "`", true), "a@@");   // the case-blind trim folds letters only
}

TEST(COsStringTrim, BufferFormsReturnZeroAndReplaceTheOutParameterUnlessAnArgumentIsNull)
{
    char* result = nullptr;
    EXPECT_EQ(COsString::Trim("  a  ", &result), 0);
    EXPECT_STREQ(result, "a");
    EXPECT_EQ(COsString::TrimEnd(result, "a", &result), 0);   // the text may be the very buffer held there
    EXPECT_STREQ(result, "");
    EXPECT_EQ(COsString::Copy("xxabab", &result), 6);
    EXPECT_EQ(COsString::TrimEnd(result, "AB", true, &result), 0);
    EXPECT_STREQ(result, "xx");
    EXPECT_EQ(COsString::TrimStart("ABx", "ab", &result), 0);
    EXPECT_STREQ(result, "ABx");
    EXPECT_EQ(COsString::TrimStart("ABx", "ab", true, &result), 0);
    EXPECT_STREQ(result, "x");
    char* const held = result;
    EXPECT_EQ(COsString::Trim(nullptr, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimStart(nullptr, "a", &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimStart("a", nullptr, true, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimEnd("a", nullptr, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(COsString::TrimEnd(nullptr, "a", false, &result), OS_ERR_NULL_ARGUMENT);
    EXPECT_EQ(result, held);
    EXPECT_STREQ(result, "x");
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

TEST(COsStringSplit, FlagsSelectAnyByteOrWholeSeparatorAndDropEmpty)
{
    // Rows without drop-empty and with the whole separator also go through the two-argument form.
    struct Row { const char* text; const char* separator; bool dropEmpty; bool whole; Tokens expected; };
    const Row rows[] = {
        {"a,,b", ",", false, true, {"a", "", "b"}},
        {"a,,b", ",", true, true, {"a", "b"}},
        {"a,", ",", false, true, {"a", ""}},
        {"", ",", false, true, {""}},
        {"", ",", true, false, {}},
        {"a;b,c", ",;", false, true, {"a;b,c"}},
        {"a;b,c", ",;", false, false, {"a", "b", "c"}},
        {"a::b:c", "::", false, true, {"a", "b:c"}},
        {";a;,b,", ",;", false, false, {"", "a", "", "b", ""}},
        {";a;,b,", ",;", true, false, {"a", "b"}},
        {"ab", "", false, false, {"ab"}},
        {"ab", "", false, true, {"ab"}},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(COsString::Split(row.text, row.separator, row.dropEmpty, row.whole), row.expected)
            << row.text << " / " << row.separator << " " << row.dropEmpty << row.whole;
        if (!row.dropEmpty && row.whole) {
            EXPECT_EQ(COsString::Split(row.text, row.separator), row.expected) << row.text << " / " << row.separator;
        }
    }
    EXPECT_EQ(COsString::Split(std::string("a\0b,c", 5), ","), (Tokens{std::string("a\0b", 3), "c"}));
}
