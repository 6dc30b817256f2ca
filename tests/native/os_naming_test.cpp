#include "native/os_naming.h"

#include <windows.h>

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>

#include "native/operating_system.h"
#include "sim/scenario.h"

namespace orrery {
namespace {

/// One row of windows-names.txt.
struct NamedVersion {
    OsVersion version;
    std::wstring type, machine, release, caption, bits, servicePack;
    int family = 0;
};

std::wistream& operator>>(std::wistream& line, NamedVersion& row)
{
    wchar_t dot{};
    OsVersion& version = row.version;
    line >> version.platformId >> version.major >> dot >> version.minor >> dot >> version.build >>
        row.type >> std::hex >> version.suites >> std::dec >> row.machine >> row.release >>
        version.edition >> std::quoted(version.productName) >>
        std::quoted(version.productOptions) >> std::quoted(version.servicePack) >>
        std::quoted(row.caption) >> row.family >> row.bits >> std::quoted(row.servicePack);
    version.isExtended = row.type != L"untold";
    version.productType = row.type == L"workstation"  ? VER_NT_WORKSTATION
                          : row.type == L"controller" ? VER_NT_DOMAIN_CONTROLLER
                          : row.type == L"server"     ? VER_NT_SERVER
                                                      : 0;
    version.architecture = row.machine == L"x64"    ? PROCESSOR_ARCHITECTURE_AMD64
                           : row.machine == L"ia64" ? PROCESSOR_ARCHITECTURE_IA64
                                                    : PROCESSOR_ARCHITECTURE_INTEL;
    version.isServerR2 = row.release == L"R2";
    return line;
}

TEST(OsNaming, NamesEveryWindows)
{
    std::wistringstream lines{sim::LoadScenario(L"" ORRERY_TEST_DATA "/windows-names.txt")};
    int count = 0;
    for (std::wstring text; std::getline(lines, text);) {
        if (text.starts_with(L'#'))
            continue;
        NamedVersion row;
        std::wistringstream line{text};
        ASSERT_TRUE(line >> row) << text;
        const auto naming = NameProduct(row.version);
        EXPECT_EQ(naming.caption, row.caption) << text;
        EXPECT_EQ(static_cast<int>(naming.family), row.family) << text;
        EXPECT_EQ(naming.is64Bit, row.bits == L"64") << text;
        EXPECT_EQ(naming.servicePack, row.servicePack) << text;
        ++count;
    }
    EXPECT_GT(count, 60);
}

TEST(OsNaming, KnowsTheEditions)
{
    const struct {
        std::uint32_t edition;
        const wchar_t *name, *nameOfMinorZero;
    } rows[] = {{0, L"", L""},
                {1, L"Ultimate", L"Ultimate"},
                {6, L"Professional", L"Business"},
                {16, L"Professional", L"Business"},
                {19, L"", L""},
                {77, L"MultiPoint Server", L"MultiPoint Server"},
                {78, L"", L""},
                {0xABCDABCD, L"", L""}};
    for (const auto& row : rows) {
        EXPECT_EQ(EditionName(row.edition, 1), row.name) << row.edition;
        EXPECT_EQ(EditionName(row.edition, 0), row.nameOfMinorZero) << row.edition;
    }
}

TEST(OperatingSystem, PutsTheVersionIntoItsFields)
{
    OsVersion facts{.platformId = 2, .major = 10, .minor = 0, .build = 22631};
    facts.isExtended = true;
    facts.productType = VER_NT_WORKSTATION;
    facts.architecture = PROCESSOR_ARCHITECTURE_AMD64;
    facts.productName = L"Windows 10 Pro";
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
    facts.architecture = PROCESSOR_ARCHITECTURE_INTEL;
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
