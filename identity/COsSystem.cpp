// COsSystem: this host's system names, the machine identity and where the process and the library lie.
#include "identity/COsSystem.h"

#include "filesystem/COsDirectory.h"
#include "filesystem/LibraryDirectory.h"
#include "identity/MachineIdentity.h"
#include "platform/sysinfo.h"

namespace {

const char kUnknownSystem[] = "Unknown Operating System";

}  // namespace

std::string COsSystem::GetSystemVersion()
{
    _S_WindowsVersion version{};
    if (platform::ReadWindowsVersion(version))
        return NameWindowsVersion(version);
    const std::string name = platform::OperatingSystemName();
    return name.empty() ? kUnknownSystem : name;
}

std::string COsSystem::GetCoreVersion()
{
    return GetSystemVersion();
}

std::string COsSystem::GetGCCVersion()
{
    return platform::BuildToolchainName();
}

uint32_t COsSystem::GetSystemBits()
{
    return platform::SystemBits();
}

std::string COsSystem::GetPCUniqueCode()
{
    return identity::ComposeMachineIdentity(platform::BoardSerialQuery(), platform::ProcessorIdQuery());
}

std::string COsSystem::GetVeltraneLibDir()
{
    return location::LibraryDirectory();
}

std::string COsSystem::GetMachineName()
{
    return platform::HostName();
}

std::string COsSystem::GetProcessName()
{
    std::string name;
    COsDirectory::GetFileName(COsDirectory::GetCurrentModuleFileName(), name);
    return name;
}

std::string COsSystem::GetProcessPath()
{
    return COsDirectory::GetCurrentModuleFileName();
}
