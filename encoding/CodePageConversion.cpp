// Conversion between a code page and UTF-16: UTF-8 and Windows-1252 by the library's own code, every other
// page through the host's charset tables.
#include "encoding/CodePageConversion.h"

#include "encoding/CodePageTable.h"
#include "encoding/Utf8Utf16.h"
#include "encoding/Windows1252.h"
#include "platform/codepages.h"

namespace encoding {

size_t DecodeCodePage(unsigned codePage, const char* text, size_t length, wchar16* target, size_t capacity)
{
    size_t units;
    if (codePage == kCodePageUtf8) {
        units = Utf8ToUtf16(text, length, target, capacity);
    } else if (codePage == kCodePageAnsi || codePage == kCodePageWindows1252) {
        units = Windows1252ToUtf16(text, length, target);
    } else {
        const char* charset = CharsetOfCodePage(codePage);
        if (charset == nullptr)
            return 0;
        long long decoded = platform::DecodeCharset(charset, text, length, target, target ? capacity - 1 : 0);
        if (decoded < 0)
            return 0;
        units = static_cast<size_t>(decoded);
    }
    if (target && units < capacity)
        target[units] = 0;
    return units + 1;
}

size_t EncodeCodePage(unsigned codePage, const wchar16* text, size_t length, char* target, size_t capacity)
{
    size_t bytes;
    if (codePage == kCodePageUtf8) {
        bytes = Utf16ToUtf8(text, length, target, capacity);
    } else if (codePage == kCodePageAnsi || codePage == kCodePageWindows1252) {
        bytes = Utf16ToWindows1252(text, length, target);
    } else {
        const char* charset = CharsetOfCodePage(codePage);
        if (charset == nullptr)
            return 0;
        long long encoded = platform::EncodeCharset(charset, text, length, target, target ? capacity - 1 : 0);
        if (encoded < 0)
            return 0;
        bytes = static_cast<size_t>(encoded);
    }
    if (target && bytes < capacity)
        target[bytes] = '\0';
    return bytes + 1;
}

}  // namespace encoding
