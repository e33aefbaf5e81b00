// COsSystem: the names of the operating system and the identity of the machine, the process and the library.
#pragma once

#include <cstdint>
#include <string>

#include "../core/Types.h"

// What the Windows naming decision reads of a Windows machine's version information. A value-initialised
// record (_S_WindowsVersion{}) has every field 0 and every flag false.
struct VELTRANE_API _S_WindowsVersion {
    bool bVersionKnown;            // the version query succeeded; false names "Unknown Operating System"
    uint32_t dwMajorVersion;
    uint32_t dwMinorVersion;
    uint32_t dwBuildNumber;
    uint32_t dwOsFamily;           // 1 the old consumer line, 2 the NT line
    uint16_t wServicePackMajor;
    uint16_t wServicePackMinor;
    uint16_t wSuiteMask;           // compared for equality, never bit by bit
    uint8_t wProductType;          // 1 workstation, anything else server
    uint16_t wProcessorArchitecture;  // 9 is x64
    int nMetricServerR2;           // the second-release marker of the 2003 server line
    bool bHasTrueVersion;          // the true version could be asked for
    uint32_t dwTrueMajorVersion;
    uint32_t dwTrueMinorVersion;
    uint32_t dwTrueBuildNumber;
    uint16_t wTrueSuiteMask;
    uint8_t wTrueProductType;
    bool bHasProductInfo;          // the product type could be asked for
    uint32_t dwProductInfoType;    // the product type of the version that the naming ends on
};

class VELTRANE_API COsSystem
{
public:
    // This host's system: the distribution and the kernel; never empty.
    static std::string GetSystemVersion();

    // The same text as GetSystemVersion.
    static std::string GetCoreVersion();

    // The compiler and C++ runtime that built the library.
    static std::string GetGCCVersion();

    // 64 on a 64-bit machine, otherwise 32.
    static uint32_t GetSystemBits();

    // The name of a Windows machine's version ("Microsoft Windows 7 Ultimate Service Pack 1"), on any host.
    static std::string NameWindowsVersion(const _S_WindowsVersion& version);

    // "mode:Windows;baseBoardSN:<board serial>;processorId:<processor id>", as two child processes report
    // them; "" when either query fails. Starts two children on every call.
    static std::string GetPCUniqueCode();

    // The directory of the library's file with a trailing "/".
    static std::string GetVeltraneLibDir();

    // The machine's host name, "" on failure.
    static std::string GetMachineName();

    // The file name of the process's executable.
    static std::string GetProcessName();

    // The full path of the process's executable, as COsDirectory::GetCurrentModuleFileName gives it.
    static std::string GetProcessPath();

private:
    COsSystem() {}
    ~COsSystem() {}
};
