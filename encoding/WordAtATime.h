// Internal: reading text a machine word at a time, for the runs of ASCII that most texts are made of.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace encoding {

constexpr uint64_t kHighBits = 0x8080808080808080ull;      // any of eight bytes at or above 0x80
constexpr uint64_t kUnitHighBits = 0xFF80FF80FF80FF80ull;  // any of four UTF-16 units at or above 0x80

inline uint64_t Load8(const void* from)
{
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// The index of the first lane (in memory order) of `bits` lanes wide that has a bit set in `marks`.
inline size_t FirstMarkedLane(uint64_t marks, unsigned bits)
{
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    return static_cast<size_t>(__builtin_clzll(marks)) / bits;
#else
    return static_cast<size_t>(__builtin_ctzll(marks)) / bits;
#endif
}

// Four ASCII units, as one word loaded from memory, packed into four bytes in the same order: the shifts keep
// each unit's place relative to the others, so this holds in either byte order.
inline void Narrow4(uint64_t word, unsigned char* out)
{
    uint32_t packed = static_cast<uint32_t>((word & 0xFF) | ((word >> 8) & 0xFF00) | ((word >> 16) & 0xFF0000) |
                                            ((word >> 24) & 0xFF000000));
    std::memcpy(out, &packed, sizeof packed);
}

}  // namespace encoding
