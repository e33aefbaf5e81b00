// COsGuid: text form, version and variant digits, uniqueness.
#include <gtest/gtest.h>

#include <set>

#include <Veltrane.h>

TEST(COsGuid, TextFormIsThirtySixCapitalHexDigitsAndDashes)
{
    std::string guid = COsGuid::NewGuid();
    ASSERT_EQ(guid.size(), 36u);
    for (size_t i = 0; i < guid.size(); ++i) {
        if (i == 8 || i == 13 || i == 18 || i == 23)
            EXPECT_EQ(guid[i], '-') << guid;
        else
            EXPECT_TRUE((guid[i] >= '0' && guid[i] <= '9') || (guid[i] >= 'A' && guid[i] <= 'F')) << guid;
    }
    EXPECT_EQ(guid[14], '4') << guid;
    EXPECT_NE(std::string("89AB").find(guid[19]), std::string::npos) << guid;
}

TEST(COsGuid, ThousandCallsGiveThousandTexts)
{
    std::set<std::string> seen;
    for (int i = 0; i < 1000; ++i)
        seen.insert(COsGuid::NewGuid());
    EXPECT_EQ(seen.size(), 1000u);
}
