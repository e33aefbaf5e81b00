// What the host says about itself: its system, its processor word, its name and the toolchain.
#pragma once

#include <string>

namespace platform {

// The distribution's pretty name followed by the kernel's name and release ("Debian GNU/Linux 12
// (bookworm) Linux 6.1.0-18-amd64"), the kernel alone without a distribution, "" when neither is known.
std::string OperatingSystemName();

// The kernel's machine name ("x86_64", "aarch64", "i686"), "" when it cannot be read.
std::string MachineArchitecture();

// The machine's whole host name, "" when it cannot be read.
std::string HostName();

// The compiler and C++ runtime that built the library ("GCC 12.2.0 - libstdc++ 20230112").
std::string BuildToolchainName();

}  // namespace platform
