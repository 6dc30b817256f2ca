#include "native/os_version.h"

#include <windows.h>

#include <algorithm>
#include <iterator>

#include "support/library.h"
#include "support/registry.h"
#include "support/text.h"

namespace orrery {
namespace {

/// Takes the number at the start of a text, and one character more, off the text.
std::int32_t TakeNumber(std::wstring_view* text)
{
    const std::int32_t number = ParseInt32(*text);
    const auto digits = text->find_first_not_of(L"0123456789");
    text->remove_prefix(digits == std::wstring_view::npos ? text->size() : digits + 1);
    return number;
}

std::optional<OsVersion> ReadReportedVersion()
{
    OSVERSIONINFOEXW info{};
    auto* const plain = reinterpret_cast<OSVERSIONINFOW*>(&info);
    info.dwOSVersionInfoSize = sizeof info;
    const bool isExtended = GetVersionExW(plain) != FALSE;
    if (!isExtended) {
        info.dwOSVersionInfoSize = sizeof *plain;
        if (!GetVersionExW(plain))
            return std::nullopt;
    }
    OsVersion version;
    version.platformId = info.dwPlatformId;
    version.major = static_cast<std::int32_t>(info.dwMajorVersion);
    version.minor = static_cast<std::int32_t>(info.dwMinorVersion);
    version.build = static_cast<std::int32_t>(info.dwBuildNumber);
    version.servicePack.assign(
        std::begin(info.szCSDVersion),
        std::find(std::begin(info.szCSDVersion), std::end(info.szCSDVersion), L'\0'));
    version.isExtended = isExtended;
    if (isExtended) {
        version.suites = info.wSuiteMask;
        version.productType = info.wProductType;
    }
    return version;
}

/// Whether this is a 32-bit process on a 64-bit system.
bool IsWow64()
{
    const auto isWow64Process =
        FindFunction<decltype(&IsWow64Process)>(GetModuleHandleW(L"kernel32"), "IsWow64Process");
    BOOL answer = FALSE;
    return isWow64Process != nullptr && isWow64Process(GetCurrentProcess(), &answer) &&
           answer != FALSE;
}

RegistryVersion ReadRegistryVersion()
{
    const REGSAM access = IsWow64() ? KEY_QUERY_VALUE | KEY_WOW64_64KEY : KEY_QUERY_VALUE;
    const UniqueKey key = OpenKey(HKEY_LOCAL_MACHINE, kCurrentVersionKey, access);
    if (!key)
        return {};
    constexpr std::size_t kShortBytes = 40;
    constexpr std::size_t kLongBytes = 256;
    const auto text = [&key](const wchar_t* name, std::size_t maxBytes) {
        return ReadTextWithin(key.get(), name, maxBytes).value_or(std::wstring{});
    };
    const auto number = [&key](const wchar_t* name) { return ReadNumber(key.get(), name); };
    return {
        .currentVersion = text(L"CurrentVersion", kShortBytes),
        .currentBuildNumber = text(L"CurrentBuildNumber", kShortBytes),
        .csdVersion = text(L"CSDVersion", kLongBytes),
        .productName = text(L"ProductName", kLongBytes),
        .displayVersion = text(L"DisplayVersion", kShortBytes),
        .releaseId = text(L"ReleaseId", kShortBytes),
        .updateRevision = number(L"UBR"),
        .majorNumber = static_cast<std::int32_t>(number(L"CurrentMajorVersionNumber")),
        .minorNumber = static_cast<std::int32_t>(number(L"CurrentMinorVersionNumber")),
    };
}

std::uint16_t ReadArchitecture()
{
    const auto getNativeSystemInfo = FindFunction<decltype(&GetNativeSystemInfo)>(
        GetModuleHandleW(L"kernel32.dll"), "GetNativeSystemInfo");
    SYSTEM_INFO info{};
    (getNativeSystemInfo != nullptr ? getNativeSystemInfo : &GetSystemInfo)(&info);
    return info.wProcessorArchitecture;
}

std::uint32_t ReadEdition()
{
    const auto getProductInfo = FindFunction<decltype(&GetProductInfo)>(
        GetModuleHandleW(L"kernel32.dll"), "GetProductInfo");
    DWORD edition = 0;
    if (getProductInfo != nullptr)
        getProductInfo(6, 0, 0, 0, &edition);
    return edition;
}

std::wstring ReadProductOptions()
{
    constexpr std::size_t kMaxBytes = 512;
    const UniqueKey key = OpenKey(
        HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\ProductOptions", KEY_QUERY_VALUE);
    if (!key)
        return {};
    return ReadTextWithin(key.get(), L"ProductType", kMaxBytes).value_or(std::wstring{});
}

}  // namespace

void ApplyRegistryVersion(const RegistryVersion& registry, OsVersion* version)
{
    constexpr std::size_t kMaxServicePack = 127;
    version->productName = registry.productName;
    version->displayVersion = registry.displayVersion;
    version->releaseId = registry.releaseId;
    version->updateRevision = registry.updateRevision;

    std::wstring_view rest = registry.currentVersion;
    const std::int32_t major = TakeNumber(&rest);
    const std::int32_t minor = ParseInt32(rest);
    if (major < 6)
        return;
    version->major = major;
    version->minor = minor;
    version->build = ParseInt32(registry.currentBuildNumber);
    version->servicePack = registry.csdVersion.substr(0, kMaxServicePack);
    if (major == 6 && minor == 3 && registry.majorNumber != 0) {
        version->major = registry.majorNumber;
        version->minor = registry.minorNumber;
    }
}

std::optional<OsVersion> ReadOsVersion()
{
    auto version = ReadReportedVersion();
    if (!version)
        return std::nullopt;
    if (version->major == 6 && version->minor == 2)
        ApplyRegistryVersion(ReadRegistryVersion(), &*version);
    version->architecture = ReadArchitecture();
    version->isServerR2 = GetSystemMetrics(SM_SERVERR2) != 0;
    if (version->major >= 6)
        version->edition = ReadEdition();
    if (!version->isExtended)
        version->productOptions = ReadProductOptions();
    return version;
}

}  // namespace orrery
