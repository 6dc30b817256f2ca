#include "native/os_naming.h"

#include <windows.h>

#include <array>
#include <span>

#include "support/code_name.h"
#include "support/text.h"

namespace orrery {
namespace {

// Source: the PRODUCT_ constants of winnt.h.
constexpr auto kEditions = std::to_array<CodeName>({
    {1, L"Ultimate"},
    {2, L"Home Basic"},
    {3, L"Home Premium"},
    {4, L"Enterprise"},
    {5, L"Home Basic"},
    {6, L"Professional"},
    {7, L"Standard"},
    {8, L"Datacenter"},
    {9, L"Small Business Server"},
    {10, L"Enterprise"},
    {11, L"Starter"},
    {12, L"Datacenter (core installation)"},
    {13, L"Standard (core installation)"},
    {14, L"Enterprise (core installation)"},
    {15, L"Enterprise for Itanium-based Systems"},
    {16, L"Professional"},
    {17, L"Web Server"},
    {18, L"Cluster Server"},
    {20, L"Storage Server"},
    {21, L"Storage Server"},
    {22, L"Storage Server"},
    {23, L"Storage Server"},
    {25, L"Small Business Server Premium"},
    {26, L"Home Premium"},
    {27, L"Enterprise"},
    {28, L"Ultimate"},
    {29, L"Web Server"},
    {33, L"Server Foundation"},
    {47, L"Starter"},
    {48, L"Professional"},
    {49, L"Professional"},
    {56, L"MultiPoint Server"},
    {76, L"MultiPoint Server"},
    {77, L"MultiPoint Server"},
});
static_assert(IsAscending(kEditions));

/// One row of a table in which the first suite that a system has names it.
struct SuiteName {
    std::uint16_t suite;
    std::wstring_view name;
};

// Source of the suites below: the VER_SUITE_ constants of winnt.h.
constexpr SuiteName k2000Servers[] = {
    {VER_SUITE_DATACENTER, L"Datacenter Server"},
    {VER_SUITE_ENTERPRISE, L"Advanced Server"},
};
constexpr SuiteName k2003OnItanium[] = {
    {VER_SUITE_DATACENTER, L"Datacenter for Itanium-based Systems"},
    {VER_SUITE_ENTERPRISE, L"Enterprise for Itanium-based Systems"},
};
constexpr SuiteName k2003OnX64[] = {
    {VER_SUITE_DATACENTER, L"Datacenter x64"},
    {VER_SUITE_ENTERPRISE, L"Enterprise x64"},
};
constexpr SuiteName k2003OnOthers[] = {
    {VER_SUITE_COMPUTE_SERVER, L"Compute Cluster"},
    {VER_SUITE_DATACENTER, L"Datacenter"},
    {VER_SUITE_ENTERPRISE, L"Enterprise"},
    {VER_SUITE_BLADE, L"Web Edition"},
};

std::wstring_view SuiteText(std::span<const SuiteName> names, std::uint16_t suites,
                            std::wstring_view other)
{
    for (const auto& row : names)
        if ((suites & row.suite) != 0)
            return row.name;
    return other;
}

bool IsWorkstation(const OsVersion& version) noexcept
{
    return version.productType == VER_NT_WORKSTATION;
}

ProductNaming Name9x(const OsVersion& version)
{
    // The second character of the service pack's text, the first being a blank, tells the release.
    const wchar_t letter = version.servicePack.size() > 1 ? version.servicePack[1] : L'\0';
    if (version.major != 4)
        return {{}, WindowsFamily::kUnknown, version.servicePack};
    if (version.minor == 0)
        return {L"Windows 95", WindowsFamily::k95,
                letter == L'B' || letter == L'C' ? L"OSR2" : version.servicePack};
    if (version.minor == 10)
        return {L"Windows 98", WindowsFamily::k98, letter == L'A' ? L"SE" : version.servicePack};
    if (version.minor >= 90)
        return {L"Windows ME", WindowsFamily::kMe, version.servicePack};
    return {{}, WindowsFamily::kUnknown, version.servicePack};
}

ProductNaming Name2000(const OsVersion& version)
{
    ProductNaming naming{L"Windows 2000 ", WindowsFamily::k2000};
    if (version.isExtended)
        naming.caption += IsWorkstation(version)
                              ? L"Professional"
                              : SuiteText(k2000Servers, version.suites, L"Server");
    return naming;
}

ProductNaming NameXp(const OsVersion& version)
{
    ProductNaming naming{L"Windows XP ", WindowsFamily::kXp};
    if (version.isExtended)
        naming.caption += (version.suites & VER_SUITE_PERSONAL) != 0 ? L"Home" : L"Professional";
    return naming;
}

ProductNaming Base2003(const OsVersion& version)
{
    if (version.isServerR2)
        return {L"Windows Server 2003 R2 ", WindowsFamily::kServer2003};
    if (version.isExtended && version.suites == VER_SUITE_STORAGE_SERVER)
        return {L"Windows Storage Server 2003 ", WindowsFamily::kServer2003};
    if (version.isExtended && IsWorkstation(version) &&
        version.architecture == PROCESSOR_ARCHITECTURE_AMD64)
        return {L"Windows XP Professional x64 ", WindowsFamily::kXp};
    return {L"Windows Server 2003 ", WindowsFamily::kServer2003};
}

ProductNaming Name2003(const OsVersion& version)
{
    ProductNaming naming = Base2003(version);
    if (!version.isExtended || IsWorkstation(version))
        return naming;
    switch (version.architecture) {
        case PROCESSOR_ARCHITECTURE_IA64:
            naming.caption += SuiteText(k2003OnItanium, version.suites, L"");
            break;
        case PROCESSOR_ARCHITECTURE_AMD64:
            naming.caption += SuiteText(k2003OnX64, version.suites, L"Standard x64");
            break;
        default:
            naming.caption += SuiteText(k2003OnOthers, version.suites, L"Standard");
    }
    return naming;
}

/// The registry names Windows 11 "Windows 10".
std::wstring ProductNameFrom10(const OsVersion& version)
{
    constexpr std::int32_t kFirstBuildOf11 = 22000;
    std::wstring name = version.productName;
    if (version.build < kFirstBuildOf11)
        return name;
    for (auto at = name.find(L"10"); at != std::wstring::npos; at = name.find(L"10", at + 2))
        name.replace(at, 2, L"11");
    return name;
}

ProductNaming BaseFromVista(const OsVersion& version)
{
    const bool isWorkstation = IsWorkstation(version);
    if (version.major >= 10)
        return isWorkstation ? ProductNaming{ProductNameFrom10(version), WindowsFamily::k10}
                             : ProductNaming{version.productName, WindowsFamily::kServer2016};
    switch (version.minor) {
        case 0:
            return isWorkstation
                       ? ProductNaming{L"Windows Vista ", WindowsFamily::kVista}
                       : ProductNaming{L"Windows Server 2008 ", WindowsFamily::kServer2008};
        case 1:
            return isWorkstation
                       ? ProductNaming{L"Windows 7 ", WindowsFamily::k7}
                       : ProductNaming{L"Windows Server 2008 R2 ", WindowsFamily::kServer2008};
        default:
            return {version.productName,
                    isWorkstation ? WindowsFamily::k8 : WindowsFamily::kServer2012};
    }
}

ProductNaming NameFromVista(const OsVersion& version)
{
    if (!version.isExtended)
        return {L"Windows Vista ", WindowsFamily::kVista};
    ProductNaming naming = BaseFromVista(version);
    if (version.productName.empty())
        naming.caption += EditionName(version.edition, version.minor);
    if (version.architecture == PROCESSOR_ARCHITECTURE_AMD64) {
        naming.caption += L" x64";  // a blank before it is kept, so that two may stand in a row
        naming.is64Bit = true;
    }
    return naming;
}

std::wstring_view ProductOptionsSuffix(std::wstring_view productOptions)
{
    static constexpr std::wstring_view kSuffixes[][2] = {
        {L"WINNT", L"Workstation"},
        {L"LANMANNT", L"Server"},
        {L"SERVERNT", L"Advanced Server"},
    };
    for (const auto& [option, suffix] : kSuffixes)
        if (EqualsIgnoringCase(productOptions, option))
            return suffix;
    return {};
}

ProductNaming BaseOfNt(const OsVersion& version)
{
    if (version.major <= 4)
        return {L"Windows NT ", version.major == 3 && version.minor >= 50 ? WindowsFamily::kNt351
                                                                          : WindowsFamily::kNt};
    if (version.major == 5 && version.minor == 0)
        return Name2000(version);
    if (version.major == 5 && version.minor == 1)
        return NameXp(version);
    if (version.major == 5)
        return Name2003(version);
    if (version.major == 6 || version.major >= 10)
        return NameFromVista(version);
    return {};  // no Windows had a version from 7 to 9
}

ProductNaming NameNt(const OsVersion& version)
{
    ProductNaming naming = BaseOfNt(version);
    if (!version.isExtended)
        naming.caption += ProductOptionsSuffix(version.productOptions);
    naming.servicePack = version.servicePack;
    return naming;
}

}  // namespace

std::wstring_view EditionName(std::uint32_t edition, std::int32_t minor) noexcept
{
    if (minor == 0 && (edition == PRODUCT_BUSINESS || edition == PRODUCT_BUSINESS_N))
        return L"Business";
    return NameOf(kEditions, static_cast<std::int32_t>(edition), L"");
}

ProductNaming NameProduct(const OsVersion& version)
{
    switch (version.platformId) {
        case VER_PLATFORM_WIN32_WINDOWS:
            return Name9x(version);
        case VER_PLATFORM_WIN32_NT:
            return NameNt(version);
        default:
            return {L"Windows", WindowsFamily::kUnknown, version.servicePack};
    }
}

}  // namespace orrery
