// Internal: reading text a machine word at a time, for the runs of ASCII that most texts are made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace encoding {

// The machine stores the highest byte of a number first.
constexpr bool kBigEndianHost =
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    true;
#else
    false;
#endif

constexpr uint64_t kHighBits = 0x8080808080808080ull;      // any of eight bytes at or above 0x80
constexpr uint64_t kUnitHighBits = 0xFF80FF80FF80FF80ull;  // any of four UTF-16 units at or above 0x80

inline uint64_t Load8(const void* from)
{
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// Eight bytes as a number whose lowest byte is the first in memory, whatever the host's byte order.
inline uint64_t LoadLittle8(const void* from)
{
    const uint64_t word = Load8(from);
    return kBigEndianHost ? __builtin_bswap64(word) : word;
}

// Stores `word` as eight bytes, its lowest byte first in memory, whatever the host's byte order.
inline void StoreLittle8(uint64_t word, void* to)
{
    if (kBigEndianHost)
        word = __builtin_bswap64(word);
    std::memcpy(to, &word, sizeof word);
}

// The index of the first lane (in memory order) of `bits` lanes wide that has a bit set in `marks`.
inline size_t FirstMarkedLane(uint64_t marks, unsigned bits)
{
    return static_cast<size_t>(kBigEndianHost ? __builtin_clzll(marks) : __builtin_ctzll(marks)) / bits;
}

// Four ASCII units, as one word loaded from memory, packed into four bytes in the same order: the shifts keep
// each unit's place relative to the others, so this holds in either byte order.
inline void Narrow4(uint64_t word, unsigned char* out)
{
    uint32_t packed = static_cast<uint32_t>((word & 0xFF) | ((word >> 8) & 0xFF00) | ((word >> 16) & 0xFF0000) |
                                            ((word >> 24) & 0xFF000000));
    std::memcpy(out, &packed, sizeof packed);
}

// The number of ASCII bytes at the start of the sixteen at `in`.
inline size_t AsciiHead16(const unsigned char* in)
{
    uint64_t first = Load8(in) & kHighBits;
    uint64_t second = Load8(in + 8) & kHighBits;
    if ((first | second) == 0)
        return 16;
    return first ? FirstMarkedLane(first, 8) : 8 + FirstMarkedLane(second, 8);
}

// The number of ASCII units at the start of the sixteen at `in`.
inline size_t AsciiHead16(const char16_t* in)
{
    uint64_t marks[4] = {Load8(in) & kUnitHighBits, Load8(in + 4) & kUnitHighBits, Load8(in + 8) & kUnitHighBits,
                         Load8(in + 12) & kUnitHighBits};
    if ((marks[0] | marks[1] | marks[2] | marks[3]) == 0)
        return 16;
    size_t word = 0;
    while (marks[word] == 0)
        ++word;
    return 4 * word + FirstMarkedLane(marks[word], 16);
}

// Sixteen bytes to sixteen units and back, through local blocks that cannot overlap, so that the compiler
// makes each a few vector instructions.
inline void Widen16(const unsigned char* in, char16_t* out)
{
    unsigned char bytes[16];
    char16_t units[16];
    std::memcpy(bytes, in, sizeof bytes);
    for (int i = 0; i < 16; ++i)
        units[i] = bytes[i];
    std::memcpy(out, units, sizeof units);
}

inline void Narrow16(const char16_t* in, unsigned char* out)
{
    char16_t units[16];
    unsigned char bytes[16];
    std::memcpy(units, in, sizeof units);
    for (int i = 0; i < 16; ++i)
        bytes[i] = static_cast<unsigned char>(units[i]);
    std::memcpy(out, bytes, sizeof bytes);
}

}  // namespace encoding
