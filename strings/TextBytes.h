// Internal: the byte comparisons, bounded length and token walk that the string classes share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

namespace veltrane::text {

// ASCII letters to lower case, every other byte as it is: the fold of the library's case-blind
// comparisons, the same in every locale.
inline unsigned char FoldAscii(unsigned char byte)
{
    return (byte >= 'A' && byte <= 'Z') ? static_cast<unsigned char>(byte | 0x20) : byte;
}

// Compares two NUL-terminated texts over at most count bytes after folding, and returns the difference of
// the first folded pair that differs (0 when equal). The first `readable` bytes of both may be read without
// regard to their terminators, which lets the comparison run a block at a time over known storage.
int FoldedCompare(const char* first, const char* second, size_t count, size_t readable);

// -1, 0 or 1: the first differing pair of unsigned bytes within count bytes, stopping at a common NUL.
int ExactCompare(const char* first, const char* second, size_t count);

// The length of text up to its NUL, but no more than limit; reads no byte past either.
size_t BoundedLength(const char* text, size_t limit);

// Finds a pattern in texts in time linear in the text and the pattern whatever their bytes, with exact
// bytes or with the ASCII letters folded. Exact search goes by the first byte and a compare while that
// costs little, and passes to the two-way search (Crochemore and Perrin) from where it stands once a
// text makes it compare much more than it advances; folded search is two-way throughout.
class PatternFinder
{
public:
    PatternFinder(std::string_view pattern, bool ignoreCase);

    // The position of the first match at or behind `from`, or npos; an empty pattern matches at `from`.
    size_t Find(std::string_view text, size_t from) const;

private:
    unsigned char Byte(unsigned char byte) const { return m_bIgnoreCase ? FoldAscii(byte) : byte; }
    size_t FindTwoWay(const unsigned char* text, size_t length, size_t from) const;

    std::string m_szPattern;  // folded when the case is ignored
    bool m_bIgnoreCase;
    size_t m_nCritical = 0;   // the pattern's critical factorisation: its right part begins behind here
    size_t m_nPeriod = 1;
    size_t m_nMemory = 0;     // what a periodic pattern remembers after a match of its right part
    size_t m_nShift[256] = {};  // 1 + the last position of each byte in the pattern, 0 for none
};

// Finds separators in a text: any one byte of the separator, or the separator as a whole string.
class SeparatorFinder
{
public:
    SeparatorFinder(std::string_view separator, bool wholeSeparator);

    // The number of bytes that one hit covers; 0 for a whole empty separator, which never hits.
    size_t Step() const { return m_nStep; }
    // The position of the next hit at or behind from, or npos.
    size_t Find(std::string_view text, size_t from) const;

private:
    std::string_view m_szSeparator;
    bool m_bWhole;
    size_t m_nStep;
    bool m_bInSet[256] = {};
    std::optional<PatternFinder> m_Whole;  // for a whole separator of more than one byte
};

// Calls visit(token) for each token of text between separators, in order, empty tokens included: a text
// that ends in a separator gives a last, empty token, and an empty text gives one empty token.
template <typename Visit>
void ForEachToken(std::string_view text, std::string_view separator, bool wholeSeparator, Visit&& visit)
{
    SeparatorFinder finder(separator, wholeSeparator);
    size_t position = 0;
    for (;;) {
        size_t hit = finder.Step() == 0 ? std::string_view::npos : finder.Find(text, position);
        if (hit == std::string_view::npos) {
            visit(text.substr(position));
            return;
        }
        visit(text.substr(position, hit - position));
        position = hit + finder.Step();
    }
}

}  // namespace veltrane::text
