// Replace, whole-separator Split and stristr against their definitions, on texts made to defeat the
// shortcuts of a fast search: long runs of near-matches, periodic patterns, letters in both cases.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include <Veltrane.h>

namespace {

// The definition of a case-blind byte match: equal, or differing in bit 0x20 alone with that bit
// cleared giving a capital letter.
bool BytesMatchIgnoringCase(unsigned char first, unsigned char second)
{
    return first == second || ((first ^ second) == 0x20 && (first & ~0x20) >= 'A' && (first & ~0x20) <= 'Z');
}

// The first position at or behind `from` where the pattern matches whole, tried position by position.
size_t FindByDefinition(const std::string& text, const std::string& pattern, size_t from, bool ignoreCase)
{
    for (size_t start = from; start + pattern.size() <= text.size(); ++start) {
        size_t index = 0;
        while (index < pattern.size() &&
               (ignoreCase ? BytesMatchIgnoringCase(text[start + index], pattern[index])
                           : text[start + index] == pattern[index]))
            ++index;
        if (index == pattern.size())
            return start;
    }
    return std::string::npos;
}

std::string ReplaceByDefinition(const std::string& text, const std::string& pattern, const std::string& replacement)
{
    if (text.empty() || pattern.empty())
        return text;
    std::string result;
    size_t position = 0;
    for (size_t hit = FindByDefinition(text, pattern, 0, false); hit != std::string::npos;
         hit = FindByDefinition(text, pattern, position, false)) {
        result += text.substr(position, hit - position) + replacement;
        position = hit + pattern.size();
    }
    return result + text.substr(position);
}

std::vector<std::string> SplitByDefinition(const std::string& text, const std::string& separator)
{
    std::vector<std::string> tokens;
    size_t position = 0;
    for (size_t hit = FindByDefinition(text, separator, 0, false); hit != std::string::npos;
         hit = FindByDefinition(text, separator, position, false)) {
        tokens.push_back(text.substr(position, hit - position));
        position = hit + separator.size();
    }
    tokens.push_back(text.substr(position));
    return tokens;
}

class Generator
{
public:
    explicit Generator(uint32_t start) : m_nState(start) {}
    uint32_t Next(uint32_t bound)
    {
        m_nState = m_nState * 1103515245u + 12345u;
        return (m_nState >> 8) % bound;
    }
    // `length` bytes of `alphabet`, its first byte `weight` times as likely as each other one.
    std::string Text(size_t length, const std::string& alphabet, uint32_t weight)
    {
        std::string text;
        for (size_t i = 0; i < length; ++i) {
            uint32_t pick = Next(static_cast<uint32_t>(alphabet.size()) - 1 + weight);
            text += alphabet[pick < weight ? 0 : pick - weight + 1];
        }
        return text;
    }

private:
    uint32_t m_nState;
};

}  // namespace

TEST(PatternSearch, ReplaceSplitAndStristrAgreeWithTheirDefinitions)
{
    struct Shape {
        const char* alphabet;
        uint32_t weight;            // how much likelier the first byte is than the others
        size_t textLength, patternLength;
    } shapes[] = {
        {"ab", 1, 300, 3},
        {"aAbB@`", 1, 300, 4},
        {"ab", 40, 3000, 60},       // long runs of 'a': every position is a long near-match
        {"ab", 200, 4000, 700},
        {"aAbZz[{", 3, 2000, 25},
        {"\x80\xA0xX", 2, 500, 6},  // bytes above 0x7F match only themselves
    };
    Generator generator(2024);
    for (const Shape& shape : shapes) {
        for (int round = 0; round < 40; ++round) {
            std::string text = generator.Text(shape.textLength, shape.alphabet, shape.weight);
            size_t patternLength = 1 + generator.Next(static_cast<uint32_t>(shape.patternLength));
            // Half the patterns are cut from the text, so that they occur; some of those are made periodic.
            std::string pattern;
            if (round % 2 == 0 && patternLength < text.size()) {
                pattern = text.substr(generator.Next(static_cast<uint32_t>(text.size() - patternLength)), patternLength);
                if (round % 4 == 0)
                    pattern = (pattern.substr(0, 1 + patternLength / 3) + pattern).substr(0, patternLength);
            } else {
                pattern = generator.Text(patternLength, shape.alphabet, shape.weight);
            }
            SCOPED_TRACE(pattern.substr(0, 60));

            EXPECT_EQ(COsString::Replace(text, pattern, "<>"), ReplaceByDefinition(text, pattern, "<>"));
            EXPECT_EQ(COsString::Split(text, pattern), SplitByDefinition(text, pattern));
            const char* found = stristr(text.c_str(), pattern.c_str());
            size_t expected = FindByDefinition(text, pattern, 0, true);
            EXPECT_EQ(found == nullptr ? std::string::npos : static_cast<size_t>(found - text.c_str()), expected);
        }
    }
}

TEST(PatternSearch, PeriodicPatternsInTextsOfTheirOwnRepetitions)
{
    // A pattern that is one period short of a match at every period boundary, then matches at the end.
    struct Row {
        std::string text, pattern;
        size_t expected;
    } rows[] = {
        {std::string(5000, 'a') + "b", std::string(1000, 'a') + "b", 4000},
        {std::string(5000, 'a'), std::string(1000, 'a') + "b", std::string::npos},
        {std::string(3000, 'A') + "b", std::string(999, 'a') + "B", 2001},
        {[] { std::string t; for (int i = 0; i < 800; ++i) t += "abc"; return t + "abd"; }(),
         [] { std::string p; for (int i = 0; i < 100; ++i) p += "abc"; return p + "abd"; }(), 2100},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.pattern.substr(0, 20));
        const char* found = stristr(row.text.c_str(), row.pattern.c_str());
        EXPECT_EQ(found == nullptr ? std::string::npos : static_cast<size_t>(found - row.text.c_str()), row.expected);
        EXPECT_EQ(COsString::Replace(row.text, row.pattern, "!"), ReplaceByDefinition(row.text, row.pattern, "!"));
    }
}
