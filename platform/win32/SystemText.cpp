// platform/win32/SystemText.cpp — UTF-8 <-> UTF-16 through the system's own converter, and module names.
#include "platform/win32/SystemText.h"

#include <windows.h>

#include <climits>
#include <vector>

namespace platform {
namespace win32 {

std::wstring Widen(const std::string& text)
{
    std::wstring wide;
    if (text.empty() || text.size() > static_cast<size_t>(INT_MAX))
        return wide;
    int length = static_cast<int>(text.size());
    int units = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    if (units <= 0)
        return wide;
    wide.resize(static_cast<size_t>(units));
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, &wide[0], units);
    return wide;
}

namespace {

constexpr size_t kLongestName = 32767;  // the system's longest name, in UTF-16 units, prefix included

bool IsSeparator(wchar_t unit)
{
    return unit == L'\\' || unit == L'/';
}

// A name in the system's own namespaces ("\\?\", "\\.\", with either separator): the caller chose the
// system's form, and no prefix of ours goes in front of it.
bool HasSystemHead(const std::wstring& name)
{
    return name.size() >= 4 && IsSeparator(name[0]) && IsSeparator(name[1]) && (name[2] == L'?' || name[2] == L'.') &&
           IsSeparator(name[3]);
}

}  // namespace

std::wstring VerbatimName(const std::wstring& name)
{
    if (name.empty() || name.size() > kLongestName) {
        ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return std::wstring();
    }
    if (name.compare(0, 4, L"\\\\?\\") == 0)
        return name;
    // The system's full-name rule first, as for any name it is given: "." and ".." resolved, the trailing
    // dots and blanks of the last level dropped, "/" turned into "\", a relative name put in its place.
    std::wstring full(kLongestName + 1, L'\0');
    const DWORD length = ::GetFullPathNameW(name.c_str(), static_cast<DWORD>(full.size()), &full[0], nullptr);
    if (length == 0 || length >= full.size()) {
        ::SetLastError(length == 0 ? ERROR_INVALID_NAME : ERROR_FILENAME_EXCED_RANGE);
        return std::wstring();
    }
    full.resize(length);
    if (full.compare(0, 4, L"\\\\.\\") == 0)
        full[2] = L'?';
    else if (full.size() >= 2 && full[0] == L'\\' && full[1] == L'\\')
        full.replace(0, 2, L"\\\\?\\UNC\\");
    else if (full.size() >= 3 && full[1] == L':' && full[2] == L'\\')
        full.insert(0, L"\\\\?\\");
    if (full.size() > kLongestName) {
        ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return std::wstring();
    }
    return full;
}

std::wstring FileName(const std::string& path)
{
    // The classic limit, with room for a directory's 8.3 file name behind it.
    constexpr size_t kClassicLimit = MAX_PATH - 12;
    if (path.empty()) {
        ::SetLastError(ERROR_PATH_NOT_FOUND);
        return std::wstring();
    }
    if (path.size() > 3 * kLongestName) {  // every three UTF-8 bytes make at least one unit
        ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return std::wstring();
    }
    const int length = static_cast<int>(path.size());
    const int units = path.find('\0') != std::string::npos
                          ? 0
                          : ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path.data(), length, nullptr, 0);
    if (units <= 0) {
        ::SetLastError(ERROR_INVALID_NAME);
        return std::wstring();
    }
    std::wstring name(static_cast<size_t>(units), L'\0');
    ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, path.data(), length, &name[0], units);
    if (HasSystemHead(name)) {
        // The library's normal form turned the separators of the caller's head and name into "/", which the
        // system's verbatim form does not read as one; no name holds a "/" of its own.
        for (wchar_t& unit : name)
            if (unit == L'/')
                unit = L'\\';
    } else if (name.size() > kClassicLimit) {
        return VerbatimName(name);
    }
    if (name.size() > kLongestName) {
        ::SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return std::wstring();
    }
    return name;
}

std::string Narrow(const wchar_t* text, size_t count)
{
    std::string narrow;
    if (text == nullptr || count == 0 || count > static_cast<size_t>(INT_MAX) / 3)
        return narrow;
    int length = static_cast<int>(count);
    int bytes = ::WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    if (bytes <= 0)
        return narrow;
    narrow.resize(static_cast<size_t>(bytes));
    ::WideCharToMultiByte(CP_UTF8, 0, text, length, &narrow[0], bytes, nullptr, nullptr);
    return narrow;
}

std::string Narrow(const std::wstring& text)
{
    return Narrow(text.data(), text.size());
}

// GetModuleFileNameW cuts a long name to the buffer and says so only by filling it: grow until it fits.
std::string ModuleFilePath(void* module)
{
    std::vector<wchar_t> buffer(MAX_PATH);
    for (;;) {
        DWORD length = ::GetModuleFileNameW(static_cast<HMODULE>(module), buffer.data(), static_cast<DWORD>(buffer.size()));
        if (length == 0)
            return std::string();
        if (length < buffer.size())
            return Narrow(buffer.data(), length);
        if (buffer.size() >= 32768)
            return std::string();
        buffer.resize(buffer.size() * 2);
    }
}

}  // namespace win32
}  // namespace platform
