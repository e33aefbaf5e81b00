// Internal: UTF-32 code points to UTF-8, for texts read whole from a file.
#pragma once

#include <cstddef>

namespace encoding {

// The number of code points before the first 0 among the first `count`, or `count` when none of them is 0.
size_t Utf32LengthWithin(const char32_t* text, size_t count);

// Encodes `length` code points as UTF-8 into `target` (nullptr: only counts) and gives the number of bytes.
// A value that is no Unicode scalar value (a surrogate, or above U+10FFFF) becomes U+FFFD.
size_t Utf32ToUtf8(const char32_t* text, size_t length, char* target);

}  // namespace encoding
