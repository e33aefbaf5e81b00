// Windows-1252 by table: the page differs from Latin-1 only in 0x80..0x9F, so one small table and a
// reverse search over it cover both directions.
#include "encoding/Windows1252.h"

#include "encoding/WordAtATime.h"

namespace encoding {
namespace {

// 0x80..0x9F; U+FFFD marks the bytes the page does not define (0x81, 0x8D, 0x8F, 0x90, 0x9D).
constexpr char16_t kHighControls[32] = {
    0x20AC, 0xFFFD, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0xFFFD, 0x017D, 0xFFFD,
    0xFFFD, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0xFFFD, 0x017E, 0x0178,
};

struct Tables {
    char16_t decode[256];
    unsigned char encodeLatin[256];  // for U+0000..U+00FF; 0 where the page has no byte for it
};

constexpr Tables MakeTables()
{
    Tables tables{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        tables.decode[byte] = (byte >= 0x80 && byte <= 0x9F) ? kHighControls[byte - 0x80] : char16_t(byte);
        if (byte < 0x80 || byte >= 0xA0)
            tables.encodeLatin[byte] = static_cast<unsigned char>(byte);
    }
    return tables;
}

constexpr Tables kTables = MakeTables();

// The byte for `unit`, or '?' when the page has none.
char Encode(char16_t unit)
{
    if (unit < 0x100) {
        unsigned char byte = kTables.encodeLatin[unit];
        return static_cast<char>(byte != 0 || unit == 0 ? byte : '?');
    }
    for (unsigned i = 0; i < 32; ++i) {
        if (kHighControls[i] == unit && unit != 0xFFFD)
            return static_cast<char>(0x80 + i);
    }
    return '?';
}

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

}  // namespace

size_t Windows1252ToUtf16(const char* text, size_t length, wchar16* target)
{
    if (target) {
        for (size_t i = 0; i < length; ++i)
            target[i] = kTables.decode[static_cast<unsigned char>(text[i])];
    }
    return length;
}

size_t Utf16ToWindows1252(const wchar16* text, size_t length, char* target)
{
    // One byte per character: a surrogate pair is one character, so it gives one default character.
    if (target == nullptr) {
        size_t pairs = 0;
        for (size_t i = 0; i + 1 < length; ++i)
            pairs += static_cast<size_t>(IsHighSurrogate(text[i])) & static_cast<size_t>(IsLowSurrogate(text[i + 1]));
        return length - pairs;
    }
    unsigned char* out = reinterpret_cast<unsigned char*>(target);
    size_t produced = 0;
    size_t i = 0;
    while (i < length) {
        if (length - i >= 4) {
            uint64_t word = Load8(text + i);
            if ((word & kUnitHighBits) == 0) {
                Narrow4(word, out + produced);
                i += 4;
                produced += 4;
                continue;
            }
        }
        char16_t unit = text[i++];
        if (IsHighSurrogate(unit) && i < length && IsLowSurrogate(text[i]))
            ++i;
        out[produced++] = static_cast<unsigned char>(Encode(unit));
    }
    return produced;
}

}  // namespace encoding
