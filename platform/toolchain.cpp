// platform/toolchain.cpp — the compiler and C++ runtime that built the library, from their own macros; the
// same on every host, so both sides take it from here.
#include "platform/sysinfo.h"

namespace platform {

std::string BuildToolchainName()
{
#if defined(__clang__)
    std::string name = "Clang " __clang_version__;
#elif defined(__GNUC__)
    std::string name = "GCC " __VERSION__;
#else
    std::string name = "C++ compiler";
#endif
#if defined(__GLIBCXX__)
    name += " - libstdc++ " + std::to_string(__GLIBCXX__);
#elif defined(_LIBCPP_VERSION)
    name += " - libc++ " + std::to_string(_LIBCPP_VERSION);
#endif
    return name;
}

}  // namespace platform
