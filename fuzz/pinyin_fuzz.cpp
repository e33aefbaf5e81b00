// Fuzz target: GetPinYinFirstLetters of any bytes gives a well-formed list within the limit, and for short
// texts exactly the list that the step-by-step construction gives.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include <Veltrane.h>

#include "tests/support/PinYinReference.h"

namespace {

void Check(bool condition)
{
    if (!condition)
        std::abort();
}

// Texts up to this many bytes are also built step by step, which costs the square of their length.
constexpr size_t kReferenceBytes = 96;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    // The whole input, NULs included: the call must read only up to the first of them.
    std::string text(reinterpret_cast<const char*>(data), size);
    std::string letters = GetPinYinFirstLetters(text);

    // Letters, digits and commas only; every combination as long as the first; the whole within the limit.
    Check(letters.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789,") ==
          std::string::npos);
    size_t width = letters.find(',');
    if (width != std::string::npos) {
        Check(width > 0 && letters.size() < 102400);
        Check((letters.size() + 1) % (width + 1) == 0);
        for (size_t comma = width; comma < letters.size(); comma += width + 1)
            Check(letters[comma] == ',');
    }

    if (size <= kReferenceBytes) {
        wchar16* wide = nullptr;
        int units = COsEncoding::UTF8ToUnicode(text.c_str(), &wide);
        Check(units >= 0 && wide != nullptr);
        std::u16string decoded(wide);
        delete[] wide;
        Check(letters == veltrane_test::ReferenceFirstLetters(decoded));
    }
    return 0;
}
