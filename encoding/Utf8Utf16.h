// Internal: the library's own conversions between UTF-8 and UTF-16, each a counting and a writing form.
#pragma once

#include <cstddef>

#include "core/Types.h"

namespace encoding {

// Decodes `length` bytes of UTF-8 into `target` (nullptr: only counts) and gives the number of UTF-16 units.
// `capacity` is the size of `target`, at least the counted size; room beyond it is used as scratch.
// Each maximal invalid subpart (a stray byte, an overlong or surrogate form, a cut-off sequence, 0xF5..0xFF)
// gives one U+FFFD, and decoding goes on with the byte that broke it.
size_t Utf8ToUtf16(const char* text, size_t length, wchar16* target, size_t capacity);

// The number of UTF-16 units of `length` bytes of UTF-8, found without decoding them; exact when the
// bytes are well formed, and then much faster than counting with Utf8ToUtf16.
size_t Utf16UnitsIfWellFormed(const char* text, size_t length);

// Decodes well-formed UTF-8 as Utf8ToUtf16 does, into a `target` of `capacity` units, at least
// Utf16UnitsIfWellFormed of the text. At the first ill-formed sequence it stops, before writing past that
// count, and gives false; the units written so far are then of no use.
bool WellFormedUtf8ToUtf16(const char* text, size_t length, wchar16* target, size_t capacity);

// True when the `length` bytes are well-formed UTF-8 from end to end (a U+FFFD written in the text is).
bool IsWellFormedUtf8(const char* text, size_t length);

// Encodes `length` UTF-16 units as UTF-8 into `target` (nullptr: only counts) and gives the number of bytes;
// `capacity` as above.
// A lone surrogate becomes U+FFFD.
size_t Utf16ToUtf8(const wchar16* text, size_t length, char* target, size_t capacity);

// The number of units before the terminator, but no more than `limit`; reads no unit past either.
size_t Utf16Length(const wchar16* text, size_t limit);

// The number of units before the first 0 among the first `count`, or `count` when none of them is 0.
size_t Utf16LengthWithin(const wchar16* text, size_t count);

}  // namespace encoding
