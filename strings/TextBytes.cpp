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

namespace {

// Exact search by first byte and compare gives way to the two-way search once it has compared this many
// bytes more than twice the distance it advanced: ordinary text never comes near, a text made of
// near-matches of a long pattern does at once.
constexpr size_t kCheapCompares = 256;

// The start of the maximal suffix of the pattern (minus one, so a whole-pattern suffix gives SIZE_MAX)
// in the byte order, or in the reversed order; its period goes to `period`. Unsigned arithmetic wraps
// where the start is SIZE_MAX, on purpose.
size_t MaximalSuffix(const unsigned char* pattern, size_t length, bool reversed, size_t& period)
{
    size_t start = SIZE_MAX;
    size_t candidate = 0;
    size_t offset = 1;
    period = 1;
    while (candidate + offset < length) {
        unsigned char left = pattern[start + offset];
        unsigned char right = pattern[candidate + offset];
        if (left == right) {
            if (offset == period) {
                candidate += period;
                offset = 1;
            } else {
                ++offset;
            }
        } else if (reversed ? left < right : left > right) {
            candidate += offset;
            offset = 1;
            period = candidate - start;
        } else {
            start = candidate++;
            offset = period = 1;
        }
    }
    return start;
}

}  // namespace

PatternFinder::PatternFinder(std::string_view pattern, bool ignoreCase) : m_szPattern(pattern), m_bIgnoreCase(ignoreCase)
{
    const size_t length = m_szPattern.size();
    if (ignoreCase)
        for (char& byte : m_szPattern)
            byte = static_cast<char>(FoldAscii(static_cast<unsigned char>(byte)));
    const auto* bytes = reinterpret_cast<const unsigned char*>(m_szPattern.data());
    for (size_t index = 0; index < length; ++index)
        m_nShift[bytes[index]] = index + 1;
    if (length == 0)
        return;

    // The critical factorisation is the later of the two maximal suffixes.
    size_t forwardPeriod = 1;
    size_t reversedPeriod = 1;
    const size_t forward = MaximalSuffix(bytes, length, false, forwardPeriod);
    const size_t reversed = MaximalSuffix(bytes, length, true, reversedPeriod);
    const bool takeReversed = reversed + 1 > forward + 1;
    m_nCritical = takeReversed ? reversed : forward;
    m_nPeriod = takeReversed ? reversedPeriod : forwardPeriod;
    // A pattern whose left part recurs one period on is periodic: after a failed left part the search
    // moves by the period and remembers the part it already knows. Otherwise it moves past the larger part.
    if (std::memcmp(bytes, bytes + m_nPeriod, m_nCritical + 1) == 0) {
        m_nMemory = length - m_nPeriod;
    } else {
        size_t larger = m_nCritical > length - m_nCritical - 1 ? m_nCritical : length - m_nCritical - 1;
        m_nPeriod = larger + 1;
        m_nMemory = 0;
    }
}

size_t PatternFinder::Find(std::string_view text, size_t from) const
{
    const size_t length = m_szPattern.size();
    if (from > text.size())
        return std::string_view::npos;
    if (length == 0)
        return from;
    if (text.size() - from < length)
        return std::string_view::npos;
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    if (m_bIgnoreCase)
        return FindTwoWay(bytes, text.size(), from);

    const auto* pattern = reinterpret_cast<const unsigned char*>(m_szPattern.data());
    const size_t lastStart = text.size() - length;
    size_t compared = 0;
    for (size_t position = from; position <= lastStart; ++position) {
        const void* hit = std::memchr(bytes + position, pattern[0], lastStart - position + 1);
        if (hit == nullptr)
            return std::string_view::npos;
        position = static_cast<size_t>(static_cast<const unsigned char*>(hit) - bytes);
        size_t matched = 1;
        while (matched < length && bytes[position + matched] == pattern[matched])
            ++matched;
        if (matched == length)
            return position;
        compared += matched;
        if (compared > 2 * (position - from) + kCheapCompares)
            return FindTwoWay(bytes, text.size(), position + 1);
    }
    return std::string_view::npos;
}

size_t PatternFinder::FindTwoWay(const unsigned char* text, size_t length, size_t from) const
{
    const auto* pattern = reinterpret_cast<const unsigned char*>(m_szPattern.data());
    const size_t patternLength = m_szPattern.size();
    const size_t rightStart = m_nCritical + 1;
    size_t memory = 0;
    size_t position = from;
    while (length - position >= patternLength) {
        const unsigned char* window = text + position;
        // The window's last byte decides first how far the pattern can move at least.
        const size_t shift = m_nShift[Byte(window[patternLength - 1])];
        if (shift == 0) {
            position += patternLength;
            memory = 0;
            continue;
        }
        if (shift != patternLength) {
            size_t advance = patternLength - shift;
            // A periodic pattern whose last period has a byte out of place cannot match before the mismatch.
            if (memory != 0 && advance < m_nPeriod)
                advance = patternLength - m_nPeriod;
            position += advance;
            memory = 0;
            continue;
        }
        size_t index = rightStart > memory ? rightStart : memory;
        while (index < patternLength && pattern[index] == Byte(window[index]))
            ++index;
        if (index < patternLength) {
            position += index - m_nCritical;
            memory = 0;
            continue;
        }
        index = rightStart;
        while (index > memory && pattern[index - 1] == Byte(window[index - 1]))
            --index;
        if (index <= memory)
            return position;
        position += m_nPeriod;
        memory = m_nMemory;
    }
    return std::string_view::npos;
}

SeparatorFinder::SeparatorFinder(std::string_view separator, bool wholeSeparator)
    : m_szSeparator(separator), m_bWhole(wholeSeparator), m_nStep(wholeSeparator ? separator.size() : 1)
{
    if (!wholeSeparator)
        for (unsigned char byte : separator)
            m_bInSet[byte] = true;
    else if (separator.size() > 1)
        m_Whole.emplace(separator, false);
}

size_t SeparatorFinder::Find(std::string_view text, size_t from) const
{
    if (m_szSeparator.size() == 1)
        return text.find(m_szSeparator[0], from);
    if (m_bWhole)
        return m_Whole->Find(text, from);
    for (size_t index = from; index < text.size(); ++index)
        if (m_bInSet[static_cast<unsigned char>(text[index])])
            return index;
    return std::string_view::npos;
}

}  // namespace veltrane::text
