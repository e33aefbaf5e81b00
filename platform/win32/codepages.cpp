// platform/win32/codepages.cpp — legacy code pages through MultiByteToWideChar and WideCharToMultiByte.
// Both take int lengths and fail on a target that is too small instead of filling it, so a text is counted
// first and written straight into the caller's buffer only when it fits whole; otherwise through a scratch
// copy that is cut to the capacity.
#include "platform/codepages.h"

#include <windows.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

namespace platform {

namespace {

// The system's lengths are ints.
bool Representable(size_t count)
{
    return count <= static_cast<size_t>(INT_MAX);
}

// Pages whose conversion the system refuses with any flag set.
bool TakesNoFlags(unsigned page)
{
    return page == 42 || (page >= 50220 && page <= 50229) || page == 52936 || page == 54936 ||
           (page >= 57002 && page <= 57011);
}

bool IsHighSurrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool IsLowSurrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// The system writes one default character for each unit of a surrogate pair that a page cannot hold, where
// the library promises one per character. Only GB18030 holds characters beyond the BMP; for every other
// page a pair is cut to its first unit, which the page lacks as it lacks the pair.
const char16_t* OnePerCharacter(unsigned page, const char16_t* text, size_t& count, std::u16string& scratch)
{
    if (page == 54936)
        return text;
    size_t pair = 0;
    while (pair + 1 < count && !(IsHighSurrogate(text[pair]) && IsLowSurrogate(text[pair + 1])))
        ++pair;
    if (pair + 1 >= count)
        return text;
    scratch.assign(text, pair);
    for (size_t i = pair; i < count; ++i) {
        scratch.push_back(text[i]);
        if (IsHighSurrogate(text[i]) && i + 1 < count && IsLowSurrogate(text[i + 1]))
            ++i;
    }
    count = scratch.size();
    return scratch.data();
}

}  // namespace

const char* LegacyPageTableName(unsigned page)
{
    return ::IsValidCodePage(page) ? "system code page" : nullptr;
}

long long DecodeLegacyPage(unsigned page, const char* bytes, size_t count, char16_t* target, size_t capacity)
{
    if (!::IsValidCodePage(page) || !Representable(count))
        return -1;
    if (count == 0)
        return 0;  // the system refuses a zero length, where the library counts an empty text as 0 units
    const int length = static_cast<int>(count);
    const int units = ::MultiByteToWideChar(page, 0, bytes, length, nullptr, 0);
    if (units <= 0)
        return -1;
    if (target == nullptr)
        return units;
    auto wideTarget = reinterpret_cast<wchar_t*>(target);
    if (static_cast<size_t>(units) <= capacity) {
        ::MultiByteToWideChar(page, 0, bytes, length, wideTarget, units);
    } else if (capacity > 0) {
        std::vector<wchar_t> whole(static_cast<size_t>(units));
        ::MultiByteToWideChar(page, 0, bytes, length, whole.data(), units);
        std::copy(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(capacity), wideTarget);
    }
    return units;
}

long long EncodeLegacyPage(unsigned page, const char16_t* text, size_t count, char* target, size_t capacity)
{
    if (!::IsValidCodePage(page) || !Representable(count))
        return -1;
    if (count == 0)
        return 0;
    std::u16string scratch;
    text = OnePerCharacter(page, text, count, scratch);
    // No best fit: a character the page lacks becomes its default character, never a look-alike ('e' for
    // 'é'). A null default character lets the system use the page's own, as the stateful pages require.
    const DWORD flags = TakesNoFlags(page) ? 0 : WC_NO_BEST_FIT_CHARS;
    const int length = static_cast<int>(count);
    auto wideText = reinterpret_cast<const wchar_t*>(text);
    const int bytes = ::WideCharToMultiByte(page, flags, wideText, length, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0)
        return -1;
    if (target == nullptr)
        return bytes;
    if (static_cast<size_t>(bytes) <= capacity) {
        ::WideCharToMultiByte(page, flags, wideText, length, target, bytes, nullptr, nullptr);
    } else if (capacity > 0) {
        std::string whole(static_cast<size_t>(bytes), '\0');
        ::WideCharToMultiByte(page, flags, wideText, length, &whole[0], bytes, nullptr, nullptr);
        whole.copy(target, capacity);
    }
    return bytes;
}

}  // namespace platform
