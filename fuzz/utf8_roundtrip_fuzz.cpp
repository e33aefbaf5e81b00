// Fuzz target: any bytes convert without fault; valid UTF-8 survives UTF-8 -> UTF-16 -> UTF-8 unchanged,
// and the UTF-16 of any input is valid UTF-16 that survives the way back and forth again.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "encoding/COsEncoding.h"

namespace {

// True when `text` is well-formed UTF-8 (no overlong form, no surrogate, nothing past U+10FFFF).
bool IsValidUtf8(const std::string& text)
{
    size_t i = 0;
    while (i < text.size()) {
        unsigned char lead = static_cast<unsigned char>(text[i]);
        size_t trailing;
        unsigned low = 0x80, high = 0xBF;
        if (lead < 0x80) {
            ++i;
            continue;
        } else if (lead >= 0xC2 && lead <= 0xDF) {
            trailing = 1;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            trailing = 2;
            low = lead == 0xE0 ? 0xA0 : 0x80;
            high = lead == 0xED ? 0x9F : 0xBF;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            trailing = 3;
            low = lead == 0xF0 ? 0x90 : 0x80;
            high = lead == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (i + trailing >= text.size())
            return false;
        for (size_t k = 1; k <= trailing; ++k) {
            unsigned char byte = static_cast<unsigned char>(text[i + k]);
            if (byte < low || byte > high)
                return false;
            low = 0x80;
            high = 0xBF;
        }
        i += trailing + 1;
    }
    return true;
}

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The interface takes terminated text, so the input ends at its first NUL.
    std::string text(reinterpret_cast<const char*>(data), size);
    text.resize(std::strlen(text.c_str()));

    wchar16* wide = nullptr;
    int units = COsEncoding::UTF8ToUTF16(text.c_str(), &wide);
    Check(wide != nullptr);
    Check(units == (text.empty() ? 0 : static_cast<int>(std::char_traits<char16_t>::length(wide)) + 1));

    char* back = nullptr;
    int bytes = COsEncoding::UTF16ToUTF8(wide, &back);
    Check(back != nullptr && bytes >= 0);
    if (IsValidUtf8(text))
        Check(text == back);
    else
        Check(IsValidUtf8(back));  // every invalid part became U+FFFD, so the way back is well-formed

    wchar16* again = nullptr;
    Check(COsEncoding::UTF8ToUTF16(back, &again) == units);
    Check(std::char_traits<char16_t>::compare(wide, again, units > 0 ? units : 1) == 0);
    delete[] again;

    // The legacy paths must not fault either, whatever they make of the text.
    char* ansi = nullptr;
    Check(COsEncoding::UTF8ToAnsi(text.c_str(), "windows-1252", &ansi) >= 0);
    delete[] ansi;
    char* decoded = nullptr;
    Check(COsEncoding::AnsiToUTF8(text.c_str(), "GBK", &decoded) >= 0);
    delete[] decoded;

    delete[] back;
    delete[] wide;
    return 0;
}
