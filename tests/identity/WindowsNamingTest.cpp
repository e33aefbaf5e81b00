// COsSystem::NameWindowsVersion: the Windows naming tree over version records.
#include <gtest/gtest.h>

#include <string>

#include <Veltrane.h>

namespace {

constexpr uint8_t kWorkstation = 1;
constexpr uint8_t kServer = 3;

// A known NT-line version record, built up field by field for the rows below.
struct V : _S_WindowsVersion {
    V(uint32_t major, uint32_t minor, uint32_t build = 0, uint8_t productType = kWorkstation) : _S_WindowsVersion{}
    {
        bVersionKnown = true, dwMajorVersion = major, dwMinorVersion = minor, dwBuildNumber = build;
        dwOsFamily = 2, wProductType = productType;
    }
    V& Suite(uint16_t suite) { return wSuiteMask = suite, *this; }
    V& Family(uint32_t family) { return dwOsFamily = family, *this; }
    V& Product(uint32_t product) { return bHasProductInfo = true, dwProductInfoType = product, *this; }
    V& Pack(uint16_t major, uint16_t minor) { return wServicePackMajor = major, wServicePackMinor = minor, *this; }
    V& Arch(uint16_t architecture) { return wProcessorArchitecture = architecture, *this; }
    V& R2() { return nMetricServerR2 = 1, *this; }
    V& Unknown() { return bVersionKnown = false, *this; }
    V& Type(uint8_t productType) { return wProductType = productType, *this; }
    // The true version, which a 6.2.9200 report is named by.
    V& True(uint32_t major, uint32_t minor, uint32_t build, uint8_t productType)
    {
        bHasTrueVersion = true, dwTrueMajorVersion = major, dwTrueMinorVersion = minor;
        return dwTrueBuildNumber = build, wTrueProductType = productType, *this;
    }
};

}  // namespace

TEST(COsSystemNameWindowsVersion, NamesEveryBranchOfTheTree)
{
    const struct {
        _S_WindowsVersion version;
        const char* expected;
    } rows[] = {
        // Unknown versions, NT 3 and 4, the 9x line.
        {V(6, 1).Product(1).Pack(2, 0).Unknown(), "Unknown Operating System"},  // no service pack without a version
        {V(7, 0), "Unknown Operating System"},
        {V(2, 0), "Unknown Operating System"},
        // A version query that reports 10 itself gets no product suffix, only its service pack.
        {V(10, 0, 19045).Product(48).Pack(1, 0), "Unknown Operating System Service Pack 1"},
        // Without the true version a 6.2.9200 report keeps the start text, with its suffix.
        {V(6, 2, 9600).Product(48), "Unknown Operating System Professional"},
        {V(3, 0), "Microsoft Windows NT 3"},
        {V(3, 1), "Microsoft Windows NT 3.1"},
        {V(3, 51), "Microsoft Windows NT 3.51"},
        {V(3, 50), "Microsoft Windows NT"},
        {V(3, 51).Family(1), "Unknown Operating System"},
        {V(4, 90), "Microsoft Windows NT 4.0"},   // the NT line wins over the minor
        {V(4, 0, 111).Family(1), "Microsoft Windows 95 SR2.5"},
        {V(4, 0, 950).Family(1), "Microsoft Windows 95"},
        {V(4, 0, 1111).Family(1), "Microsoft Windows 95 SR2"},
        {V(4, 3, 1212).Family(1), "Microsoft Windows 95 SR2.x"},
        {V(4, 10, 2222).Family(1), "Microsoft Windows 98 Second Edition"},
        {V(4, 10, 1998).Family(1), "Microsoft Windows 98"},
        {V(4, 90, 3000).Family(1), "Microsoft Windows Me"},
        {V(4, 5).Family(1), "Unknown Operating System"},
        {V(4, 0).Family(3), "Unknown Operating System"},
        // 2000, XP and the Server 2003 line: suites compare by equality.
        {V(5, 0).Suite(512), "Microsoft Windows 2000 Home Edition"},
        {V(5, 0).Suite(128), "Microsoft Windows 2000 Professional"},
        {V(5, 0, 0, kServer).Suite(128), "Microsoft Windows 2000 DataCenter Server"},
        {V(5, 0, 0, kServer).Suite(2), "Microsoft Windows 2000 Advanced Server"},
        {V(5, 0, 0, kServer).Suite(512), "Microsoft Windows 2000 Server"},
        {V(5, 1).Suite(64), "Microsoft Windows XP Embedded"},
        {V(5, 1).Suite(512), "Microsoft Windows XP Home Edition"},
        {V(5, 1).Suite(768), "Microsoft Windows XP Professional"},  // equality, not bits
        {V(5, 1).Pack(3, 1), "Microsoft Windows XP Professional Service Pack 3.1"},
        {V(5, 1).Pack(2, 0), "Microsoft Windows XP Professional Service Pack 2"},
        {V(5, 1).Pack(0, 1), "Microsoft Windows XP Professional"},
        {V(5, 2).Suite(2).Arch(9), "Microsoft Windows XP Professional x64 Edition"},
        {V(5, 2).Suite(0x8000), "Microsoft Windows Home Server"},
        {V(5, 2, 0, kServer).Suite(0x2000).R2(), "Windows Storage Server 2003 R2"},
        {V(5, 2, 0, kServer).Suite(0x2000), "Windows Storage Server 2003"},
        {V(5, 2, 0, kServer).Suite(128).R2(), "Windows Server 2003 R2"},
        {V(5, 2, 0, kServer).Suite(128), "Microsoft Windows Server 2003 Datacenter Edition"},
        {V(5, 2, 0, kServer).Suite(2), "Microsoft Windows Server 2003 Enterprise Edition"},
        {V(5, 2, 0, kServer).Suite(0x4000), "Microsoft Windows Server 2003 Compute Cluster Edition"},
        {V(5, 2, 0, kServer).Suite(0x400), "Microsoft Windows Server 2003 Web Edition"},
        {V(5, 2, 0, kServer).Suite(0x402), "Microsoft Windows Server 2003 Standard Edition"},
        {V(5, 9), "Microsoft Windows NT v5.9"},
        {V(5, 1).Product(1), "Microsoft Windows XP Professional"},  // no suffix below 6
        // Vista to 8, with the product suffixes of 6.x.
        {V(6, 0), "Microsoft Windows Vista"},
        {V(6, 0, 0, kServer), "Microsoft Windows Server 2008"},
        {V(6, 1, 7601).Product(1).Pack(1, 0), "Microsoft Windows 7 Ultimate Service Pack 1"},
        {V(6, 1, 6801, kServer), "Microsoft Windows 7 preBeta build M3 PDC 2008"},
        {V(6, 1, 7600, kServer), "Microsoft Windows Server 2008 R2"},
        {V(6, 2, 7867), "Microsoft Windows 8 Milestone1"},
        {V(6, 2, 7910), "Microsoft Windows 8 Milestone2"},
        {V(6, 2, 7947, kServer), "Microsoft Windows Server 2012 Milestone2"},
        {V(6, 2, 7948), "Microsoft Windows 8"},
        {V(6, 2, 7955), "Microsoft Windows 8 Milestone3"},
        {V(6, 2, 9199, kServer), "Microsoft Windows Server 2012"},
        {V(6, 4), "Microsoft Windows NT v6.4"},
        {V(6, 0).Product(0), "Microsoft Windows Vista Produit inconnu"},
        {V(6, 1, 7601, kServer).Product(39), "Microsoft Windows Server 2008 R2 Datacenter sans Hyper-V(core installation)"},
        {V(6, 0).Product(15), "Microsoft Windows Vista Enterprise pour Itanium"},
        {V(6, 1).Product(71), "Microsoft Windows 7 Ultimate E"},
        {V(6, 1).Product(50), "Microsoft Windows 7"},   // numbers without a row add nothing
        {V(6, 1).Product(72), "Microsoft Windows 7"},
        {V(6, 1).Product(0xFFFFFFFF), "Microsoft Windows 7"},
        // A 6.2.9200 report with its true version: later releases renamed, service pack dropped.
        {V(6, 2, 9200).True(10, 0, 19045, kWorkstation).Product(48), "Microsoft Windows 10 19045 Professional"},
        // The true product type replaces the reported one.
        {V(6, 2, 9200).True(10, 0, 22621, kServer).Product(7).Type(kWorkstation), "Microsoft Windows Server 2016 22621 Standard"},
        {V(6, 2, 9200).True(10, 5, 26100, kWorkstation), "Microsoft Windows 10 26100"},
        {V(6, 2, 9200).True(6, 3, 9600, kWorkstation).Product(101), "Microsoft Windows 8.1"},
        {V(6, 2, 9200).True(6, 3, 9600, kServer), "Microsoft Windows Server 2012 R2"},
        {V(6, 2, 9200).True(6, 2, 9200, kWorkstation), "Microsoft Windows 8"},
        {V(6, 2, 9200).True(6, 2, 9200, 2), "Microsoft Windows Server 2012"},
        {V(6, 2, 9200).True(6, 7, 9999, kWorkstation), "Microsoft Windows NT v6.7"},
        {V(6, 2, 9200).True(11, 1, 1, kWorkstation), "Microsoft Windows NT v11.1"},
        {V(6, 2, 9200).True(6, 3, 9600, kWorkstation).Product(4).Pack(1, 2), "Microsoft Windows 8.1 Enterprise"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(COsSystem::NameWindowsVersion(row.version), row.expected) << "row " << &row - rows;
}
