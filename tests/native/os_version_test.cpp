#include "native/os_version.h"

#include <windows.h>
#include <gtest/gtest.h>

#include <cstring>

#include "native/operating_system.h"
#include "sim/detour.h"
#include "sim/registry_tree.h"

namespace orrery {
namespace {

using sim::Detour;

/// What the simulated Windows tells of itself.
struct {
    OSVERSIONINFOEXW info;
    bool isExtended, isKnown;
    std::vector<DWORD> sizes;
} windows;

BOOL WINAPI TellVersion(OSVERSIONINFOW* info)
{
    windows.sizes.push_back(info->dwOSVersionInfoSize);
    const bool extended = info->dwOSVersionInfoSize == 284;
    if (!windows.isKnown || (extended && !windows.isExtended))
        return FALSE;
    windows.info.dwOSVersionInfoSize = info->dwOSVersionInfoSize;
    std::memcpy(info, &windows.info, info->dwOSVersionInfoSize);
    return TRUE;
}
BOOL WINAPI TellProduct(DWORD major, DWORD minor, DWORD packMajor, DWORD packMinor, DWORD* edition)
{
    *edition = major == 6 && minor + packMajor + packMinor == 0 ? 48 : 999;
    return TRUE;
}
void WINAPI TellNativeArchitecture(SYSTEM_INFO* info)
{
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_IA64;
}
void WINAPI TellArchitecture(SYSTEM_INFO* info)
{
    info->wProcessorArchitecture = PROCESSOR_ARCHITECTURE_INTEL;
}
int WINAPI TellMetric(int index)
{
    return index == 89 ? 1 : 0;
}
FARPROC WINAPI FindNothing(HMODULE, const char*)
{
    return nullptr;
}

constexpr const wchar_t* kVersionKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";
constexpr const wchar_t* kOptionsKey = L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions";

class OsVersionProbe : public testing::Test {
protected:
    OsVersionProbe()
    {
        windows = {{}, true, true, {}};
        windows.info.dwPlatformId = 2;
        windows.info.dwMajorVersion = 6;
        windows.info.dwMinorVersion = 2;
        windows.info.dwBuildNumber = 9200;
        windows.info.wSuiteMask = 0x100;
        windows.info.wProductType = 1;
        std::wcscpy(windows.info.szCSDVersion, L"Reported");
    }

    RegistryTree registry{HKEY_LOCAL_MACHINE,
                          {{kVersionKey, L"CurrentVersion", TextValue(L"6.3")},
                           {kVersionKey, L"CurrentBuildNumber", TextValue(L"22631")},
                           {kVersionKey, L"CurrentMajorVersionNumber", NumberValue(10)},
                           {kVersionKey, L"CurrentMinorVersionNumber", NumberValue(0)},
                           {kVersionKey, L"CSDVersion", TextValue(L"Stored")},
                           {kVersionKey, L"ProductName", TextValue(L"Windows 10 Pro")},
                           {kVersionKey, L"DisplayVersion", TextValue(L"23H2")},
                           {kVersionKey, L"ReleaseId", TextValue(L"2009")},
                           {kVersionKey, L"UBR", NumberValue(4317)},
                           {kOptionsKey, L"ProductType", TextValue(L"WinNT")}}};
    Detour version{L"kernel32.dll", "GetVersionExW", TellVersion};
    Detour product{L"kernel32.dll", "GetProductInfo", TellProduct};
    Detour native{L"kernel32.dll", "GetNativeSystemInfo", TellNativeArchitecture};
    Detour metrics{L"user32.dll", "GetSystemMetrics", TellMetric};
};

TEST_F(OsVersionProbe, TakesTheRegistrysWordFor62)
{
    const auto facts = ReadOsVersion();
    ASSERT_TRUE(facts);
    EXPECT_EQ(windows.sizes, std::vector<DWORD>{284});
    EXPECT_EQ(facts->platformId, 2U);
    EXPECT_EQ(facts->major, 10);
    EXPECT_EQ(facts->minor, 0);
    EXPECT_EQ(facts->build, 22631);
    EXPECT_EQ(facts->servicePack, L"Stored");
    EXPECT_TRUE(facts->isExtended);
    EXPECT_EQ(facts->suites, 0x100);
    EXPECT_EQ(facts->productType, 1);
    EXPECT_EQ(facts->architecture, 6);
    EXPECT_TRUE(facts->isServerR2);
    EXPECT_EQ(facts->edition, 48U);
    EXPECT_EQ(facts->productName, L"Windows 10 Pro");
    EXPECT_EQ(facts->displayVersion, L"23H2");
    EXPECT_EQ(facts->releaseId, L"2009");
    EXPECT_EQ(facts->updateRevision, 4317U);
}

TEST_F(OsVersionProbe, TakesTheSystemsWordForOtherVersions)
{
    windows.info.dwMinorVersion = 3;
    const auto facts = ReadOsVersion();
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->minor, 3);
    EXPECT_EQ(facts->build, 9200);
    EXPECT_EQ(facts->servicePack, L"Reported");
    EXPECT_EQ(facts->productName + facts->displayVersion + facts->releaseId, L"");
    EXPECT_EQ(facts->updateRevision, 0U);
}

TEST_F(OsVersionProbe, AsksForLessWhenTheSystemRefuses)
{
    windows.isExtended = false;
    auto facts = ReadOsVersion();
    ASSERT_TRUE(facts);
    EXPECT_EQ(windows.sizes, (std::vector<DWORD>{284, 276}));
    EXPECT_FALSE(facts->isExtended);
    EXPECT_EQ(facts->productType, 0);
    EXPECT_EQ(facts->productOptions, L"WinNT");
    registry.Set(kOptionsKey, L"ProductType", TextValue(std::wstring(255, L'x')));
    EXPECT_EQ(ReadOsVersion()->productOptions.size(), 255U);
    registry.Set(kOptionsKey, L"ProductType", TextValue(std::wstring(256, L'x')));  // 514 bytes
    EXPECT_EQ(ReadOsVersion()->productOptions, L"");

    windows.isKnown = false;
    EXPECT_FALSE(ReadOsVersion());
    const COperatingSystem system;
    EXPECT_EQ(system.familyCode, 0);
    for (const auto* field : {&system.caption, &system.version, &system.servicePack, &system.build,
                              &system.is64Bit, &system.updateRevision, &system.featureRelease})
        EXPECT_EQ(*field, L"");
}

TEST_F(OsVersionProbe, ReadsNoTextThatExceedsItsRoom)
{
    const auto setTexts = [this](std::size_t shortLength, std::size_t longLength) {
        for (const auto* name : {L"ReleaseId", L"DisplayVersion", L"CurrentBuildNumber"})
            registry.Set(kVersionKey, name, TextValue(std::wstring(shortLength, L'0')));
        for (const auto* name : {L"ProductName", L"CSDVersion"})
            registry.Set(kVersionKey, name, TextValue(std::wstring(longLength, L'p')));
        const auto facts = *ReadOsVersion();
        return std::vector<std::size_t>{facts.releaseId.size(), facts.displayVersion.size(),
                                        facts.productName.size(), facts.servicePack.size()};
    };
    EXPECT_EQ(setTexts(19, 127), (std::vector<std::size_t>{19, 19, 127, 127}));  // 40, 256 bytes
    EXPECT_EQ(setTexts(20, 128), (std::vector<std::size_t>{0, 0, 0, 0}));
    registry.Set(kVersionKey, L"CurrentVersion", TextValue(L"6.3" + std::wstring(17, L' ')));
    EXPECT_EQ(ReadOsVersion()->minor, 2);  // as reported
}

TEST_F(OsVersionProbe, DoesWithoutFunctionsAndKeysThatAreMissing)
{
    const RegistryTree empty{HKEY_LOCAL_MACHINE};
    windows.isExtended = false;
    const Detour oldArchitecture{L"kernel32.dll", "GetSystemInfo", TellArchitecture};
    const Detour find{L"kernel32.dll", "GetProcAddress", FindNothing};
    const auto facts = ReadOsVersion();
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->minor, 2);
    EXPECT_EQ(facts->architecture, 0);
    EXPECT_EQ(facts->edition, 0U);
    EXPECT_EQ(facts->productName + facts->productOptions, L"");
}

TEST(RegistryVersionTest, ReplacesTheReportedVersionFrom60On)
{
    const struct {
        const wchar_t *currentVersion, *build;
        std::int32_t majorNumber, minorNumber;
        std::int32_t major, minor, expectedBuild;
        const wchar_t* servicePack;
    } rows[] = {
        {L"6.3", L"19045", 10, 0, 10, 0, 19045, L"Stored"},
        {L"6.3", L"9600", 0, 7, 6, 3, 9600, L"Stored"},
        {L"6.2", L"9200", 10, 0, 6, 2, 9200, L"Stored"},
        {L"6.1", L"7601x", 0, 0, 6, 1, 7601, L"Stored"},
        {L"10.0", L"", 11, 5, 10, 0, 0, L"Stored"},
        {L"12", L"1", 0, 0, 12, 0, 1, L"Stored"},
        {L"6x3y", L"1", 10, 1, 10, 1, 1, L"Stored"},
        {L"5.9", L"1", 10, 0, 6, 2, 9200, L"Reported"},
        {L"", L"1", 10, 0, 6, 2, 9200, L"Reported"},
        {L"x6.3", L"1", 10, 0, 6, 2, 9200, L"Reported"},
    };
    for (const auto& row : rows) {
        OsVersion version{.platformId = 2, .major = 6, .minor = 2, .build = 9200};
        version.servicePack = L"Reported";
        RegistryVersion registry;
        registry.currentVersion = row.currentVersion;
        registry.currentBuildNumber = row.build;
        registry.csdVersion = L"Stored";
        registry.majorNumber = row.majorNumber;
        registry.minorNumber = row.minorNumber;
        registry.productName = L"Name";
        ApplyRegistryVersion(registry, &version);
        EXPECT_EQ(version.major, row.major) << row.currentVersion;
        EXPECT_EQ(version.minor, row.minor) << row.currentVersion;
        EXPECT_EQ(version.build, row.expectedBuild) << row.currentVersion;
        EXPECT_EQ(version.servicePack, row.servicePack) << row.currentVersion;
        EXPECT_EQ(version.productName, L"Name");
    }
}

}  // namespace
}  // namespace orrery
