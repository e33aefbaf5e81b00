// UTF-8 <-> UTF-16 with the replacement rules of the library. Mostly-ASCII text is the common case, so
// runs of ASCII are checked and converted a machine word at a time; a counting pass shares the code of the writing pass,
// which is what keeps the measured size and the written size equal.
#include "encoding/Utf8Utf16.h"

#include "encoding/WordAtATime.h"

#include <cstdint>
#include <cstring>

namespace encoding {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

void Widen8(const unsigned char* in, char16_t* out)
{
    for (int i = 0; i < 8; ++i)
        out[i] = in[i];
}

void Widen(const unsigned char* in, size_t count, char16_t* out)
{
    for (size_t i = 0; i < count; ++i)
        out[i] = in[i];
}

void Narrow(const char16_t* in, size_t count, unsigned char* out)
{
    for (size_t i = 0; i < count; ++i)
        out[i] = static_cast<unsigned char>(in[i]);
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
size_t DecodeUtf8(const unsigned char* in, size_t length, char16_t* out, size_t capacity)
{
    const unsigned char* end = in + length;
    size_t produced = 0;
    while (in < end) {
        unsigned lead = *in;
        if (lead < 0x80) {
            // An ASCII run goes eight bytes at a time; a word that holds another byte gives its ASCII head.
            while (end - in >= 8) {
                uint64_t high = Load8(in) & kHighBits;
                size_t ascii = high ? FirstMarkedLane(high, 8) : 8;
                if (Write) {
                    if (produced + 8 <= capacity)
                        Widen8(in, out + produced);  // the bytes past the head are written over later
                    else
                        Widen(in, ascii, out + produced);
                }
                in += ascii;
                produced += ascii;
                if (ascii < 8)
                    break;
            }
            while (in < end && *in < 0x80) {
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

size_t EncodeUtf8(const char16_t* in, size_t length, unsigned char* out, size_t capacity)
{
    const char16_t* end = in + length;
    size_t produced = 0;
    while (in < end) {
        uint32_t unit = *in;
        if (unit < 0x80) {
            // An ASCII run goes four units at a time; a word that holds another unit gives its ASCII head.
            while (end - in >= 8 && produced + 8 <= capacity) {
                uint64_t first = Load8(in);
                uint64_t second = Load8(in + 4);
                if ((first | second) & kUnitHighBits)
                    break;
                Narrow4(first, out + produced);
                Narrow4(second, out + produced + 4);
                in += 8;
                produced += 8;
            }
            while (end - in >= 4) {
                uint64_t word = Load8(in);
                uint64_t high = word & kUnitHighBits;
                size_t ascii = high ? FirstMarkedLane(high, 16) : 4;
                if (produced + 4 <= capacity)
                    Narrow4(word, out + produced);  // the units past the head are written over later
                else
                    Narrow(in, ascii, out + produced);
                in += ascii;
                produced += ascii;
                if (ascii < 4)
                    break;
            }
            while (in < end && *in < 0x80) {
                out[produced] = static_cast<unsigned char>(*in);
                ++in;
                ++produced;
            }
            continue;
        }
        ++in;
        if (unit < 0x800) {
            out[produced] = static_cast<unsigned char>(0xC0 | (unit >> 6));
            out[produced + 1] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
            produced += 2;
            continue;
        }
        if (unit >= 0xD800 && unit <= 0xDFFF) {
            if (unit <= 0xDBFF && in < end && *in >= 0xDC00 && *in <= 0xDFFF) {
                uint32_t codePoint = 0x10000 + ((unit - 0xD800) << 10) + (*in - 0xDC00u);
                ++in;
                out[produced] = static_cast<unsigned char>(0xF0 | (codePoint >> 18));
                out[produced + 1] = static_cast<unsigned char>(0x80 | ((codePoint >> 12) & 0x3F));
                out[produced + 2] = static_cast<unsigned char>(0x80 | ((codePoint >> 6) & 0x3F));
                out[produced + 3] = static_cast<unsigned char>(0x80 | (codePoint & 0x3F));
                produced += 4;
                continue;
            }
            unit = kReplacement;
        }
        out[produced] = static_cast<unsigned char>(0xE0 | (unit >> 12));
        out[produced + 1] = static_cast<unsigned char>(0x80 | ((unit >> 6) & 0x3F));
        out[produced + 2] = static_cast<unsigned char>(0x80 | (unit & 0x3F));
        produced += 3;
    }
    return produced;
}

// The UTF-8 size of `length` units without a branch per unit: one byte, one more from U+0080, one more from
// U+0800; a surrogate counts three, as a lone one becomes U+FFFD, and a well-formed pair four instead of six.
// A low surrogate can only pair with the unit before it, so pairs never overlap.
size_t CountUtf8(const char16_t* in, size_t length)
{
    if (length == 0)
        return 0;
    size_t bytes = length;
    size_t pairs = 0;
    size_t last = length - 1;
    for (size_t i = 0; i < last; ++i) {
        unsigned unit = in[i];
        unsigned next = in[i + 1];
        bytes += (unit >= 0x80) + (unit >= 0x800);
        pairs += ((unit & 0xFC00) == 0xD800) & ((next & 0xFC00) == 0xDC00);
    }
    bytes += (in[last] >= 0x80) + (in[last] >= 0x800);
    return bytes - 2 * pairs;
}

}  // namespace

size_t Utf8ToUtf16(const char* text, size_t length, wchar16* target, size_t capacity)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    return target ? DecodeUtf8<true>(bytes, length, target, capacity) : DecodeUtf8<false>(bytes, length, nullptr, 0);
}

size_t Utf16ToUtf8(const wchar16* text, size_t length, char* target, size_t capacity)
{
    unsigned char* bytes = reinterpret_cast<unsigned char*>(target);
    return target ? EncodeUtf8(text, length, bytes, capacity) : CountUtf8(text, length);
}

size_t Utf16Length(const wchar16* text)
{
    // Four tests per step; each unit is read only after the one before it was found not to end the text.
    const wchar16* end = text;
    for (;;) {
        if (end[0] == 0)
            return static_cast<size_t>(end - text);
        if (end[1] == 0)
            return static_cast<size_t>(end - text) + 1;
        if (end[2] == 0)
            return static_cast<size_t>(end - text) + 2;
        if (end[3] == 0)
            return static_cast<size_t>(end - text) + 3;
        end += 4;
    }
}

}  // namespace encoding
