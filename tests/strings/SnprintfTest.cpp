// veltrane::snprintf: always terminated, -1 when cut, length up to the first NUL.
#include <gtest/gtest.h>

#include <cstring>

#include <Veltrane.h>

TEST(VeltraneSnprintf, FitsOrReportsMinusOne)
{
    char target[4];
    EXPECT_EQ(veltrane::snprintf(target, sizeof target, "%d", 123), 3);
    EXPECT_STREQ(target, "123");
    EXPECT_EQ(veltrane::snprintf(target, sizeof target, "%d", 1234), -1);
    EXPECT_STREQ(target, "123");
}

TEST(VeltraneSnprintf, EmptyExpansionZeroesTheWholeTarget)
{
    char target[4] = {'x', 'y', 'z', 'w'};
    EXPECT_EQ(veltrane::snprintf(target, sizeof target, "%s", ""), 0);
    EXPECT_EQ(std::memcmp(target, "\0\0\0\0", 4), 0);
}

TEST(VeltraneSnprintf, CountStopsAtACharacterOfValueZero)
{
    char target[8];
    EXPECT_EQ(veltrane::snprintf(target, sizeof target, "ab%cde", 0), 2);
    EXPECT_EQ(std::memcmp(target, "ab\0de", 6), 0);
}

TEST(VeltraneSnprintf, SizeOneHoldsOnlyTheTerminator)
{
    char target[1] = {'x'};
    EXPECT_EQ(veltrane::snprintf(target, 1, "a"), -1);
    EXPECT_EQ(target[0], '\0');
    EXPECT_EQ(veltrane::snprintf(target, 0, "a"), -1);
}
