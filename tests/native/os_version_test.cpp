#include "native/os_version.h"

#include <windows.h>
#include <gtest/gtest.h>

#include <cstring>

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
    Detour product{L"kernel32.dll", "GetProductInfo",
                   [](DWORD major, DWORD minor, DWORD packMajor, DWORD packMinor, DWORD* edition) {
                       *edition = major == 6 && minor + packMajor + packMinor == 0 ? 48 : 999;
                       return TRUE;
                   }};
    Detour native{L"kernel32.dll", "GetNativeSystemInfo",
                  [](SYSTEM_INFO* info) { info->wProcessorArchitecture = 6; }};
    Detour metrics{L"user32.dll", "GetSystemMetrics",
                   [](int index) { return index == 89 ? 1 : 0; }};
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
    const Detour oldArchitecture{L"kernel32.dll", "GetSystemInfo",
                                 [](SYSTEM_INFO* info) { info->wProcessorArchitecture = 5; }};
    const Detour find{L"kernel32.dll", "GetProcAddress",
                      [](HMODULE, const char*) { return FARPROC{}; }};
    const auto facts = ReadOsVersion();
    ASSERT_TRUE(facts);
    EXPECT_EQ(facts->minor, 2);
    EXPECT_EQ(facts->architecture, 5);
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
        ApplyRegistryVersion(registry, &version);
        EXPECT_EQ(version.major, row.major) << row.currentVersion;
        EXPECT_EQ(version.minor, row.minor) << row.currentVersion;
        EXPECT_EQ(version.build, row.expectedBuild) << row.currentVersion;
        EXPECT_EQ(version.servicePack, row.servicePack) << row.currentVersion;
    }
}

}  // namespace
}  // namespace orrery
