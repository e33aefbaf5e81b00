// The byte comparisons, bounded length and separator search that the string classes share.
#include "strings/TextBytes.h"

namespace veltrane::text {

namespace {

constexpr size_t kBlock = 16;
constexpr size_t kBlocksPerStep = 4;
constexpr size_t kStep = kBlock * kBlocksPerStep;
typedef unsigned char Bytes16 __attribute__((vector_size(kBlock)));
typedef signed char SignedBytes16 __attribute__((vector_size(kBlock)));

Bytes16 LoadBlock(const char* bytes)
{
    Bytes16 block;
    std::memcpy(&block, bytes, kBlock);
    return block;
}

// All ones where the byte, folded to lower case, is a letter: 'a'..'z' are shifted to the bottom of the
// signed range, so that one signed comparison finds them.
Bytes16 LetterBytes(Bytes16 lowered)
{
    SignedBytes16 shifted = reinterpret_cast<SignedBytes16>(lowered + static_cast<unsigned char>(0x80 - 'a'));
    return reinterpret_cast<Bytes16>(shifted < static_cast<signed char>(-0x80 + 26));
}

Bytes16 Smaller(Bytes16 first, Bytes16 second)
{
    return first < second ? first : second;
}

// Zero bytes where the comparison must stop: the bytes differ after folding, or the first text ends.
// Two bytes agree when they are equal, or differ in bit 0x20 alone and are letters; the mask of that is
// all ones where they agree, so its minimum with the first text is zero exactly there or at a NUL.
Bytes16 AgreeBytes(const char* first, const char* second)
{
    Bytes16 left = LoadBlock(first);
    Bytes16 right = LoadBlock(second);
    Bytes16 difference = left ^ right;
    Bytes16 caseOnly = reinterpret_cast<Bytes16>(difference == 0x20) & LetterBytes(left | 0x20);
    Bytes16 agree = reinterpret_cast<Bytes16>(difference == 0) | caseOnly;
    return Smaller(agree, left);
}

// True when a whole step of both texts agrees after folding and holds no NUL, so the comparison goes on.
bool StepAgrees(const char* first, const char* second)
{
    Bytes16 agree = AgreeBytes(first, second);
    for (size_t block = 1; block < kBlocksPerStep; ++block)
        agree = Smaller(agree, AgreeBytes(first + block * kBlock, second + block * kBlock));
    Bytes16 stop = reinterpret_cast<Bytes16>(agree == 0);
    uint64_t halves[2];
    std::memcpy(halves, &stop, sizeof halves);
    return (halves[0] | halves[1]) == 0;
}

}  // namespace

int FoldedCompare(const char* first, const char* second, size_t count, size_t readable)
{
    size_t blockEnd = readable < count ? readable : count;
    size_t index = 0;
    while (index + kStep <= blockEnd && StepAgrees(first + index, second + index))
        index += kStep;
    for (; index < count; ++index) {
        unsigned char left = FoldAscii(static_cast<unsigned char>(first[index]));
        unsigned char right = FoldAscii(static_cast<unsigned char>(second[index]));
        if (left != right)
            return left - right;
        if (left == 0)
            return 0;
    }
    return 0;
}

int ExactCompare(const char* first, const char* second, size_t count)
{
    // strcmp where there is no bound: the bounded search gains nothing and some hosts' strncmp
    // mishandles a count that reaches the end of the address space.
    int difference = count == SIZE_MAX ? std::strcmp(first, second) : std::strncmp(first, second, count);
    return difference < 0 ? -1 : (difference > 0 ? 1 : 0);
}

size_t BoundedLength(const char* text, size_t limit)
{
    return ::strnlen(text, limit);
}

SeparatorFinder::SeparatorFinder(std::string_view separator, bool wholeSeparator)
    : m_szSeparator(separator), m_bWhole(wholeSeparator), m_nStep(wholeSeparator ? separator.size() : 1)
{
    if (!wholeSeparator)
        for (unsigned char byte : separator)
            m_bInSet[byte] = true;
}

size_t SeparatorFinder::Find(std::string_view text, size_t from) const
{
    if (m_szSeparator.size() == 1)
        return text.find(m_szSeparator[0], from);
    if (m_bWhole)
        return text.find(m_szSeparator, from);
    for (size_t index = from; index < text.size(); ++index)
        if (m_bInSet[static_cast<unsigned char>(text[index])])
            return index;
    return std::string_view::npos;
}

}  // namespace veltrane::text
