// LogFilterList: the toggle, the order and the match of the viewer's words, and the bounds on what they hold.
#include <gtest/gtest.h>

#include <string>

#include "logging/LogFilterList.h"

using Toggled = LogFilterList::Toggled;

TEST(LogFilterList, WordsToggleOnAndOffAndAMessagePassesOnAnyOfThem)
{
    LogFilterList filters;
    EXPECT_TRUE(filters.Passes("anything")) << "an empty list lets everything through";
    EXPECT_EQ(filters.Toggle("abc"), Toggled::Added);
    EXPECT_EQ(filters.Toggle("def"), Toggled::Added);
    EXPECT_TRUE(filters.Passes("xxdefxx"));
    EXPECT_FALSE(filters.Passes("ABC")) << "bytewise, case-sensitive";
    EXPECT_EQ(filters.Toggle("abc"), Toggled::Removed);
    EXPECT_FALSE(filters.Passes("zabcz"));
    EXPECT_EQ(filters.Count(), 1u);
    EXPECT_EQ(filters.Toggle(""), Toggled::Added);
    EXPECT_TRUE(filters.Passes("ABC")) << "the empty word is in every message";
    EXPECT_EQ(filters.Toggle(""), Toggled::Removed);
    filters.Clear();
    EXPECT_EQ(filters.Count(), 0u);
    EXPECT_EQ(filters.Bytes(), 0u);
    EXPECT_TRUE(filters.Passes("ABC"));
}

TEST(LogFilterList, CountAndBytesAreBoundedAndAWordSwitchedOffMakesRoom)
{
    struct
    {
        const char* name;
        size_t wordSize;
        size_t fits;  // words of that size that the list takes
    } rows[] = {
        {"short words meet the count", 4, LogFilterList::kMaxWords},
        {"4 KiB words meet the bytes", 4096, LogFilterList::kMaxBytes / 4096},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        LogFilterList filters;
        auto word = [&](size_t index) {
            std::string text = std::to_string(index);
            return text + std::string(row.wordSize - text.size(), '-');
        };
        for (size_t index = 0; index < row.fits; ++index)
            ASSERT_EQ(filters.Toggle(word(index)), Toggled::Added) << index;
        EXPECT_EQ(filters.Toggle(word(row.fits)), Toggled::Refused);
        EXPECT_EQ(filters.Toggle("x"), Toggled::Refused) << "even a short word";
        EXPECT_EQ(filters.Count(), row.fits);
        EXPECT_EQ(filters.Bytes(), row.fits * row.wordSize);
        EXPECT_FALSE(filters.Passes(word(row.fits))) << "a refused word is no filter";
        EXPECT_EQ(filters.Toggle(word(0)), Toggled::Removed) << "switching off always works";
        EXPECT_EQ(filters.Toggle(word(row.fits)), Toggled::Added);
        EXPECT_TRUE(filters.Passes("<" + word(row.fits) + ">"));
    }
}
