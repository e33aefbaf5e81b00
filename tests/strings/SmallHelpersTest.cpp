// COsNumeric, COsContainer and the plain helpers: tolerance edges, owned vectors, bounded copies, search.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include <Veltrane.h>

TEST(COsNumeric, ToleranceIsAbsoluteAndExclusiveAndNanPassesOnlyTheInclusiveTests)
{
    // Flags in the order IsPositive, IsNegative, IsZero of a - b, then IsEqual, IsGreater, IsGreaterEqual,
    // IsLess, IsLessEqual of a and b.
    const double nan = std::nan("");
    struct Row { double a; double b; const char* flags; };
    const Row rows[] = {
        {1.0 + 5e-11, 1.0, "00110101"},
        {2e-10, 0.0, "10001100"},
        {1e-10, 0.0, "00000101"},          // exactly the tolerance: neither equal nor greater
        {0.0, 1e-10, "00000101"},
        {0.0, 3e-10, "01000011"},
        {1e20 + 1e5, 1e20, "10001100"},    // absolute, not relative
        {nan, 1.0, "00000101"},
        {1.0, nan, "00000101"},
    };
    for (const Row& row : rows) {
        const double d = row.a - row.b;
        const bool results[] = {COsNumeric::IsPositive(d), COsNumeric::IsNegative(d), COsNumeric::IsZero(d),
                                COsNumeric::IsEqual(row.a, row.b), COsNumeric::IsGreater(row.a, row.b),
                                COsNumeric::IsGreaterEqual(row.a, row.b), COsNumeric::IsLess(row.a, row.b),
                                COsNumeric::IsLessEqual(row.a, row.b)};
        std::string flags;
        for (bool result : results)
            flags += result ? '1' : '0';
        EXPECT_EQ(flags, row.flags) << row.a << " - " << row.b;
    }
}

TEST(COsContainer, CopyDuplicatesNonNullStringsIntoAClearedTargetAndClearReleasesThem)
{
    // ASan reports a leak or a bad delete wherever an element is mishandled.
    char first[] = "one";
    char empty[] = "";
    std::vector<char*> target{new char[5](), nullptr};
    COsContainer::Copy({first, nullptr, empty}, &target);
    ASSERT_EQ(target.size(), 2u);
    EXPECT_STREQ(target[0], "one");
    EXPECT_NE(target[0], first);   // a copy, not the caller's string
    EXPECT_STREQ(target[1], "");
    EXPECT_NE(target[1], empty);
    COsContainer::Copy({first}, nullptr);
    target.push_back(nullptr);
    COsContainer::Clear(&target);
    EXPECT_TRUE(target.empty());
    COsContainer::Clear(nullptr);
}

TEST(BoundedCopy, CopiesOrAppendsWithinSizeAndCutsAndTerminatesOtherwise)
{
    struct Row { int (*function)(char*, size_t, const char*); const char* before; size_t size; const char* source; int result; const char* after; };
    const Row rows[] = {
        {strcpyz, "xxxx", 4, "abc", 0, "abc"},
        {strcpyz, "xxxx", 4, "abcd", -1, "abc"},
        {strcpyz, "kep", 4, nullptr, -3, "kep"},
        {strcatz, "abc", 6, "de", 0, "abcde"},
        {strcatz, "abc", 6, "def", -1, "abcde"},
        {strcatz, "abc", 6, nullptr, -2, "abc"},
        {strcatz, "pqrs", 4, "xy", -1, "pqr"},   // no terminator: appended at the last byte
        {strcatz, "pqrs", 4, "", 0, "pqr"},
    };
    for (const Row& row : rows) {
        std::vector<char> target(row.size);   // exactly size bytes, so that ASan sees a write beyond them
        std::memcpy(target.data(), row.before, std::min(std::strlen(row.before) + 1, row.size));
        EXPECT_EQ(row.function(target.data(), row.size, row.source), row.result) << row.before << " + " << (row.source ? row.source : "null");
        EXPECT_STREQ(target.data(), row.after) << row.before << " + " << (row.source ? row.source : "null");
    }
    EXPECT_EQ(strcpyz(nullptr, 4, "a"), -2);
    EXPECT_EQ(strcatz(nullptr, 6, "a"), -1);
}

TEST(Memsetz, FillsOrRefusesNull)
{
    unsigned char target[3] = {1, 2, 3};
    EXPECT_EQ(memsetz(target, 2, 0xEE), 0);
    EXPECT_EQ(std::memcmp(target, "\xEE\xEE\x03", 3), 0);
    EXPECT_EQ(memsetz(target, 0, 0), 0);
    EXPECT_EQ(target[0], 0xEE);
    EXPECT_EQ(memsetz(nullptr, 4, 0), -1);
}

TEST(Stristr, FirstMatchWithAsciiLettersInEitherCaseOnly)
{
    const char text[] = "xAbab";
    EXPECT_EQ(stristr(text, "AB"), text + 1);
    EXPECT_EQ(stristr(text, "BAB"), text + 2);
    EXPECT_EQ(stristr(text, ""), text);
    EXPECT_EQ(stristr("abc", "abcd"), nullptr);
    EXPECT_EQ(stristr("", ""), nullptr);
    EXPECT_EQ(stristr(nullptr, "a"), nullptr);
    EXPECT_EQ(stristr("a", nullptr), nullptr);
    // Bytes that differ by 0x20 but are not letters do not match; bytes above 0x7F match themselves.
    EXPECT_EQ(stristr("@", "`"), nullptr);
    EXPECT_EQ(stristr("[", "{"), nullptr);
    EXPECT_EQ(stristr("\xC1", "\xE1"), nullptr);
    const char accented[] = "x\xE1y";
    EXPECT_EQ(stristr(accented, "\xE1Y"), accented + 1);
}

TEST(Compareversion, ComponentsAreNumbersAndTheTailIsDecimal)
{
    struct Row { const char* first; const char* second; int expected; };
    const Row rows[] = {
        {"1.2", "1.2", 0},
        {"2.0", "10.0", -1},
        {"", "", 0},
        {"", "1", -1},
        {"a.1", "b.1", 0},
        {"1.2", "1.2.3", -1},        // 2 against 2.3
        {"1.2", "1.2.0", 0},         // 2 against 2.0
        {"1.10", "1.9", 1},
        {"1.2.3.4", "1.2.10", -1},   // 3.4 against 10
        {"1..2", "1..3", -1},
        {"0.9.1", ".7.1", -1},       // the dot behind the first 0 is read as an empty component: 0 meets 7
    };
    for (const Row& row : rows) {
        EXPECT_EQ(compareversion(row.first, row.second), row.expected) << row.first << " / " << row.second;
        EXPECT_EQ(compareversion(row.second, row.first), -row.expected) << row.second << " / " << row.first;
    }
    EXPECT_EQ(compareversion(nullptr, "1"), -1);
    EXPECT_EQ(compareversion("1", nullptr), -1);
}
