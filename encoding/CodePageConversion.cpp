// Conversion between a code page and UTF-16: UTF-8 and Windows-1252 by the library's own code, every other
// page through the host's tables. Both directions are one algorithm over these three sources.
#include "encoding/CodePageConversion.h"

#include "encoding/CodePageTable.h"
#include "encoding/Utf8Utf16.h"
#include "encoding/Windows1252.h"
#include "platform/codepages.h"

namespace encoding {

namespace {

// The three sources of a conversion, one overload per direction.
size_t OwnUtf8(const char* text, size_t length, wchar16* target, size_t capacity)
{
    return Utf8ToUtf16(text, length, target, capacity);
}

size_t OwnUtf8(const wchar16* text, size_t length, char* target, size_t capacity)
{
    return Utf16ToUtf8(text, length, target, capacity);
}

size_t OwnWindows1252(const char* text, size_t length, wchar16* target)
{
    return Windows1252ToUtf16(text, length, target);
}

size_t OwnWindows1252(const wchar16* text, size_t length, char* target)
{
    return Utf16ToWindows1252(text, length, target);
}

long long HostPage(unsigned codePage, const char* text, size_t length, wchar16* target, size_t capacity)
{
    return platform::DecodeLegacyPage(codePage, text, length, target, capacity);
}

long long HostPage(unsigned codePage, const wchar16* text, size_t length, char* target, size_t capacity)
{
    return platform::EncodeLegacyPage(codePage, text, length, target, capacity);
}

template <typename From, typename To>
size_t Convert(unsigned codePage, const From* text, size_t length, To* target, size_t capacity)
{
    size_t units;
    if (codePage == kCodePageUtf8) {
        units = OwnUtf8(text, length, target, capacity);
    } else if (codePage == kCodePageAnsi || codePage == kCodePageWindows1252) {
        units = OwnWindows1252(text, length, target);
    } else {
        long long converted = HostPage(codePage, text, length, target, target ? capacity - 1 : 0);
        if (converted < 0)
            return 0;
        units = static_cast<size_t>(converted);
    }
    if (target && units < capacity)
        target[units] = 0;
    return units + 1;
}

}  // namespace

size_t ConvertCodePage(unsigned codePage, const char* text, size_t length, wchar16* target, size_t capacity)
{
    return Convert(codePage, text, length, target, capacity);
}

size_t ConvertCodePage(unsigned codePage, const wchar16* text, size_t length, char* target, size_t capacity)
{
    return Convert(codePage, text, length, target, capacity);
}

}  // namespace encoding
