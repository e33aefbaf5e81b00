// The byte comparisons, bounded length and separator search that the string classes share.
#include "strings/TextBytes.h"

namespace veltrane::text {

namespace {

constexpr size_t kBlock = 16;
constexpr size_t kBlocksPerStep = 8;
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

// True when a whole step of both texts agrees after folding and the first holds no NUL, so the
// comparison goes on. Two bytes agree when they are equal, or differ in bit 0x20 alone and are letters:
// the bits in which they differ, less bit 0x20 where the first is a letter, must be none. The smallest
// byte of the first text tells whether a NUL came by.
bool StepAgrees(const char* first, const char* second)
{
    Bytes16 mismatches = {};
    Bytes16 smallest = LoadBlock(first);
    for (size_t block = 0; block < kBlocksPerStep; ++block) {
        Bytes16 left = LoadBlock(first + block * kBlock);
        Bytes16 right = LoadBlock(second + block * kBlock);
        Bytes16 caseBit = LetterBytes(left | 0x20) & 0x20;
        mismatches |= (left ^ right) & ~caseBit;
        smallest = Smaller(smallest, left);
    }
    Bytes16 stop = mismatches | reinterpret_cast<Bytes16>(smallest == 0);
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
    // strcmp where there is no bound, so that no count reaching the end of the address space is handed on.
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
