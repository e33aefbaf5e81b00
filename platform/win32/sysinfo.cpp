// platform/win32/sysinfo.cpp — the version record for the Windows naming, the system's word width, the
// computer's name and the machine identity questions. The version services are looked up at run time, as
// the naming expects: a system that lacks one leaves its part of the record unset, and the naming says
// what that means.
#include "platform/sysinfo.h"

#include <windows.h>

#include "identity/COsSystem.h"
#include "platform/win32/SystemText.h"

namespace platform {

namespace {

typedef LONG(WINAPI* RtlGetVersionFunction)(OSVERSIONINFOEXW*);
typedef BOOL(WINAPI* GetProductInfoFunction)(DWORD, DWORD, DWORD, DWORD, DWORD*);
typedef void(WINAPI* GetNativeSystemInfoFunction)(SYSTEM_INFO*);

template <typename Function>
Function Lookup(HMODULE module, const char* name)
{
    if (module == nullptr)
        return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

SYSTEM_INFO NativeSystemInfo()
{
    SYSTEM_INFO information;
    ZeroMemory(&information, sizeof(information));
    auto native = Lookup<GetNativeSystemInfoFunction>(::GetModuleHandleA("kernel32"), "GetNativeSystemInfo");
    if (native != nullptr)
        native(&information);
    else
        ::GetSystemInfo(&information);
    return information;
}

}  // namespace

const char* SystemFamilyName()
{
    return "Windows";
}

bool ReadWindowsVersion(_S_WindowsVersion& version)
{
    version = _S_WindowsVersion{};
    version.wProcessorArchitecture = NativeSystemInfo().wProcessorArchitecture;
    version.nMetricServerR2 = ::GetSystemMetrics(SM_SERVERR2);

    OSVERSIONINFOEXA reported;
    ZeroMemory(&reported, sizeof(reported));
    reported.dwOSVersionInfoSize = sizeof(reported);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    version.bVersionKnown = ::GetVersionExA(reinterpret_cast<OSVERSIONINFOA*>(&reported)) != 0;
#pragma GCC diagnostic pop
    if (!version.bVersionKnown)
        return true;
    version.dwMajorVersion = reported.dwMajorVersion;
    version.dwMinorVersion = reported.dwMinorVersion;
    version.dwBuildNumber = reported.dwBuildNumber;
    version.dwOsFamily = reported.dwPlatformId;
    version.wServicePackMajor = reported.wServicePackMajor;
    version.wServicePackMinor = reported.wServicePackMinor;
    version.wSuiteMask = reported.wSuiteMask;
    version.wProductType = reported.wProductType;

    auto trueVersion = Lookup<RtlGetVersionFunction>(::GetModuleHandleW(L"NTDLL"), "RtlGetVersion");
    OSVERSIONINFOEXW truth;
    ZeroMemory(&truth, sizeof(truth));
    truth.dwOSVersionInfoSize = sizeof(truth);
    if (trueVersion != nullptr && trueVersion(&truth) == 0) {
        version.bHasTrueVersion = true;
        version.dwTrueMajorVersion = truth.dwMajorVersion;
        version.dwTrueMinorVersion = truth.dwMinorVersion;
        version.dwTrueBuildNumber = truth.dwBuildNumber;
        version.wTrueSuiteMask = truth.wSuiteMask;
        version.wTrueProductType = truth.wProductType;
    }

    // The product type is asked for the version that the naming ends on: the true one, with no service
    // pack, when the reported 6.2 of build 9200 or more is asked again.
    auto productInfo = Lookup<GetProductInfoFunction>(::GetModuleHandleW(L"kernel32.dll"), "GetProductInfo");
    if (productInfo != nullptr) {
        bool askedAgain = version.bHasTrueVersion && reported.dwMajorVersion == 6 && reported.dwMinorVersion == 2 &&
                          reported.dwBuildNumber >= 9200;
        DWORD product = 0;
        if (askedAgain)
            productInfo(truth.dwMajorVersion, truth.dwMinorVersion, 0, 0, &product);
        else
            productInfo(reported.dwMajorVersion, reported.dwMinorVersion, reported.wServicePackMajor,
                        reported.wServicePackMinor, &product);
        version.bHasProductInfo = true;
        version.dwProductInfoType = product;
    }
    return true;
}

std::string OperatingSystemName()
{
    // Windows describes itself through its version record.
    return std::string();
}

unsigned SystemBits()
{
    switch (NativeSystemInfo().wProcessorArchitecture) {
    case PROCESSOR_ARCHITECTURE_AMD64:
    case PROCESSOR_ARCHITECTURE_IA64:
    case PROCESSOR_ARCHITECTURE_ARM64:
        return 64;
    default:
        return 32;
    }
}

std::string HostName()
{
    // The DNS host name is the whole name; the NetBIOS computer name is cut to 15 characters.
    DWORD length = 0;
    ::GetComputerNameExW(ComputerNameDnsHostname, nullptr, &length);
    if (length == 0)
        return std::string();
    std::wstring name(length, L'\0');
    if (!::GetComputerNameExW(ComputerNameDnsHostname, &name[0], &length))
        return std::string();
    name.resize(length);
    return win32::Narrow(name);
}

// The system's management tool, from the system directory, answers both questions; it writes its table in
// UTF-16 to a pipe, which the child runner gives as UTF-8.
namespace {

MachineQuery ManagementQuery(std::initializer_list<std::string> arguments, const std::string& column)
{
    wchar_t directory[MAX_PATH];
    UINT length = ::GetSystemDirectoryW(directory, MAX_PATH);
    std::string tool;
    if (length > 0 && length < MAX_PATH)
        tool = win32::Narrow(directory, length) + "\\wbem\\WMIC.exe";
    return {{tool, arguments}, column};
}

}  // namespace

MachineQuery BoardSerialQuery()
{
    return ManagementQuery({"BaseBoard", "get", "SerialNumber"}, "SerialNumber");
}

MachineQuery ProcessorIdQuery()
{
    return ManagementQuery({"cpu", "get", "ProcessorId"}, "ProcessorId");
}

}  // namespace platform
