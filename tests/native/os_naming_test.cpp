#include "native/os_naming.h"

#include <gtest/gtest.h>

#include <sstream>

#include "native/operating_system.h"

namespace orrery {
namespace {

constexpr std::uint16_t kX86 = 0, kItanium = 6, kX64 = 9;
constexpr std::uint8_t kWorkstation = 1, kController = 2, kServer = 3;

/// A version of the NT family that told its suites and type.
OsVersion Nt(std::int32_t major, std::int32_t minor, std::uint8_t type, std::uint16_t suites = 0,
             std::uint16_t architecture = kX86, std::uint32_t edition = 0,
             const wchar_t* productName = L"", std::int32_t build = 0)
{
    OsVersion version{.platformId = 2, .major = major, .minor = minor, .build = build};
    version.isExtended = true;
    version.suites = suites;
    version.productType = type;
    version.architecture = architecture;
    version.edition = edition;
    version.productName = productName;
    version.productOptions = L"WINNT";  // must not matter
    return version;
}

OsVersion R2(OsVersion version)
{
    version.isServerR2 = true;
    return version;
}

/// A version of the NT family that told no more than its numbers.
OsVersion Plain(std::int32_t major, std::int32_t minor, const wchar_t* productOptions)
{
    OsVersion version{.platformId = 2, .major = major, .minor = minor};
    version.architecture = kX64;
    version.edition = 48;
    version.productOptions = productOptions;
    return version;
}

TEST(OsNaming, NamesTheNtFamily)
{
    const struct {
        OsVersion version;
        const wchar_t* caption;
        int family;
        bool is64Bit = false;
    } rows[] = {
        {Nt(3, 49, kWorkstation), L"Windows NT ", 5},
        {Nt(3, 51, kServer), L"Windows NT ", 4},
        {Nt(4, 0, kServer, 0x80, kX64), L"Windows NT ", 5},
        {Nt(5, 0, kWorkstation, 0x82), L"Windows 2000 Professional", 6},
        {Nt(5, 0, kServer, 0x82), L"Windows 2000 Datacenter Server", 6},
        {Nt(5, 0, kServer, 0x2), L"Windows 2000 Advanced Server", 6},
        {Nt(5, 0, kController), L"Windows 2000 Server", 6},
        {Nt(5, 1, kWorkstation, 0x300), L"Windows XP Home", 7},
        {Nt(5, 1, kWorkstation, 0x100), L"Windows XP Professional", 7},
        {R2(Nt(5, 2, kServer, 0x2000, kX64)), L"Windows Server 2003 R2 Standard x64", 8},
        {R2(Nt(5, 2, kWorkstation, 0, kX64)), L"Windows Server 2003 R2 ", 8},
        {Nt(5, 2, kServer, 0x2000), L"Windows Storage Server 2003 Standard", 8},
        {Nt(5, 2, kServer, 0x2002), L"Windows Server 2003 Enterprise", 8},
        {Nt(5, 2, kWorkstation, 0, kX64), L"Windows XP Professional x64 ", 7},
        {Nt(5, 2, kWorkstation, 0, kX86), L"Windows Server 2003 ", 8},
        {Nt(5, 2, kServer, 0x82, kItanium),
         L"Windows Server 2003 Datacenter for Itanium-based Systems", 8},
        {Nt(5, 2, kServer, 0x2, kItanium),
         L"Windows Server 2003 Enterprise for Itanium-based Systems", 8},
        {Nt(5, 2, kServer, 0, kItanium), L"Windows Server 2003 ", 8},
        {Nt(5, 2, kServer, 0x82, kX64), L"Windows Server 2003 Datacenter x64", 8},
        {Nt(5, 2, kServer, 0x2, kX64), L"Windows Server 2003 Enterprise x64", 8},
        {Nt(5, 2, kController, 0x4400, kX64), L"Windows Server 2003 Standard x64", 8},
        {Nt(5, 2, kServer, 0x4482), L"Windows Server 2003 Compute Cluster", 8},
        {Nt(5, 2, kServer, 0x482), L"Windows Server 2003 Datacenter", 8},
        {Nt(5, 2, kServer, 0x402), L"Windows Server 2003 Enterprise", 8},
        {Nt(5, 2, kServer, 0x400), L"Windows Server 2003 Web Edition", 8},
        {Nt(5, 3, kServer), L"Windows Server 2003 Standard", 8},
        {Nt(6, 0, kWorkstation, 0, kX86, 6), L"Windows Vista Business", 9},
        {Nt(6, 1, kWorkstation, 0, kX64, 48), L"Windows 7 Professional x64", 11, true},
        {Nt(6, 1, kWorkstation, 0, kX64, 19), L"Windows 7  x64", 11, true},
        {Nt(6, 1, kWorkstation, 0, kX64, 48, L"Name"), L"Windows 7  x64", 11, true},
        {Nt(6, 1, kWorkstation, 0, kItanium, 19), L"Windows 7 ", 11},
        {Nt(6, 0, kServer, 0, kX86, 7), L"Windows Server 2008 Standard", 10},
        {Nt(6, 1, kController, 0, kX64, 10), L"Windows Server 2008 R2 Enterprise x64", 10, true},
        {Nt(6, 2, kWorkstation, 0, kX86, 48, L"Windows 8 Pro"), L"Windows 8 Pro", 12},
        {Nt(6, 3, kWorkstation, 0, kX64, 48), L"Professional x64", 12, true},
        {Nt(6, 4, kServer, 0, kX64, 7, L"Server 10"), L"Server 10 x64", 13, true},
        {Nt(10, 0, kWorkstation, 0, kX64, 48), L"Professional x64", 14, true},
        {Nt(10, 0, kWorkstation, 0, kX64, 6), L"Business x64", 14, true},
        {Nt(10, 0, kWorkstation, 0, kX64, 48, L"Windows 10 Pro", 21999), L"Windows 10 Pro x64", 14,
         true},
        {Nt(10, 0, kWorkstation, 0, kX64, 48, L"Windows 10 Pro 10100", 22000),
         L"Windows 11 Pro 11110 x64", 14, true},
        {Nt(11, 2, kServer, 0, kX86, 7, L"Windows Server 2010", 22000), L"Windows Server 2010", 15},
        {Nt(7, 0, kWorkstation, 0, kX64, 48, L"Name"), L"", 0},
        {Nt(9, 9, kServer, 0, kX64, 7, L"Name"), L"", 0},
        {Plain(3, 51, L"winnt"), L"Windows NT Workstation", 4},
        {Plain(4, 0, L"LanmanNT"), L"Windows NT Server", 5},
        {Plain(4, 0, L"SERVERNT"), L"Windows NT Advanced Server", 5},
        {Plain(5, 0, L"ServerNT "), L"Windows 2000 ", 6},
        {Plain(5, 1, L"WinNT"), L"Windows XP Workstation", 7},
        {Plain(5, 2, L""), L"Windows Server 2003 ", 8},
        {R2(Plain(5, 2, L"WINNT")), L"Windows Server 2003 R2 Workstation", 8},
        {Plain(6, 1, L"WinNT"), L"Windows Vista Workstation", 9},
        {Plain(10, 0, L"LANMANNT"), L"Windows Vista Server", 9},
    };
    for (const auto& row : rows) {
        const auto naming = NameProduct(row.version);
        EXPECT_EQ(naming.caption, row.caption);
        EXPECT_EQ(static_cast<int>(naming.family), row.family) << row.caption;
        EXPECT_EQ(naming.is64Bit, row.is64Bit) << row.caption;
    }
}

TEST(OsNaming, TellsTheReleasesOfThe9xFamilyByALetter)
{
    const struct {
        std::uint32_t platform;
        int major, minor, family;
        const wchar_t *servicePack, *caption, *expectedPack;
    } rows[] = {
        {1, 4, 0, 1, L"", L"Windows 95", L""},
        {1, 4, 0, 1, L" B", L"Windows 95", L"OSR2"},
        {1, 4, 0, 1, L" C ", L"Windows 95", L"OSR2"},
        {1, 4, 0, 1, L" A", L"Windows 95", L" A"},
        {1, 4, 0, 1, L"B", L"Windows 95", L"B"},
        {1, 4, 10, 2, L" A ", L"Windows 98", L"SE"},
        {1, 4, 10, 2, L" B", L"Windows 98", L" B"},
        {1, 4, 90, 3, L" A", L"Windows ME", L" A"},
        {1, 4, 91, 3, L" ", L"Windows ME", L" "},
        {1, 4, 11, 0, L" A", L"", L" A"},
        {1, 5, 0, 0, L"", L"", L""},
        {0, 3, 10, 0, L"x", L"Windows", L"x"},
        {3, 6, 1, 0, L"x", L"Windows", L"x"},
        {2, 4, 0, 5, L" B", L"Windows NT Workstation", L" B"},
    };
    for (const auto& row : rows) {
        OsVersion version{.platformId = row.platform, .major = row.major, .minor = row.minor};
        version.servicePack = row.servicePack;
        version.productOptions = L"WinNT";
        const auto naming = NameProduct(version);
        EXPECT_EQ(naming.caption, row.caption);
        EXPECT_EQ(static_cast<int>(naming.family), row.family);
        EXPECT_EQ(naming.servicePack, row.expectedPack);
    }
}

TEST(OsNaming, KnowsTheEditions)
{
    // In the order of the numbers, ten a line, from 0 on.
    std::wistringstream names{
        L"|Ultimate|Home Basic|Home Premium|Enterprise|Home Basic|Professional|Standard|Datacenter|"
        L"Small Business Server|"
        L"Enterprise|Starter|Datacenter (core installation)|Standard (core installation)|"
        L"Enterprise (core installation)|Enterprise for Itanium-based Systems|Professional|"
        L"Web Server|Cluster Server||"
        L"Storage Server|Storage Server|Storage Server|Storage Server||"
        L"Small Business Server Premium|Home Premium|Enterprise|Ultimate|Web Server|"
        L"|||Server Foundation|||||||"
        L"|||||||Starter|Professional|Professional|"
        L"||||||MultiPoint Server||||"
        L"||||||||||"
        L"||||||MultiPoint Server|MultiPoint Server|||"};
    std::uint32_t edition = 0;
    for (std::wstring name; std::getline(names, name, L'|'); ++edition) {
        EXPECT_EQ(EditionName(edition, 1), name) << edition;
        EXPECT_EQ(EditionName(edition, 0), edition == 6 || edition == 16 ? L"Business" : name)
            << edition;
    }
    EXPECT_EQ(edition, 80U);
    EXPECT_EQ(EditionName(0xABCDABCD, 1), L"");
}

TEST(OperatingSystem, PutsTheVersionIntoItsFields)
{
    OsVersion facts = Nt(10, 0, kWorkstation, 0, kX64, 48, L"Windows 10 Pro", 22631);
    facts.servicePack = L"SP";
    facts.displayVersion = L"23H2";
    facts.releaseId = L"2009";
    facts.updateRevision = 4317;
    const COperatingSystem named{facts};
    EXPECT_EQ(named.familyCode, 14);
    EXPECT_EQ(named.caption, L"Windows 11 Pro x64");
    EXPECT_EQ(named.version, L"10.0.22631");
    EXPECT_EQ(named.servicePack, L"SP");
    EXPECT_EQ(named.build, L"22631");
    EXPECT_EQ(named.is64Bit, L"1");
    EXPECT_EQ(named.updateRevision, L"4317");
    EXPECT_EQ(named.featureRelease, L"23H2");

    facts.displayVersion.clear();
    facts.architecture = kX86;
    facts.build = 0x040A08AE;  // the 9x family's form of 2222
    facts.updateRevision = 0x80000000;
    const COperatingSystem other{facts};
    EXPECT_EQ(other.version, L"10.0.2222");
    EXPECT_EQ(other.build, L"2222");
    EXPECT_EQ(other.is64Bit, L"");
    EXPECT_EQ(other.updateRevision, L"-2147483648");
    EXPECT_EQ(other.featureRelease, L"2009");
}

}  // namespace
}  // namespace orrery
