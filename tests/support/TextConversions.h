// Test support: UTF-8 and UTF-16 standard strings through the library's own conversions.
#pragma once

#include <string>

#include <Veltrane.h>

namespace veltrane_test {

// The UTF-16 of `text`, empty when the conversion fails; `status` receives the conversion's result.
inline std::u16string ToUtf16(const std::string& text, int* status = nullptr)
{
    wchar16* wide = nullptr;
    int result = COsEncoding::UTF8ToUTF16(text.c_str(), &wide);
    if (status)
        *status = result;
    std::u16string converted = wide ? std::u16string(wide) : std::u16string();
    delete[] wide;
    return converted;
}

// The UTF-8 of `text`, empty when the conversion fails; `status` receives the conversion's result.
inline std::string ToUtf8(const std::u16string& text, int* status = nullptr)
{
    char* narrow = nullptr;
    int result = COsEncoding::UTF16ToUTF8(text.c_str(), &narrow);
    if (status)
        *status = result;
    std::string converted = narrow ? std::string(narrow) : std::string();
    delete[] narrow;
    return converted;
}

}  // namespace veltrane_test
