// Pinyin initials of Chinese text: the letters that the Mandarin readings of each character begin with.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../core/Types.h"

// Letters from the readings are upper case; a character with several readings gives each letter once, in
// the order its readings list them. The readings come from Unicode's Unihan database (docs/pinyin.md).
// No function here fails: input without a reading gives an empty vector or an empty string.

// True for an ideograph of U+4E00..U+9FA5 or of the private-use ideographs U+E81A..U+E863 that has a
// reading, and for U+3007 (the ideographic zero). An ideograph without a reading is not Chinese here.
VELTRANE_API bool IsChinese(wchar16 unit);

// The first letters of the syllables packed in `code` (9 bits each, lowest first), each letter once in the
// order of first appearance. A code of 0 or below gives nothing; a 9-bit group that is not a syllable
// number (0 or above 403) gives no letter and decoding goes on.
VELTRANE_API std::vector<std::string> DecodePinYin(int64_t code);

// The letters of one unit: an ideograph's reading initials, 'L' for U+3007, an ASCII letter or digit as
// itself (a letter keeps its case), nothing for anything else (blank, punctuation, surrogate half, NUL).
VELTRANE_API std::vector<std::string> GetPinYin(wchar16 unit);

// Every combination of one letter per character that has letters, newest character varying fastest,
// joined by commas: "长行" gives "ZX,ZH,CX,CH". The UTF-8 text is read up to its first NUL; a text without
// a Chinese character gives "". Where the full list would pass 102400 bytes, the result is one combination
// without commas: the first character's last letter, then the first letter of each character after it.
VELTRANE_API std::string GetPinYinFirstLetters(std::string text);
