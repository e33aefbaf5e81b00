// The Windows naming decision: the product name, edition and service pack of a Windows version record.
// Every row stays, however old the system it names, and the texts stand exactly as Windows tools wrote them.
#include "identity/COsSystem.h"

namespace {

const char kUnknownSystem[] = "Unknown Operating System";

constexpr uint32_t kFamilyConsumer = 1;
constexpr uint32_t kFamilyNt = 2;
constexpr uint8_t kWorkstation = 1;
constexpr uint16_t kArchitectureX64 = 9;

constexpr uint16_t kSuiteEnterprise = 2;
constexpr uint16_t kSuiteEmbedded = 64;
constexpr uint16_t kSuiteDatacenter = 128;
constexpr uint16_t kSuitePersonal = 512;
constexpr uint16_t kSuiteBlade = 0x400;
constexpr uint16_t kSuiteStorageServer = 0x2000;
constexpr uint16_t kSuiteComputeServer = 0x4000;
constexpr uint16_t kSuiteHomeServer = 0x8000;

// Product types without a text stay empty: they add nothing.
const char* const kProductSuffixes[] = {
    " Produit inconnu",                                   // 0
    " Ultimate",                                          // 1
    " Home Basic",                                        // 2
    " Home Premium",                                      // 3
    " Enterprise",                                        // 4
    " Home Basic N",                                      // 5
    " Business",                                          // 6
    " Standard",                                          // 7
    " Datacenter",                                        // 8
    " Small Business Server",                             // 9
    " Server Enterprise",                                 // 10
    " Starter",                                           // 11
    " Datacenter (core installation)",                    // 12
    " Standard (core installation)",                      // 13
    " Server Enterprise (core installation)",             // 14
    " Enterprise pour Itanium",                           // 15
    " Business N",                                        // 16
    " Web Server",                                        // 17
    " HPC",                                               // 18
    "",                                                   // 19
    " Storage Server Express",                            // 20
    " Storage Server Standard",                           // 21
    " Storage Server Workgroup",                          // 22
    " Storage Server Enterprise",                         // 23
    " Windows Essential Server Solutions",                // 24
    "",                                                   // 25
    " Home Premium N",                                    // 26
    " Enterprise N",                                      // 27
    " Ultimate N",                                        // 28
    " Web Server(core installation)",                     // 29
    " Essential Business Server Management Server",       // 30
    " Essential Business Server Security Server",         // 31
    " Essential Business Server Messaging Server",        // 32
    "",                                                   // 33
    "",                                                   // 34
    " Windows Essential Server Solutions sans Hyper-V",   // 35
    " Standard sans Hyper-V",                             // 36
    " Datacenter sans Hyper-V",                           // 37
    " Server Enterprise sans Hyper-V",                    // 38
    " Datacenter sans Hyper-V(core installation)",        // 39
    " Standard sans Hyper-V(core installation)",          // 40
    " Server Enterprise sans Hyper-V(core installation)", // 41
    " Microsoft Hyper-V Server",                          // 42
    "", "", "", "", "",                                   // 43 to 47
    " Professional",                                      // 48
    " Professional N",                                    // 49
    "", "", "", "", "", "", "", "", "",                   // 50 to 58
    "", "", "", "", "", "", "", "",                       // 59 to 66
    " Home Basic E",                                      // 67
    " Home Premium E",                                    // 68
    " Professional E",                                    // 69
    " Enterprise E",                                      // 70
    " Ultimate E",                                        // 71
};
static_assert(sizeof kProductSuffixes / sizeof kProductSuffixes[0] == 72, "one row per product type 0 to 71");

// The fields that the decision works on; the true-version step replaces some of them.
struct Reading {
    uint32_t major, minor, build;
    uint16_t servicePackMajor, servicePackMinor, suite;
    bool workstation;
};

std::string NtVersionText(const Reading& reading)
{
    return "Microsoft Windows NT v" + std::to_string(reading.major) + "." + std::to_string(reading.minor);
}

std::string NameVersion3(const _S_WindowsVersion& version, const Reading& reading)
{
    if (version.dwOsFamily != kFamilyNt)
        return kUnknownSystem;
    switch (reading.minor) {
    case 0: return "Microsoft Windows NT 3";
    case 1: return "Microsoft Windows NT 3.1";
    case 51: return "Microsoft Windows NT 3.51";
    default: return "Microsoft Windows NT";
    }
}

std::string NameVersion4(const _S_WindowsVersion& version, const Reading& reading)
{
    if (version.dwOsFamily == kFamilyNt)
        return "Microsoft Windows NT 4.0";
    if (version.dwOsFamily != kFamilyConsumer)
        return kUnknownSystem;
    switch (reading.minor) {
    case 0:
        if (reading.build == 111)
            return "Microsoft Windows 95 SR2.5";
        if (reading.build == 950)
            return "Microsoft Windows 95";
        return "Microsoft Windows 95 SR2";
    case 3: return "Microsoft Windows 95 SR2.x";
    case 10: return reading.build == 2222 ? "Microsoft Windows 98 Second Edition" : "Microsoft Windows 98";
    case 90: return "Microsoft Windows Me";
    default: return kUnknownSystem;
    }
}

std::string NameWindows2000(const Reading& reading)
{
    const std::string base = "Microsoft Windows 2000";
    if (reading.workstation)
        return base + (reading.suite == kSuitePersonal ? " Home Edition" : " Professional");
    if (reading.suite == kSuiteDatacenter)
        return base + " DataCenter Server";
    if (reading.suite == kSuiteEnterprise)
        return base + " Advanced Server";
    return base + " Server";
}

std::string NameWindowsXp(const Reading& reading)
{
    const std::string base = "Microsoft Windows XP";
    if (reading.suite == kSuiteEmbedded)
        return base + " Embedded";
    if (reading.suite == kSuitePersonal)
        return base + " Home Edition";
    return base + " Professional";
}

std::string NameServer2003Line(const _S_WindowsVersion& version, const Reading& reading)
{
    if (reading.workstation && version.wProcessorArchitecture == kArchitectureX64)
        return "Microsoft Windows XP Professional x64 Edition";
    if (reading.suite == kSuiteHomeServer)
        return "Microsoft Windows Home Server";
    if (reading.suite == kSuiteStorageServer)
        return version.nMetricServerR2 != 0 ? "Windows Storage Server 2003 R2" : "Windows Storage Server 2003";
    if (version.nMetricServerR2 != 0)
        return "Windows Server 2003 R2";
    const std::string base = "Microsoft Windows Server 2003";
    switch (reading.suite) {
    case kSuiteDatacenter: return base + " Datacenter Edition";
    case kSuiteEnterprise: return base + " Enterprise Edition";
    case kSuiteComputeServer: return base + " Compute Cluster Edition";
    case kSuiteBlade: return base + " Web Edition";
    default: return base + " Standard Edition";
    }
}

std::string NameVersion5(const _S_WindowsVersion& version, const Reading& reading)
{
    switch (reading.minor) {
    case 0: return NameWindows2000(reading);
    case 1: return NameWindowsXp(reading);
    case 2: return NameServer2003Line(version, reading);
    default: return NtVersionText(reading);
    }
}

std::string NameWindows8Line(const Reading& reading)
{
    const std::string base = reading.workstation ? "Microsoft Windows 8" : "Microsoft Windows Server 2012";
    if (reading.build == 7867)
        return base + " Milestone1";
    if (reading.build >= 7910 && reading.build <= 7947)
        return base + " Milestone2";
    if (reading.build == 7955)
        return base + " Milestone3";
    return base;
}

// Windows 8 and later report 6.2 to a caller that does not declare them; the true version tells them apart.
std::string NameTrueVersion(const _S_WindowsVersion& version, Reading& reading)
{
    if (!version.bHasTrueVersion)
        return kUnknownSystem;
    reading.major = version.dwTrueMajorVersion;
    reading.minor = version.dwTrueMinorVersion;
    reading.build = version.dwTrueBuildNumber;
    reading.suite = version.wTrueSuiteMask;
    reading.workstation = version.wTrueProductType == kWorkstation;
    reading.servicePackMajor = 0;
    reading.servicePackMinor = 0;
    if (reading.major == 10) {
        const std::string base = reading.workstation ? "Microsoft Windows 10 " : "Microsoft Windows Server 2016 ";
        return base + std::to_string(reading.build);
    }
    if (reading.major == 6 && reading.minor == 3)
        return reading.workstation ? "Microsoft Windows 8.1" : "Microsoft Windows Server 2012 R2";
    if (reading.major == 6 && reading.minor == 2)
        return reading.workstation ? "Microsoft Windows 8" : "Microsoft Windows Server 2012";
    return NtVersionText(reading);
}

std::string NameVersion6(const _S_WindowsVersion& version, Reading& reading)
{
    switch (reading.minor) {
    case 0: return reading.workstation ? "Microsoft Windows Vista" : "Microsoft Windows Server 2008";
    case 1:
        if (reading.build == 6801)
            return "Microsoft Windows 7 preBeta build M3 PDC 2008";
        return reading.workstation ? "Microsoft Windows 7" : "Microsoft Windows Server 2008 R2";
    case 2:
        if (reading.build >= 9200)
            return NameTrueVersion(version, reading);
        return NameWindows8Line(reading);
    default: return NtVersionText(reading);
    }
}

std::string ProductSuffix(const _S_WindowsVersion& version)
{
    const uint32_t count = sizeof kProductSuffixes / sizeof kProductSuffixes[0];
    if (!version.bHasProductInfo || version.dwProductInfoType >= count)
        return std::string();
    return kProductSuffixes[version.dwProductInfoType];
}

std::string ServicePackText(const Reading& reading)
{
    if (reading.servicePackMajor == 0)
        return std::string();
    std::string text = " Service Pack " + std::to_string(reading.servicePackMajor);
    if (reading.servicePackMinor != 0)
        text += "." + std::to_string(reading.servicePackMinor);
    return text;
}

}  // namespace

std::string COsSystem::NameWindowsVersion(const _S_WindowsVersion& version)
{
    if (!version.bVersionKnown)
        return kUnknownSystem;
    Reading reading{version.dwMajorVersion,    version.dwMinorVersion,    version.dwBuildNumber,
                    version.wServicePackMajor, version.wServicePackMinor, version.wSuiteMask,
                    version.wProductType == kWorkstation};
    std::string name;
    switch (reading.major) {
    case 3: name = NameVersion3(version, reading); break;
    case 4: name = NameVersion4(version, reading); break;
    case 5: name = NameVersion5(version, reading); break;
    case 6: name = NameVersion6(version, reading) + ProductSuffix(version); break;
    default: name = kUnknownSystem; break;
    }
    return name + ServicePackText(reading);
}
