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
    // A null default character lets the system use the page's own, as the stateful pages require.
    const int length = static_cast<int>(count);
    auto wideText = reinterpret_cast<const wchar_t*>(text);
    const int bytes = ::WideCharToMultiByte(page, 0, wideText, length, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0)
        return -1;
    if (target == nullptr)
        return bytes;
    if (static_cast<size_t>(bytes) <= capacity) {
        ::WideCharToMultiByte(page, 0, wideText, length, target, bytes, nullptr, nullptr);
    } else if (capacity > 0) {
        std::string whole(static_cast<size_t>(bytes), '\0');
        ::WideCharToMultiByte(page, 0, wideText, length, &whole[0], bytes, nullptr, nullptr);
        whole.copy(target, capacity);
    }
    return bytes;
}

}  // namespace platform
