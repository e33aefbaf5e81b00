// Legacy code pages that the library takes from the host, converted to and from UTF-16. Pages are named by
// their Windows numbers; UTF-8, UTF-16 and Windows-1252 are the library's own code and never come here.
#pragma once

#include <cstddef>

namespace platform {

// The name of the host's table behind `page` ("CP932"), for the list of supported pages; nullptr when the
// host has none, and then every conversion of the page fails.
// Host notes: POSIX names the glibc charset chosen for the page; Windows names the system's own page.
const char* LegacyPageTableName(unsigned page);

// Decodes `count` bytes of `page` into UTF-16 and gives the number of units the whole text needs, or -1
// when the host lacks the page or the text is too long for it. With a null `target` it only counts;
// otherwise it writes at most `capacity` units there. Characters a table holds back until the end are
// included.
// Host notes: on POSIX a byte the page does not define, or a sequence cut off by the end of the text, gives
// one U+FFFD and decoding goes on with the next byte; Windows gives its own answer for such bytes (often
// the byte's best-fit character or U+30FB), which is what every other program on the system reads.
long long DecodeLegacyPage(unsigned page, const char* bytes, size_t count, char16_t* target, size_t capacity);

// Encodes `count` UTF-16 units into `page` with the same counting and capacity rules. A character the page
// cannot hold, and a lone surrogate, become the page's own default character: its question mark (0x6F in
// EBCDIC, not the ASCII byte), or the byte 0x3F in a page that has none.
long long EncodeLegacyPage(unsigned page, const char16_t* text, size_t count, char* target, size_t capacity);

}  // namespace platform
