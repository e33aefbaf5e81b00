// COsNumeric, COsContainer and the plain helpers: tolerance edges, owned vectors, bounded copies, search.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include <Veltrane.h>

TEST(COsNumeric, ToleranceIsAbsoluteAndExclusive)
{
    EXPECT_TRUE(COsNumeric::IsEqual(1.0, 1.0 + 5e-11));
    EXPECT_FALSE(COsNumeric::IsEqual(1.0, 1.0 + 2e-10));
    EXPECT_TRUE(COsNumeric::IsZero(1e-11));
    EXPECT_FALSE(COsNumeric::IsPositive(1e-11));
    EXPECT_TRUE(COsNumeric::IsPositive(2e-10));
    EXPECT_TRUE(COsNumeric::IsNegative(-2e-10));
    EXPECT_FALSE(COsNumeric::IsEqual(1e20, 1e20 + 1e5));   // absolute, not relative
    // d exactly the tolerance: neither equal nor greater, both inclusive tests hold.
    const double tolerance = 1e-10;
    EXPECT_FALSE(COsNumeric::IsEqual(tolerance, 0.0));
    EXPECT_FALSE(COsNumeric::IsGreater(tolerance, 0.0));
    EXPECT_TRUE(COsNumeric::IsGreaterEqual(tolerance, 0.0));
    EXPECT_TRUE(COsNumeric::IsLessEqual(tolerance, 0.0));
    EXPECT_FALSE(COsNumeric::IsLess(0.0, tolerance));
    EXPECT_TRUE(COsNumeric::IsLess(0.0, 3e-10));
    EXPECT_FALSE(COsNumeric::IsLessEqual(3e-10, 0.0));
    EXPECT_FALSE(COsNumeric::IsGreaterEqual(0.0, 3e-10));
}

TEST(COsNumeric, NanFailsStrictTestsAndPassesInclusiveOnes)
{
    const double nan = std::nan("");
    EXPECT_FALSE(COsNumeric::IsPositive(nan));
    EXPECT_FALSE(COsNumeric::IsNegative(nan));
    EXPECT_FALSE(COsNumeric::IsZero(nan));
    EXPECT_FALSE(COsNumeric::IsEqual(nan, 1.0));
    EXPECT_FALSE(COsNumeric::IsGreater(nan, 1.0));
    EXPECT_FALSE(COsNumeric::IsLess(1.0, nan));
    EXPECT_TRUE(COsNumeric::IsGreaterEqual(nan, 1.0));
    EXPECT_TRUE(COsNumeric::IsLessEqual(1.0, nan));
}

TEST(COsContainer, ClearReleasesNonNullElementsAndEmpties)
{
    std::vector<char*> strings{new char[3](), nullptr, new char[1]()};
    COsContainer::Clear(&strings);   // ASan reports a leak or a bad delete if an element is mishandled
    EXPECT_TRUE(strings.empty());
    COsContainer::Clear(nullptr);
}

TEST(COsContainer, CopyDuplicatesNonNullStringsIntoAClearedTarget)
{
    char first[] = "one";
    char empty[] = "";
    std::vector<char*> source{first, nullptr, empty};
    std::vector<char*> target{new char[5]()};
    COsContainer::Copy(source, &target);
    ASSERT_EQ(target.size(), 2u);
    EXPECT_STREQ(target[0], "one");
    EXPECT_NE(target[0], first);   // a copy, not the caller's string
    EXPECT_STREQ(target[1], "");
    EXPECT_NE(target[1], empty);
    EXPECT_STREQ(first, "one");    // the source's strings stay with their owner
    COsContainer::Copy(source, nullptr);
    COsContainer::Clear(&target);
}

TEST(Strcpyz, CopiesOrCutsAndTerminates)
{
    char target[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(strcpyz(target, sizeof target, "abc"), 0);
    EXPECT_STREQ(target, "abc");
    EXPECT_EQ(strcpyz(target, sizeof target, "abcd"), -1);
    EXPECT_STREQ(target, "abc");
    EXPECT_EQ(strcpyz(target, sizeof target, ""), 0);
    EXPECT_STREQ(target, "");
    EXPECT_EQ(strcpyz(nullptr, 4, "a"), -2);
    std::memcpy(target, "kep", 4);
    EXPECT_EQ(strcpyz(target, sizeof target, nullptr), -3);
    EXPECT_STREQ(target, "kep");
}

TEST(Strcatz, AppendsWithinTheTarget)
{
    char target[6] = "abc";
    EXPECT_EQ(strcatz(target, sizeof target, "de"), 0);
    EXPECT_STREQ(target, "abcde");
    std::memcpy(target, "abc", 4);
    EXPECT_EQ(strcatz(target, sizeof target, "def"), -1);
    EXPECT_STREQ(target, "abcde");
    EXPECT_EQ(strcatz(nullptr, 6, "a"), -1);
    EXPECT_EQ(strcatz(target, sizeof target, nullptr), -2);
    EXPECT_STREQ(target, "abcde");
}

TEST(Strcatz, TargetWithoutTerminatorIsAppendedAtItsLastByte)
{
    char target[4] = {'p', 'q', 'r', 's'};
    EXPECT_EQ(strcatz(target, sizeof target, "xy"), -1);
    EXPECT_EQ(std::memcmp(target, "pqr\0", 4), 0);
    char other[4] = {'p', 'q', 'r', 's'};
    EXPECT_EQ(strcatz(other, sizeof other, ""), 0);
    EXPECT_EQ(std::memcmp(other, "pqr\0", 4), 0);
}

TEST(Memsetz, FillsOrRefusesNull)
{
    unsigned char target[3] = {1, 2, 3};
    EXPECT_EQ(memsetz(target, 2, 0xEE), 0);
    EXPECT_EQ(target[0], 0xEE);
    EXPECT_EQ(target[1], 0xEE);
    EXPECT_EQ(target[2], 3);
    EXPECT_EQ(memsetz(target, 0, 0), 0);
    EXPECT_EQ(target[0], 0xEE);
    EXPECT_EQ(memsetz(nullptr, 4, 0), -1);
}

TEST(Stristr, MatchesAsciiLettersInEitherCaseOnly)
{
    const char text[] = "Hello World";
    EXPECT_EQ(stristr(text, "WORLD"), text + 6);
    EXPECT_EQ(stristr(text, "o w"), text + 4);
    EXPECT_EQ(stristr(text, ""), text);
    EXPECT_EQ(stristr("abc", "abcd"), nullptr);
    EXPECT_EQ(stristr("", ""), nullptr);
    EXPECT_EQ(stristr("abc", "x"), nullptr);
    EXPECT_EQ(stristr(nullptr, "a"), nullptr);
    EXPECT_EQ(stristr("a", nullptr), nullptr);
    // Bytes that differ by 0x20 but are not letters do not match.
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
        {"1.2.3", "1.2.4", -1},
        {"1.2.10", "1.2.9", 1},
        {"1.2", "1.2", 0},
        {"2.0", "10.0", -1},
        {"", "", 0},
        {"", "1", -1},
        {"a.1", "b.1", 0},
        {"1.2", "1.2.3", -1},        // 2 against 2.3
        {"1.2", "1.2.0", 0},         // 2 against 2.0
        {"1.10", "1.9", 1},
        {"1.2.3.4", "1.2.10", -1},   // 3.4 against 10
        {"3", "2.9", 1},
        {"1..2", "1..3", -1},
        {"1.5", "1.40", -1},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(compareversion(row.first, row.second), row.expected) << row.first << " / " << row.second;
        EXPECT_EQ(compareversion(row.second, row.first), -row.expected) << row.second << " / " << row.first;
    }
    EXPECT_EQ(compareversion(nullptr, "1"), -1);
    EXPECT_EQ(compareversion("1", nullptr), -1);
}
