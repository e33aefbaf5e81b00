// Test support: the pinyin combinations built step by step, as the library's contract describes them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <Veltrane.h>

namespace veltrane_test {

// The combinations of `text` from the letters GetPinYin gives: each character after the first splits the
// list at its commas and appends each of its letters to every combination; over the limit each character
// gives one letter, the first character its last. Slow on purpose: it is the yardstick, not the product.
inline std::string ReferenceFirstLetters(const std::u16string& text)
{
    bool chinese = false;
    size_t contributing = 0;
    uint64_t product = 1;
    for (char16_t unit : text) {
        chinese |= IsChinese(unit);
        size_t letters = GetPinYin(unit).size();
        contributing += letters != 0;
        if (letters > 1 && product < 102400)
            product *= letters;
    }
    if (!chinese)
        return "";
    bool overLimit = 102400 / (contributing + 1) < product;
    std::string result;
    for (char16_t unit : text) {
        std::vector<std::string> letters = GetPinYin(unit);
        if (letters.empty())
            continue;
        size_t used = overLimit ? 1 : letters.size();
        if (result.empty()) {
            for (size_t i = 0; i + 1 < used; ++i)
                result += letters[i] + ",";
            result += letters.back();
            continue;
        }
        std::vector<std::string> combinations = COsString::Split(result, ",");
        result.clear();
        for (const std::string& combination : combinations)
            for (size_t i = 0; i < used; ++i)
                result += combination + letters[i] + ",";
        result.pop_back();
    }
    return result;
}

}  // namespace veltrane_test
