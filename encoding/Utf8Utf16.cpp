// UTF-8 <-> UTF-16 with the replacement rules of the library. Mostly-ASCII text is the common case, so
// runs of ASCII are checked and widened 16 at a time; a counting pass shares the code of the writing pass,
// which is what keeps the measured size and the written size equal.
#include "encoding/Utf8Utf16.h"

#include <cstdint>
#include <cstring>

namespace encoding {
namespace {

constexpr char16_t kReplacement = 0xFFFD;
constexpr uint64_t kHighBits = 0x8080808080808080ull;
constexpr uint64_t kUnitHighBits = 0xFF80FF80FF80FF80ull;  // any of four UTF-16 units at or above 0x80

uint64_t Load8(const void* from)
{
    uint64_t word;
    std::memcpy(&word, from, sizeof word);
    return word;
}

// Decodes the sequence at `in` that does not start with an ASCII byte; gives the bytes it takes and the
// code point, U+FFFD for a maximal invalid subpart.
size_t DecodeSequence(const unsigned char* in, const unsigned char* end, uint32_t& codePoint)
{
    unsigned lead = in[0];
    size_t trailing;
    unsigned low = 0x80, high = 0xBF;  // the range of the second byte; later bytes are 80..BF
    uint32_t value;
    if (lead < 0xC2) {  // a continuation byte, or the lead of an overlong two-byte form
        codePoint = kReplacement;
        return 1;
    } else if (lead < 0xE0) {
        trailing = 1;
        value = lead & 0x1F;
    } else if (lead < 0xF0) {
        trailing = 2;
        value = lead & 0x0F;
        if (lead == 0xE0)
            low = 0xA0;   // below is overlong
        else if (lead == 0xED)
            high = 0x9F;  // above is a surrogate
    } else if (lead < 0xF5) {
        trailing = 3;
        value = lead & 0x07;
        if (lead == 0xF0)
            low = 0x90;   // below is overlong
        else if (lead == 0xF4)
            high = 0x8F;  // above is past U+10FFFF
    } else {
        codePoint = kReplacement;
        return 1;
    }
    size_t used = 1;
    for (size_t i = 0; i < trailing; ++i) {
        if (in + used >= end || in[used] < low || in[used] > high) {
            codePoint = kReplacement;
            return used;
        }
        value = (value << 6) | (in[used] & 0x3F);
        ++used;
        low = 0x80;
        high = 0xBF;
    }
    codePoint = value;
    return used;
}

template <bool Write>
size_t DecodeUtf8(const unsigned char* in, size_t length, char16_t* out)
{
    const unsigned char* end = in + length;
    size_t produced = 0;
    while (in < end) {
        unsigned lead = *in;
        if (lead < 0x80) {
            while (end - in >= 16 && ((Load8(in) | Load8(in + 8)) & kHighBits) == 0) {
                if (Write) {
                    for (int i = 0; i < 16; ++i)
                        out[produced + i] = in[i];
                }
                in += 16;
                produced += 16;
            }
            if (in < end && *in < 0x80) {
                if (Write)
                    out[produced] = *in;
                ++in;
                ++produced;
            }
            continue;
        }
        // Three-byte forms carry most non-Latin text: take a well-formed one without the general decoder.
        if ((lead & 0xF0) == 0xE0 && end - in >= 3 && (in[1] & 0xC0) == 0x80 && (in[2] & 0xC0) == 0x80) {
            uint32_t value = ((lead & 0x0Fu) << 12) | ((in[1] & 0x3Fu) << 6) | (in[2] & 0x3Fu);
            if (value >= 0x800 && (value < 0xD800 || value > 0xDFFF)) {
                if (Write)
                    out[produced] = static_cast<char16_t>(value);
                ++produced;
                in += 3;
                continue;
            }
        }
        uint32_t codePoint;
        in += DecodeSequence(in, end, codePoint);
        if (codePoint < 0x10000) {
            if (Write)
                out[produced] = static_cast<char16_t>(codePoint);
            ++produced;
        } else {
            if (Write) {
                out[produced] = static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10));
                out[produced + 1] = static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
            }
            produced += 2;
        }
    }
    return produced;
}

template <bool Write>
size_t EncodeUtf8(const char16_t* in, size_t length, unsigned char* out)
{
    const char16_t* end = in + length;
    size_t produced = 0;
    while (in < end) {
        uint32_t unit = *in;
        if (unit < 0x80) {
            while (end - in >= 8 && ((Load8(in) | Load8(in + 4)) & kUnitHighBits) == 0) {
                if (Write) {
                    for (int i = 0; i < 8; ++i)
                        out[produced + i] = static_cast<unsigned char>(in[i]);
                }
                in += 8;
                produced += 8;
            }
            if (in < end && *in < 0x80) {
                if (Write)
                    out[produced] = static_cast<unsigned char>(*in);
                ++in;
                ++produced;
            }
            continue;
        }
        ++in;
        if (unit < 0x800) {
            if (Write) {
                out[produced] = static_cast<unsigned char>(0xC0 | (unit >> 6));
                out[produced + 1] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
            }
            produced += 2;
            continue;
        }
        if (unit >= 0xD800 && unit <= 0xDFFF) {
            if (unit <= 0xDBFF && in < end && *in >= 0xDC00 && *in <= 0xDFFF) {
                uint32_t codePoint = 0x10000 + ((unit - 0xD800) << 10) + (*in - 0xDC00u);
                ++in;
                if (Write) {
                    out[produced] = static_cast<unsigned char>(0xF0 | (codePoint >> 18));
                    out[produced + 1] = static_cast<unsigned char>(0x80 | ((codePoint >> 12) & 0x3F));
                    out[produced + 2] = static_cast<unsigned char>(0x80 | ((codePoint >> 6) & 0x3F));
                    out[produced + 3] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
                }
                produced += 4;
                continue;
            }
            unit = kReplacement;
        }
        if (Write) {
            out[produced] = static_cast<unsigned char>(0xE0 | (unit >> 12));
            out[produced + 1] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
            out[produced + 2] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
        }
        produced += 3;
    }
    return produced;
}

}  // namespace

size_t Utf8ToUtf16(const char* text, size_t length, wchar16* target)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    return target ? DecodeUtf8<true>(bytes, length, target) : DecodeUtf8<false>(bytes, length, nullptr);
}

size_t Utf16ToUtf8(const wchar16* text, size_t length, char* target)
{
    unsigned char* bytes = reinterpret_cast<unsigned char*>(target);
    return target ? EncodeUtf8<true>(text, length, bytes) : EncodeUtf8<false>(text, length, nullptr);
}

size_t Utf16Length(const wchar16* text)
{
    const wchar16* end = text;
    while (*end != 0)
        ++end;
    return static_cast<size_t>(end - text);
}

}  // namespace encoding
