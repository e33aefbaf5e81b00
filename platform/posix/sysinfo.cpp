// platform/posix/sysinfo.cpp — uname(2), gethostname(2), /etc/os-release and the compiler's own macros.
#include "platform/sysinfo.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>
#include <vector>

namespace platform {

namespace {

// PRETTY_NAME may stand quoted or bare; a value with quotes inside is not unescaped, as no
// distribution writes one.
std::string DistributionName()
{
    std::ifstream release("/etc/os-release");
    if (!release)
        release.open("/usr/lib/os-release");
    const std::string key = "PRETTY_NAME=";
    std::string line;
    while (std::getline(release, line)) {
        if (line.compare(0, key.size(), key) != 0)
            continue;
        std::string value = line.substr(key.size());
        if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front())
            value = value.substr(1, value.size() - 2);
        return value;
    }
    return std::string();
}

}  // namespace

std::string OperatingSystemName()
{
    std::string name = DistributionName();
    utsname kernel;
    if (::uname(&kernel) == 0) {
        if (!name.empty())
            name += ' ';
        name += kernel.sysname;
        name += ' ';
        name += kernel.release;
    }
    return name;
}

std::string MachineArchitecture()
{
    utsname kernel;
    return ::uname(&kernel) == 0 ? std::string(kernel.machine) : std::string();
}

std::string HostName()
{
    std::vector<char> buffer(256 + 1, '\0');
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0)
        return std::string();
    return buffer.data();
}

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
