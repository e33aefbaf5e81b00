// UTF-8 <-> UTF-16 with the replacement rules of the library. Runs of ASCII go sixteen at a time and runs
// of three-byte forms four at a time; a counting pass shares the code of the writing pass, which keeps the
// measured size and the written size equal, and well-formed UTF-8 is measured without decoding at all.
#include "encoding/Utf8Utf16.h"

#include "encoding/WordAtATime.h"

#include <cstdint>
#include <cstring>

namespace encoding {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

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

// The code point of the three-byte form in the low three bytes of `bytes` (the first byte lowest), or 0
// when those bytes are not a well-formed three-byte form.
uint32_t ThreeByteForm(uint64_t bytes)
{
    uint32_t value = static_cast<uint32_t>(((bytes & 0x0F) << 12) | ((bytes & 0x3F00) >> 2) | ((bytes >> 16) & 0x3F));
    bool shaped = (bytes & 0xC0C0F0) == 0x8080E0;
    bool wellFormed = shaped & (value >= 0x800) & ((value & 0xF800) != 0xD800);
    return wellFormed ? value : 0;
}

// The code points of the two three-byte forms in the low six bytes of `bytes` (the first byte lowest), as
// the low and the high half of the result; 0 unless both are well formed with leads that take any
// continuation bytes (E0, which limits them against overlong forms, and ED, against surrogates, do not).
uint32_t TwoPlainThreeByteForms(uint64_t bytes)
{
    uint32_t forms = static_cast<uint32_t>(((bytes & 0x0F) << 12) | ((bytes >> 2) & 0x0FC0) | ((bytes >> 16) & 0x3F) |
                                           ((bytes << 4) & 0xF0000000) | ((bytes >> 10) & 0x0FC00000) |
                                           ((bytes >> 24) & 0x003F0000));
    bool shaped = (bytes & 0xC0C0F0C0C0F0) == 0x8080E08080E0;
    // The leads' low nibbles, now the top nibble of each half, must be neither 0 nor D: adding F carries
    // into bit 4 exactly when a nibble is not 0.
    uint32_t leads = (forms >> 12) & 0x000F000F;
    uint32_t plain = (leads + 0x000F000F) & ((leads ^ 0x000D000D) + 0x000F000F) & 0x00100010;
    return shaped & (plain == 0x00100010) ? forms : 0;
}

void WriteTwoForms(uint32_t forms, char16_t* out)
{
    out[0] = static_cast<char16_t>(forms & 0xFFFF);
    out[1] = static_cast<char16_t>(forms >> 16);
}

// What a decoding pass does: count the units, write them, write them while the text stays well formed, or
// only find out whether it is.
enum class Pass { Count, Write, WriteWellFormed, CheckWellFormed };

constexpr size_t kIllFormed = ~size_t{0};

template <Pass P>
size_t DecodeUtf8(const unsigned char* in, size_t length, char16_t* out, size_t capacity)
{
    constexpr bool write = P == Pass::Write || P == Pass::WriteWellFormed;
    const unsigned char* end = in + length;
    size_t produced = 0;
    while (in < end) {
        unsigned lead = *in;
        if (lead < 0x80) {
            // An ASCII run goes sixteen bytes at a time; a block that holds another byte gives its ASCII head.
            while (end - in >= 16) {
                size_t ascii = AsciiHead16(in);
                if (write && produced + 16 <= capacity)
                    Widen16(in, out + produced);  // the units past the head are written over later
                else if (write)
                    Widen(in, ascii, out + produced);
                in += ascii;
                produced += ascii;
                if (ascii < 16)
                    break;
            }
            while (in < end && *in < 0x80) {
                if (write)
                    out[produced] = *in;
                ++in;
                ++produced;
            }
            continue;
        }
        // Two- and three-byte forms carry most non-ASCII text: take a well-formed one without the general decoder.
        if ((lead & 0xF0) == 0xE0) {
            // Chinese, Japanese and Korean text is long runs of three-byte forms: take them four at a time.
            const unsigned char* start = in;
            while (end - in >= 14) {
                uint32_t first = TwoPlainThreeByteForms(LoadLittle8(in));
                uint32_t second = TwoPlainThreeByteForms(LoadLittle8(in + 6));
                if ((first == 0) | (second == 0))
                    break;
                if (write) {
                    WriteTwoForms(first, out + produced);
                    WriteTwoForms(second, out + produced + 2);
                }
                in += 12;
                produced += 4;
            }
            if (in != start)
                continue;
            uint32_t value = end - in >= 3 ? ThreeByteForm(in[0] | (in[1] << 8) | (in[2] << 16)) : 0;
            if (value != 0) {
                if (write)
                    out[produced] = static_cast<char16_t>(value);
                ++produced;
                in += 3;
                continue;
            }
        } else if (lead >= 0xC2 && lead < 0xE0 && end - in >= 2 && (in[1] & 0xC0) == 0x80) {
            if (write)
                out[produced] = static_cast<char16_t>(((lead & 0x1Fu) << 6) | (in[1] & 0x3Fu));
            ++produced;
            in += 2;
            continue;
        }
        uint32_t codePoint;
        size_t used = DecodeSequence(in, end, codePoint);
        // The fast forms above take every well-formed sequence but the four-byte ones, so a replacement
        // here always stands for an ill-formed sequence.
        if ((P == Pass::WriteWellFormed || P == Pass::CheckWellFormed) && codePoint == kReplacement)
            return kIllFormed;
        in += used;
        if (codePoint < 0x10000) {
            if (write)
                out[produced] = static_cast<char16_t>(codePoint);
            ++produced;
        } else {
            if (write) {
                out[produced] = static_cast<char16_t>(0xD800 + ((codePoint - 0x10000) >> 10));
                out[produced + 1] = static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF));
            }
            produced += 2;
        }
    }
    return produced;
}

// The sum of the eight byte-wide counters of a word.
size_t SumOfByteCounters(uint64_t counters)
{
    counters = (counters & 0x00FF00FF00FF00FFull) + ((counters >> 8) & 0x00FF00FF00FF00FFull);
    return static_cast<size_t>((counters * 0x0001000100010001ull) >> 48);
}

// True when each of the four units in `units` is written as a three-byte form of its own: U+0800 and
// above, but not a surrogate. Each unit's top five bits must be neither 0 nor 11011: adding 11111 carries
// into bit 5 exactly when they are not 0.
bool FourThreeByteUnits(uint64_t units)
{
    uint64_t top = (units >> 11) & 0x001F001F001F001Full;
    uint64_t plain = (top + 0x001F001F001F001Full) & ((top ^ 0x001B001B001B001Bull) + 0x001F001F001F001Full);
    return (plain & 0x0020002000200020ull) == 0x0020002000200020ull;
}

// The three-byte form of such a unit, its first byte lowest.
uint64_t ThreeByteFormOf(uint64_t unit)
{
    return 0x8080E0 | (unit >> 12) | ((unit << 2) & 0x3F00) | ((unit << 16) & 0x3F0000);
}

size_t EncodeUtf8(const char16_t* in, size_t length, unsigned char* out, size_t capacity)
{
    const char16_t* end = in + length;
    size_t produced = 0;
    while (in < end) {
        uint32_t unit = *in;
        if (unit < 0x80) {
            // An ASCII run goes sixteen units at a time; a block that holds another unit gives its ASCII head.
            while (end - in >= 16) {
                size_t ascii = AsciiHead16(in);
                if (produced + 16 <= capacity)
                    Narrow16(in, out + produced);  // the bytes past the head are written over later
                else
                    Narrow(in, ascii, out + produced);
                in += ascii;
                produced += ascii;
                if (ascii < 16)
                    break;
            }
            while (in < end && *in < 0x80) {
                out[produced] = static_cast<unsigned char>(*in);
                ++in;
                ++produced;
            }
            continue;
        }
        // Chinese, Japanese and Korean text is long runs of three-byte forms: write them four at a time,
        // as two words of which the second overwrites the spare bytes of the first.
        const char16_t* start = in;
        while (end - in >= 4 && produced + 14 <= capacity && FourThreeByteUnits(Load8(in))) {
            StoreLittle8(ThreeByteFormOf(in[0]) | (ThreeByteFormOf(in[1]) << 24), out + produced);
            StoreLittle8(ThreeByteFormOf(in[2]) | (ThreeByteFormOf(in[3]) << 24), out + produced + 6);
            in += 4;
            produced += 12;
        }
        if (in != start)
            continue;
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
    size_t last = length - 1;
    // Blocks short enough for a 16-bit counter, and 16-bit arithmetic throughout, let the compiler count
    // eight units per vector step.
    constexpr size_t kBlock = 0x4000;
    for (size_t start = 0; start < last; start += kBlock) {
        size_t stop = last - start < kBlock ? last : start + kBlock;
        uint16_t extra = 0;  // at most two per unit, and exact modulo 2^16 on the way
        for (size_t i = start; i < stop; ++i) {
            uint16_t unit = in[i];
            uint16_t next = in[i + 1];
            uint16_t pair = (static_cast<uint16_t>(unit & 0xFC00) == 0xD800) &
                            (static_cast<uint16_t>(next & 0xFC00) == 0xDC00);
            extra = static_cast<uint16_t>(extra + (unit >= 0x80) + (unit >= 0x800) - 2 * pair);
        }
        bytes += extra;
    }
    bytes += (in[last] >= 0x80) + (in[last] >= 0x800);
    return bytes;
}

}  // namespace

size_t Utf8ToUtf16(const char* text, size_t length, wchar16* target, size_t capacity)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    if (target == nullptr)
        return DecodeUtf8<Pass::Count>(bytes, length, nullptr, 0);
    return DecodeUtf8<Pass::Write>(bytes, length, target, capacity);
}

size_t Utf16UnitsIfWellFormed(const char* text, size_t length)
{
    // A unit per byte but the continuation bytes (10xxxxxx) and a second one per byte from 0xF0, counted a
    // word at a time in byte-wide counters that are summed before they can overflow.
    const unsigned char* in = reinterpret_cast<const unsigned char*>(text);
    size_t units = length;
    size_t words = length / 8;
    while (words > 0) {
        size_t batch = words < 255 ? words : 255;
        uint64_t continuations = 0, fourByteLeads = 0;
        for (size_t i = 0; i < batch; ++i, in += 8) {
            uint64_t bytes = Load8(in);
            continuations += (bytes & ~(bytes << 1) & kHighBits) >> 7;
            fourByteLeads += (bytes & (bytes << 1) & (bytes << 2) & (bytes << 3) & kHighBits) >> 7;
        }
        units = units - SumOfByteCounters(continuations) + SumOfByteCounters(fourByteLeads);
        words -= batch;
    }
    for (size_t i = 0; i < length % 8; ++i)
        units = units - ((in[i] & 0xC0) == 0x80) + (in[i] >= 0xF0);
    return units;
}

bool WellFormedUtf8ToUtf16(const char* text, size_t length, wchar16* target, size_t capacity)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    return DecodeUtf8<Pass::WriteWellFormed>(bytes, length, target, capacity) != kIllFormed;
}

bool IsWellFormedUtf8(const char* text, size_t length)
{
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
    return DecodeUtf8<Pass::CheckWellFormed>(bytes, length, nullptr, 0) != kIllFormed;
}

size_t Utf16ToUtf8(const wchar16* text, size_t length, char* target, size_t capacity)
{
    unsigned char* bytes = reinterpret_cast<unsigned char*>(target);
    return target ? EncodeUtf8(text, length, bytes, capacity) : CountUtf8(text, length);
}

size_t Utf16Length(const wchar16* text, size_t limit)
{
    // Four tests per step; each unit is read only after the one before it was found not to end the text,
    // and no unit at or past the limit is read.
    const wchar16* end = text;
    size_t left = limit;
    for (; left >= 4; left -= 4, end += 4) {
        if (end[0] == 0)
            return static_cast<size_t>(end - text);
        if (end[1] == 0)
            return static_cast<size_t>(end - text) + 1;
        if (end[2] == 0)
            return static_cast<size_t>(end - text) + 2;
        if (end[3] == 0)
            return static_cast<size_t>(end - text) + 3;
    }
    for (; left != 0 && *end != 0; --left, ++end) {
    }
    return static_cast<size_t>(end - text);
}

size_t Utf16LengthWithin(const wchar16* text, size_t count)
{
    // Four units a word, the first in memory lowest: subtracting 1 from each lane borrows into the top bit
    // of the lowest lane that is 0 (lanes above it may be marked by the borrow, so only the lowest counts).
    size_t index = 0;
    for (; count - index >= 4; index += 4) {
        uint64_t word = LoadLittle8(text + index);
        uint64_t zeros = (word - 0x0001000100010001ull) & ~word & 0x8000800080008000ull;
        if (zeros != 0)
            return index + static_cast<size_t>(__builtin_ctzll(zeros)) / 16;
    }
    while (index < count && text[index] != 0)
        ++index;
    return index;
}

}  // namespace encoding
