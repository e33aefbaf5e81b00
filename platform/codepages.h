// Legacy character sets that the library takes from the host, converted to and from UTF-16.
#pragma once

#include <cstddef>

namespace platform {

// True when the host can convert between `charset` (a host charset name such as "CP936") and UTF-16
// in both directions.
bool CharsetAvailable(const char* charset);

// Decodes `count` bytes of `charset` into UTF-16 and gives the number of units the whole text needs, or -1
// when the host lacks the set. With a null `target` it only counts; otherwise it writes at most `capacity`
// units there. A byte the set does not define, or a sequence cut off by the end of the text, gives one U+FFFD
// and decoding goes on with the next byte. Characters a table holds back until the end are included.
long long DecodeCharset(const char* charset, const char* bytes, size_t count, char16_t* target, size_t capacity);

// Encodes `count` UTF-16 units into `charset` with the same counting and capacity rules. A character the set
// cannot hold, and a lone surrogate, become the set's own question mark (0x6F in EBCDIC, not the ASCII byte),
// or the byte 0x3F in a set that has none.
long long EncodeCharset(const char* charset, const char16_t* text, size_t count, char* target, size_t capacity);

}  // namespace platform
