// platform/posix/sysinfo.cpp — uname(2), gethostname(2), /etc/os-release, and
// the machine identity questions, answered by awk from /sys and /proc.
#include "platform/sysinfo.h"

#include <sys/utsname.h>
#include <unistd.h>

#include <fstream>
#include <vector>

namespace platform {

namespace {

const char kAwk[] = "/usr/bin/awk";

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

const char* SystemFamilyName()
{
    return "Linux";
}

bool ReadWindowsVersion(_S_WindowsVersion&)
{
    return false;
}

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

// Kernels name 64-bit machines with a "64" (x86_64, aarch64, ppc64le, riscv64), except IBM's s390x.
unsigned SystemBits()
{
    utsname kernel;
    if (::uname(&kernel) != 0)
        return 8 * sizeof(void*);
    const std::string machine = kernel.machine;
    return machine.find("64") != std::string::npos || machine == "s390x" ? 64 : 32;
}

std::string HostName()
{
    std::vector<char> buffer(256 + 1, '\0');
    if (::gethostname(buffer.data(), buffer.size() - 1) != 0)
        return std::string();
    return buffer.data();
}

// Both questions are answered by awk, run from its fixed path: each prints its column name on a line of
// its own, then the values. Files are read with getline, so one it cannot read gives no value and no
// message that would land in the output.
MachineQuery BoardSerialQuery()
{
    return {{kAwk,
             {"BEGIN { print \"SerialNumber\"; "
              "while ((getline line < \"/sys/class/dmi/id/board_serial\") > 0) print line }"}},
            "SerialNumber"};
}

// The CPUID signature of each physical package: stepping in bits 0-3, model in 4-7 and its extension in
// 16-19, family in 8-11 (15 at most) and what the family has above 15 in 20-27. A block of /proc/cpuinfo
// ends with an empty line.
MachineQuery ProcessorIdQuery()
{
    return {{kAwk,
             {"BEGIN { FS = \": *\"; print \"ProcessorId\"; "
              "while ((getline < \"/proc/cpuinfo\") > 0) { "
              "if ($0 ~ /^physical id/) package = $2; "
              "else if ($0 ~ /^cpu family/) family = $2; "
              "else if ($0 ~ /^model[ \t]*:/) model = $2; "
              "else if ($0 ~ /^stepping/) stepping = $2; "
              "else if ($0 == \"\") { if (family != \"\" && !(package in seen)) { seen[package] = 1; "
              "baseFamily = family > 15 ? 15 : family; extendedFamily = family > 15 ? family - 15 : 0; "
              "printf \"%08X\\n\", stepping + (model % 16) * 16 + baseFamily * 256 + int(model / 16) * 65536 "
              "+ extendedFamily * 1048576 } family = \"\" } } }"}},
            "ProcessorId"};
}

}  // namespace platform
