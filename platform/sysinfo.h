// What the host says about itself: its family and system, its word width, its name, the toolchain, and
// the two questions that identify its machine.
#pragma once

#include <string>

#include "platform/process.h"

struct _S_WindowsVersion;

namespace platform {

// The family of systems the library was built for, as CVeltrane reports it: "Windows" or "Linux".
const char* SystemFamilyName();

// Fills `version` from the host's version services, each looked up as the Windows naming expects,
// and gives true; false, leaving `version` as it was, on a host that keeps no Windows version record.
bool ReadWindowsVersion(_S_WindowsVersion& version);

// The system's name where the host does not describe itself with a Windows version record: the
// distribution's pretty name followed by the kernel's name and release ("Debian GNU/Linux 12 (bookworm)
// Linux 6.1.0-18-amd64"), the kernel alone without a distribution, "" when neither is known.
std::string OperatingSystemName();

// The width of the system's native word: 64 on a 64-bit system (whatever this process's own width),
// else 32.
unsigned SystemBits();

// The machine's whole host name, "" when it cannot be read.
std::string HostName();

// The compiler and C++ runtime that built the library ("GCC 12.2.0 - libstdc++ 20230112").
std::string BuildToolchainName();

// One question about the machine that a child program answers: its output holds the column name, and
// the value stands behind it (the first occurrence counts). The program is run by RunAndReadOnce.
struct MachineQuery {
    ChildProgram program;
    std::string columnName;
};

// The serial number of the machine's board, under the column "SerialNumber". A host that keeps it
// unreadable still answers the column, with an empty value.
MachineQuery BoardSerialQuery();

// The identity of the machine's processors, one value per physical processor, under the column
// "ProcessorId".
// Host notes: Linux gives each package's CPUID signature (family, model and stepping as in EAX of leaf 1)
// in eight hexadecimal digits, read from /proc/cpuinfo.
MachineQuery ProcessorIdQuery();

}  // namespace platform
