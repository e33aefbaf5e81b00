// COsEncoding between UTF-8 and UTF-16 on long runs: runs of ASCII and of three-byte forms are taken many
// units at a time, so an edge sequence inside such a run must convert exactly as it does on its own.
#include <gtest/gtest.h>

#include <string>

#include <Veltrane.h>

#include "tests/support/TextConversions.h"

namespace {

using veltrane_test::ToUtf16;
using veltrane_test::ToUtf8;

template <typename Text>
Text Repeat(const Text& piece, size_t times)
{
    Text text;
    for (size_t i = 0; i < times; ++i)
        text += piece;
    return text;
}

// A piece of each kind of run the fast paths take, in both forms. The edge sequences go after 16 to 31
// pieces, so that they meet every place of the blocks that the runs are taken in.
struct TextRun {
    const char* name;
    std::string utf8;
    std::u16string utf16;
};

const TextRun kRuns[] = {
    {"ASCII", "a", u"a"},
    {"Chinese", "\xE4\xB8\xAD", u"\u4E2D"},
    {"Hindi", "\xE0\xA4\x95", u"\u0915"},
    {"Chinese after ASCII", "a\xE4\xB8\xAD", u"a\u4E2D"},
};

TEST(Utf8Runs, EdgeSequencesDecodeInsideRunsAsOnTheirOwn)
{
    // The limits of the three-byte forms, the ill-formed sequences next to them, and the other lengths.
    const std::string sequences[] = {
        "\xE0\xA0\x80",      "\xED\x9F\xBF", "\xEE\x80\x80",     "\xEF\xBF\xBF", "\xE0\x9F\xBF", "\xED\xA0\x80",
        "\xE4\xB8",          "\xE4\xB8z",    "\xE4\x41\x80",     "\x80",         "\xBF\xBF",     "\xFF",
        "\xC0\xAF",          "\xC3\xA9",     "\xF0\x9F\x98\x80", "\xF4\x90\x80\x80", "\xF0\x9F\x98", "z"};
    for (const TextRun& run : kRuns) {
        for (const std::string& sequence : sequences) {
            std::u16string alone = ToUtf16(sequence);
            for (size_t offset = 0; offset < 16; ++offset) {
                SCOPED_TRACE(std::string(run.name) + " offset " + std::to_string(offset) + " sequence " + sequence);
                std::string text = Repeat(run.utf8, 16 + offset) + sequence + Repeat(run.utf8, 16);
                int status = 0;
                std::u16string converted = ToUtf16(text, &status);
                std::u16string expected = Repeat(run.utf16, 16 + offset) + alone + Repeat(run.utf16, 16);
                EXPECT_EQ(converted, expected);
                EXPECT_EQ(status, static_cast<int>(expected.size()) + 1);
            }
        }
    }
}

TEST(Utf8Runs, LongIllFormedTextsGetOneReplacementPerBrokenSequence)
{
    // Continuation bytes start no character and four-byte leads count two units when the text is well
    // formed; a text made of them alone must still come out whole.
    EXPECT_EQ(ToUtf16(std::string(40, '\x80')), std::u16string(40, u'\uFFFD'));
    EXPECT_EQ(ToUtf16(std::string(40, '\xF0')), std::u16string(40, u'\uFFFD'));
    EXPECT_EQ(ToUtf16(Repeat(std::string("\xF0\x9F"), 20) + "abc"), std::u16string(20, u'\uFFFD') + u"abc");
}

TEST(Utf8Runs, EdgeUnitsEncodeInsideRunsAsOnTheirOwn)
{
    const std::u16string units[] = {u"\u007F", u"\u0080", u"\u07FF", u"\u0800", u"\uD7FF", u"\uE000", u"\uFFFF",
                                    u"\xD800",  u"\xDBFF\xDC00", u"\xDC00", u"\xD800x", u"\xD83D\xDE00"};
    for (const TextRun& run : kRuns) {
        for (const std::u16string& unit : units) {
            std::string alone = ToUtf8(unit);
            for (size_t offset = 0; offset < 16; ++offset) {
                SCOPED_TRACE(std::string(run.name) + " offset " + std::to_string(offset) + " unit " +
                             std::to_string(static_cast<unsigned>(unit[0])));
                std::u16string text = Repeat(run.utf16, 16 + offset) + unit + Repeat(run.utf16, 16);
                int status = 0;
                std::string converted = ToUtf8(text, &status);
                std::string expected = Repeat(run.utf8, 16 + offset) + alone + Repeat(run.utf8, 16);
                EXPECT_EQ(converted, expected);
                EXPECT_EQ(status, static_cast<int>(expected.size()) + 1);
            }
        }
    }
}

}  // namespace
