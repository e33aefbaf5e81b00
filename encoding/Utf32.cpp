// UTF-32 -> UTF-8: code points written as they stand, with U+FFFD for values that are no scalar value.
#include "encoding/Utf32.h"

namespace encoding {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

char32_t ScalarValue(char32_t value)
{
    return value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF) ? kReplacement : value;
}

size_t EncodedSize(char32_t value)
{
    return value < 0x80 ? 1 : value < 0x800 ? 2 : value < 0x10000 ? 3 : 4;
}

}  // namespace

size_t Utf32LengthWithin(const char32_t* text, size_t count)
{
    size_t index = 0;
    while (index < count && text[index] != 0)
        ++index;
    return index;
}

size_t Utf32ToUtf8(const char32_t* text, size_t length, char* target)
{
    size_t produced = 0;
    if (target == nullptr) {
        for (size_t i = 0; i < length; ++i)
            produced += EncodedSize(ScalarValue(text[i]));
        return produced;
    }
    unsigned char* out = reinterpret_cast<unsigned char*>(target);
    for (size_t i = 0; i < length; ++i) {
        char32_t value = ScalarValue(text[i]);
        if (value < 0x80) {
            out[produced++] = static_cast<unsigned char>(value);
        } else if (value < 0x800) {
            out[produced++] = static_cast<unsigned char>(0xC0 | (value >> 6));
            out[produced++] = static_cast<unsigned char>(0x80 | (value & 0x3F));
        } else if (value < 0x10000) {
            out[produced++] = static_cast<unsigned char>(0xE0 | (value >> 12));
            out[produced++] = static_cast<unsigned char>(0x80 | ((value >> 6) & 0x3F));
            out[produced++] = static_cast<unsigned char>(0x80 | (value & 0x3F));
        } else {
            out[produced++] = static_cast<unsigned char>(0xF0 | (value >> 18));
            out[produced++] = static_cast<unsigned char>(0x80 | ((value >> 12) & 0x3F));
            out[produced++] = static_cast<unsigned char>(0x80 | ((value >> 6) & 0x3F));
            out[produced++] = static_cast<unsigned char>(0x80 | (value & 0x3F));
        }
    }
    return produced;
}

}  // namespace encoding
