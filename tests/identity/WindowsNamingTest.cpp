// COsSystem::NameWindowsVersion: the Windows naming tree over version records.
#include <gtest/gtest.h>

#include <string>

#include <Veltrane.h>

namespace {

constexpr uint8_t kWorkstation = 1;
constexpr uint8_t kServer = 3;

_S_WindowsVersion Version(uint32_t major, uint32_t minor, uint32_t build = 0, uint8_t productType = kWorkstation)
{
    _S_WindowsVersion version{};
    version.bVersionKnown = true;
    version.dwMajorVersion = major;
    version.dwMinorVersion = minor;
    version.dwBuildNumber = build;
    version.dwOsFamily = 2;
    version.wProductType = productType;
    return version;
}

_S_WindowsVersion WithSuite(_S_WindowsVersion version, uint16_t suite)
{
    version.wSuiteMask = suite;
    return version;
}

_S_WindowsVersion WithFamily(_S_WindowsVersion version, uint32_t family)
{
    version.dwOsFamily = family;
    return version;
}

_S_WindowsVersion WithProduct(_S_WindowsVersion version, uint32_t product)
{
    version.bHasProductInfo = true;
    version.dwProductInfoType = product;
    return version;
}

_S_WindowsVersion WithServicePack(_S_WindowsVersion version, uint16_t major, uint16_t minor)
{
    version.wServicePackMajor = major;
    version.wServicePackMinor = minor;
    return version;
}

// A 6.2.9200 report whose true version is given.
_S_WindowsVersion Reported62(uint32_t trueMajor, uint32_t trueMinor, uint32_t trueBuild, uint8_t trueProductType)
{
    _S_WindowsVersion version = Version(6, 2, 9200);
    version.bHasTrueVersion = true;
    version.dwTrueMajorVersion = trueMajor;
    version.dwTrueMinorVersion = trueMinor;
    version.dwTrueBuildNumber = trueBuild;
    version.wTrueProductType = trueProductType;
    return version;
}

struct Row {
    _S_WindowsVersion version;
    const char* expected;
};

void ExpectNames(const Row* rows, size_t count)
{
    for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(COsSystem::NameWindowsVersion(rows[i].version), rows[i].expected) << "row " << i;
}

}  // namespace

TEST(COsSystemNameWindowsVersion, UnknownVersionsKeepTheStartText)
{
    _S_WindowsVersion failed = WithServicePack(WithProduct(Version(6, 1), 1), 2, 0);
    failed.bVersionKnown = false;
    _S_WindowsVersion reported62WithoutTrueVersion = WithProduct(Version(6, 2, 9600), 48);
    const Row rows[] = {
        {_S_WindowsVersion{}, "Unknown Operating System"},
        {failed, "Unknown Operating System"},   // no service pack without a version
        {Version(7, 0), "Unknown Operating System"},
        {Version(2, 0), "Unknown Operating System"},
        // A version query that reports 10 itself gets no product suffix, only its service pack.
        {WithProduct(Version(10, 0, 19045), 48), "Unknown Operating System"},
        {WithServicePack(WithProduct(Version(10, 0), 48), 1, 0), "Unknown Operating System Service Pack 1"},
        // Without the true version a 6.2.9200 report keeps the start text, with its suffix.
        {reported62WithoutTrueVersion, "Unknown Operating System Professional"},
    };
    ExpectNames(rows, sizeof rows / sizeof rows[0]);
}

TEST(COsSystemNameWindowsVersion, NtThreeAndNineXLine)
{
    const Row rows[] = {
        {Version(3, 0), "Microsoft Windows NT 3"},
        {Version(3, 1), "Microsoft Windows NT 3.1"},
        {Version(3, 51), "Microsoft Windows NT 3.51"},
        {Version(3, 50), "Microsoft Windows NT"},
        {WithFamily(Version(3, 51), 1), "Unknown Operating System"},
        {Version(4, 0), "Microsoft Windows NT 4.0"},
        {Version(4, 90), "Microsoft Windows NT 4.0"},   // the NT line wins over the minor
        {WithFamily(Version(4, 0, 111), 1), "Microsoft Windows 95 SR2.5"},
        {WithFamily(Version(4, 0, 950), 1), "Microsoft Windows 95"},
        {WithFamily(Version(4, 0, 1111), 1), "Microsoft Windows 95 SR2"},
        {WithFamily(Version(4, 3, 1212), 1), "Microsoft Windows 95 SR2.x"},
        {WithFamily(Version(4, 10, 2222), 1), "Microsoft Windows 98 Second Edition"},
        {WithFamily(Version(4, 10, 1998), 1), "Microsoft Windows 98"},
        {WithFamily(Version(4, 90, 3000), 1), "Microsoft Windows Me"},
        {WithFamily(Version(4, 5), 1), "Unknown Operating System"},
        {WithFamily(Version(4, 0), 3), "Unknown Operating System"},
    };
    ExpectNames(rows, sizeof rows / sizeof rows[0]);
}

TEST(COsSystemNameWindowsVersion, TwoThousandXpAndServer2003Line)
{
    _S_WindowsVersion x64Workstation = WithSuite(Version(5, 2), 2);
    x64Workstation.wProcessorArchitecture = 9;
    _S_WindowsVersion x86Workstation = Version(5, 2);
    x86Workstation.wProcessorArchitecture = 0;
    _S_WindowsVersion storageR2 = WithSuite(Version(5, 2, 0, kServer), 0x2000);
    storageR2.nMetricServerR2 = 1;
    _S_WindowsVersion serverR2 = WithSuite(Version(5, 2, 0, kServer), 128);
    serverR2.nMetricServerR2 = 1;
    const Row rows[] = {
        {WithSuite(Version(5, 0), 512), "Microsoft Windows 2000 Home Edition"},
        {WithSuite(Version(5, 0), 128), "Microsoft Windows 2000 Professional"},
        {WithSuite(Version(5, 0, 0, kServer), 128), "Microsoft Windows 2000 DataCenter Server"},
        {WithSuite(Version(5, 0, 0, kServer), 2), "Microsoft Windows 2000 Advanced Server"},
        {WithSuite(Version(5, 0, 0, kServer), 512), "Microsoft Windows 2000 Server"},
        {WithSuite(Version(5, 1), 64), "Microsoft Windows XP Embedded"},
        {WithSuite(Version(5, 1), 512), "Microsoft Windows XP Home Edition"},
        {WithSuite(Version(5, 1), 768), "Microsoft Windows XP Professional"},  // equality, not bits
        {WithServicePack(Version(5, 1), 3, 1), "Microsoft Windows XP Professional Service Pack 3.1"},
        {WithServicePack(Version(5, 1), 2, 0), "Microsoft Windows XP Professional Service Pack 2"},
        {WithServicePack(Version(5, 1), 0, 1), "Microsoft Windows XP Professional"},
        {x64Workstation, "Microsoft Windows XP Professional x64 Edition"},
        {WithSuite(x86Workstation, 0x8000), "Microsoft Windows Home Server"},
        {WithSuite(Version(5, 2, 0, kServer), 0x8000), "Microsoft Windows Home Server"},
        {storageR2, "Windows Storage Server 2003 R2"},
        {WithSuite(Version(5, 2, 0, kServer), 0x2000), "Windows Storage Server 2003"},
        {serverR2, "Windows Server 2003 R2"},
        {WithSuite(Version(5, 2, 0, kServer), 128), "Microsoft Windows Server 2003 Datacenter Edition"},
        {WithSuite(Version(5, 2, 0, kServer), 2), "Microsoft Windows Server 2003 Enterprise Edition"},
        {WithSuite(Version(5, 2, 0, kServer), 0x4000), "Microsoft Windows Server 2003 Compute Cluster Edition"},
        {WithSuite(Version(5, 2, 0, kServer), 0x400), "Microsoft Windows Server 2003 Web Edition"},
        {WithSuite(Version(5, 2, 0, kServer), 0x402), "Microsoft Windows Server 2003 Standard Edition"},
        {Version(5, 9), "Microsoft Windows NT v5.9"},
        {WithProduct(Version(5, 1), 1), "Microsoft Windows XP Professional"},  // no suffix below 6
    };
    ExpectNames(rows, sizeof rows / sizeof rows[0]);
}

TEST(COsSystemNameWindowsVersion, VistaToEightWithProductSuffixes)
{
    const Row rows[] = {
        {Version(6, 0), "Microsoft Windows Vista"},
        {Version(6, 0, 0, kServer), "Microsoft Windows Server 2008"},
        {WithServicePack(WithProduct(Version(6, 1, 7601), 1), 1, 0), "Microsoft Windows 7 Ultimate Service Pack 1"},
        {Version(6, 1, 6801, kServer), "Microsoft Windows 7 preBeta build M3 PDC 2008"},
        {Version(6, 1, 7600, kServer), "Microsoft Windows Server 2008 R2"},
        {Version(6, 2, 7867), "Microsoft Windows 8 Milestone1"},
        {Version(6, 2, 7867, kServer), "Microsoft Windows Server 2012 Milestone1"},
        {Version(6, 2, 7910), "Microsoft Windows 8 Milestone2"},
        {Version(6, 2, 7947, kServer), "Microsoft Windows Server 2012 Milestone2"},
        {Version(6, 2, 7948), "Microsoft Windows 8"},
        {Version(6, 2, 7955), "Microsoft Windows 8 Milestone3"},
        {Version(6, 2, 9199, kServer), "Microsoft Windows Server 2012"},
        {Version(6, 4), "Microsoft Windows NT v6.4"},
        {WithProduct(Version(6, 0), 0), "Microsoft Windows Vista Produit inconnu"},
        {WithProduct(Version(6, 1, 7601, kServer), 39), "Microsoft Windows Server 2008 R2 Datacenter sans Hyper-V(core installation)"},
        {WithProduct(Version(6, 0), 15), "Microsoft Windows Vista Enterprise pour Itanium"},
        {WithProduct(Version(6, 1), 71), "Microsoft Windows 7 Ultimate E"},
        {WithProduct(Version(6, 1), 19), "Microsoft Windows 7"},   // numbers without a row add nothing
        {WithProduct(Version(6, 1), 50), "Microsoft Windows 7"},
        {WithProduct(Version(6, 1), 72), "Microsoft Windows 7"},
        {WithProduct(Version(6, 1), 0xFFFFFFFF), "Microsoft Windows 7"},
    };
    ExpectNames(rows, sizeof rows / sizeof rows[0]);
}

TEST(COsSystemNameWindowsVersion, TrueVersionRenamesLaterReleasesAndDropsServicePack)
{
    _S_WindowsVersion withServicePack = WithServicePack(WithProduct(Reported62(6, 3, 9600, kWorkstation), 4), 1, 2);
    _S_WindowsVersion trueServer2016 = WithProduct(Reported62(10, 0, 22621, kServer), 7);
    trueServer2016.wProductType = kWorkstation;   // the true product type replaces the reported one
    const Row rows[] = {
        {WithProduct(Reported62(10, 0, 19045, kWorkstation), 48), "Microsoft Windows 10 19045 Professional"},
        {trueServer2016, "Microsoft Windows Server 2016 22621 Standard"},
        {Reported62(10, 5, 26100, kWorkstation), "Microsoft Windows 10 26100"},
        {WithProduct(Reported62(6, 3, 9600, kWorkstation), 101), "Microsoft Windows 8.1"},
        {Reported62(6, 3, 9600, kServer), "Microsoft Windows Server 2012 R2"},
        {Reported62(6, 2, 9200, kWorkstation), "Microsoft Windows 8"},
        {Reported62(6, 2, 9200, 2), "Microsoft Windows Server 2012"},
        {Reported62(6, 7, 9999, kWorkstation), "Microsoft Windows NT v6.7"},
        {Reported62(11, 1, 1, kWorkstation), "Microsoft Windows NT v11.1"},
        {withServicePack, "Microsoft Windows 8.1 Enterprise"},
    };
    ExpectNames(rows, sizeof rows / sizeof rows[0]);
}
