// Windows-1252 by table: the page differs from Latin-1 only in 0x80..0x9F, so one small table and a
// reverse search over it cover both directions.
#include "encoding/Windows1252.h"

namespace encoding {
namespace {

// 0x80..0x9F; U+FFFD marks the bytes the page does not define (0x81, 0x8D, 0x8F, 0x90, 0x9D).
constexpr char16_t kHighControls[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD,
    0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178,
};

char16_t Decode(unsigned char byte)
{
    return (byte >= 0x80 && byte <= 0x9F) ? kHighControls[byte - 0x80] : byte;
}

// The byte for `unit`, or 0 when the page has none (the terminator is never asked for).
unsigned char Encode(char16_t unit)
{
    if (unit < 0x80 || (unit >= 0xA0 && unit <= 0xFF))
        return static_cast<unsigned char>(unit);
    if (unit == 0xFFFD)
        return 0;
    for (unsigned i = 0; i < 32; ++i) {
        if (kHighControls[i] == unit)
            return static_cast<unsigned char>(0x80 + i);
    }
    return 0;
}

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

size_t Windows1252ToUtf16(const char* text, size_t length, wchar16* target)
{
    if (target) {
        for (size_t i = 0; i < length; ++i)
            target[i] = Decode(static_cast<unsigned char>(text[i]));
    }
    return length;
}

size_t Utf16ToWindows1252(const wchar16* text, size_t length, char* target)
{
    size_t produced = 0;
    for (size_t i = 0; i < length; ++i) {
        if (IsHighSurrogate(text[i]) && i + 1 < length && IsLowSurrogate(text[i + 1]))
            ++i;  // one character, one default character
        if (target) {
            unsigned char byte = Encode(text[i]);
            target[produced] = static_cast<char>(byte != 0 ? byte : '?');
        }
        ++produced;
    }
    return produced;
}

}  // namespace encoding
