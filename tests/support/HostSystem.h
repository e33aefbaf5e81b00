// What the tests need to know of the system they run on, where an expectation differs between hosts.
#pragma once

#ifdef _WIN32
#include <windows.h>
#endif

namespace veltrane_test {

#ifdef _WIN32
constexpr bool kWindowsHost = true;
constexpr const char kExecutableSuffix[] = ".exe";
constexpr const char kLibraryFileName[] = "Veltrane.dll";
constexpr const char kSystemFamily[] = "Windows";
// Windows keeps its own list of code pages, and Wine lacks some that real Windows has (GB18030 among them).
inline bool SystemLacksCodePage(unsigned page) { return ::IsValidCodePage(page) == 0; }
// True when the Windows programs run under Wine, which names itself through an export of its ntdll.
inline bool UnderWine()
{
    HMODULE ntdll = ::GetModuleHandleA("ntdll.dll");
    return ntdll != nullptr && ::GetProcAddress(ntdll, "wine_get_version") != nullptr;
}
#else
constexpr bool kWindowsHost = false;
constexpr const char kExecutableSuffix[] = "";
constexpr const char kLibraryFileName[] = "libVeltrane.so";
constexpr const char kSystemFamily[] = "Linux";
// Here the library's documented page list is the expectation, which the tests state themselves.
inline bool SystemLacksCodePage(unsigned) { return false; }
inline bool UnderWine() { return false; }
#endif

}  // namespace veltrane_test
