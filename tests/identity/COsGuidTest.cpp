// COsGuid: text form, version and variant digits, uniqueness.
#include <gtest/gtest.h>

#include <set>

#include <Veltrane.h>

TEST(COsGuid, ThousandCallsGiveThousandVersionFourTextsOfCapitalHexDigitsAndDashes)
{
    std::set<std::string> seen;
    for (int n = 0; n < 1000; ++n) {
        const std::string guid = COsGuid::NewGuid();
        std::string shape;
        for (char c : guid)
            shape += (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') ? 'h' : c;
        ASSERT_EQ(shape, "hhhhhhhh-hhhh-hhhh-hhhh-hhhhhhhhhhhh") << guid;
        ASSERT_EQ(guid[14], '4') << guid;
        ASSERT_NE(std::string("89AB").find(guid[19]), std::string::npos) << guid;
        seen.insert(guid);
    }
    EXPECT_EQ(seen.size(), 1000u);
}
