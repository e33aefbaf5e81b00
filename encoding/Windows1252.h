// Internal: the library's own Windows-1252 table, the ANSI code page of this host, both directions.
#pragma once

#include <cstddef>

#include "core/Types.h"

namespace encoding {

// Decodes bytes into `target` (nullptr: only counts); the five bytes the page leaves undefined give U+FFFD.
size_t Windows1252ToUtf16(const char* text, size_t length, wchar16* target);

// Encodes UTF-16 units into `target` (nullptr: only counts); a character the page lacks becomes '?', once for
// a surrogate pair.
size_t Utf16ToWindows1252(const wchar16* text, size_t length, char* target);

}  // namespace encoding
