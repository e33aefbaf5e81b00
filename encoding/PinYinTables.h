// Internal: the constant pinyin tables that encoding/PinYinTables.cpp holds, generated from Unihan's readings.
#pragma once

#include <cstddef>
#include <cstdint>

namespace encoding {

// A code packs the syllable numbers (1 to 403) of one character's readings, 9 bits each, the first number
// in the lowest bits; the numbers fall strictly from the lowest group up, and the code ends at the first
// group of 0. A positive signed 64-bit code has room for seven.
constexpr int kPinYinBitsPerSyllable = 9;
constexpr int64_t kPinYinSyllableMask = (int64_t{1} << kPinYinBitsPerSyllable) - 1;
constexpr size_t kPinYinSyllableCount = 403;

// The ideographs the tables cover: the unified block up to U+9FA5, and the stretch of the private use area
// that GB18030's user-defined row gives further ideographs.
constexpr char16_t kPinYinCharFirst = 0x4E00;
constexpr char16_t kPinYinCharLast = 0x9FA5;
constexpr size_t kPinYinCharCount = kPinYinCharLast - kPinYinCharFirst + 1;
constexpr char16_t kPinYinPrivateFirst = 0xE81A;
constexpr char16_t kPinYinPrivateLast = 0xE863;
constexpr size_t kPinYinPrivateCount = kPinYinPrivateLast - kPinYinPrivateFirst + 1;

// The syllables without tones in upper-case ASCII, ü written V, in alphabetical order: number n is at n - 1.
extern const char* const PinYinSyllables[kPinYinSyllableCount];

// The reading sets, each stored once. Row 0 is 0, "no reading", so that an index row of 0 needs no test.
extern const int64_t PinYinCodes[];
extern const size_t PinYinCodeCount;  // row 0 included

// The row of PinYinCodes for code unit kPinYinCharFirst + i (kPinYinPrivateFirst + i), or 0.
extern const int64_t PinYinCharIndex[kPinYinCharCount];
extern const int64_t PinYinPrivateIndex[kPinYinPrivateCount];

}  // namespace encoding
