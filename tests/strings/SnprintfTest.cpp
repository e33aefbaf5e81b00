// veltrane::snprintf: always terminated, -1 when cut, length up to the first NUL.
#include <gtest/gtest.h>

#include <cstring>

#include <Veltrane.h>

TEST(VeltraneSnprintf, ZeroFillsTheTargetCountsToTheFirstNulAndGivesMinusOneWhenCut)
{
    char target[8];
    std::memset(target, 'x', sizeof target);
    EXPECT_EQ(veltrane::snprintf(target, 4, "%d", 123), 3);
    EXPECT_STREQ(target, "123");
    EXPECT_EQ(veltrane::snprintf(target, 4, "%d", 1234), -1);
    EXPECT_EQ(std::memcmp(target, "123\0xxxx", 8), 0);   // cut and terminated, nothing written past size
    std::memcpy(target, "wxyz", 4);
    EXPECT_EQ(veltrane::snprintf(target, 4, "%s", ""), 0);
    EXPECT_EQ(std::memcmp(target, "\0\0\0\0xxxx", 8), 0);
    EXPECT_EQ(veltrane::snprintf(target, sizeof target, "ab%cde", 0), 2);
    EXPECT_EQ(std::memcmp(target, "ab\0de", 6), 0);
    target[0] = 'x';
    EXPECT_EQ(veltrane::snprintf(target, 1, "a"), -1);
    EXPECT_EQ(target[0], '\0');
    target[0] = 'x';
    EXPECT_EQ(veltrane::snprintf(target, 0, "a"), -1);
    EXPECT_EQ(target[0], 'x');
}
