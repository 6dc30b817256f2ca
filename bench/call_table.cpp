#include "call_table.h"

#include <array>

namespace orrery::bench {
namespace {

using enum Home;
using enum Result;

constexpr auto kCalls = std::to_array<PlatformCall>({
    {kImport, "AllocateAndInitializeSid", "pvvvvvvvvvH"},
    {kImport, "CloseDesktop", "h"},
    {kImport, "CloseHandle", "h"},
    {kImport, "CoCreateInstance", "pvvpL"},
    {kImport, "CoInitialize", "v"},
    {kImport, "CoSetProxyBlanket", "hvvvvvvv"},
    {kImport, "CoUninitialize", "", kNone},
    {kImport, "CreateFileW", "wvvvvvv", kHandle},
    {kImport, "CreateThread", "vvTvvp", kHandle},
    {kImport, "DeviceIoControl", "hvpvpvpv"},
    {kImport, "EnumDisplayDevicesW", "vvpv"},
    {kImport, "FreeLibrary", "h"},
    {kImport, "FreeSid", "h", kNone},
    {kImport, "GetAdaptersAddresses", "vvvpp"},
    {kImport, "GetAdaptersInfo", "pp"},
    {kImport, "GetComputerNameExW", "vpp"},
    {kImport, "GetDiskFreeSpaceExW", "wppp"},
    {kImport, "GetDriveTypeW", "w"},
    {kImport, "GetLogicalDrives", ""},
    {kImport, "GetModuleHandleW", "w", kNone},
    {kImport, "GetNativeSystemInfo", "p", kNone},
    {kImport, "GetPerAdapterInfo", "vpp"},
    {kImport, "GetProcAddress", "ha", kNone},
    {kImport, "GetProductInfo", "vvvvp"},
    {kImport, "GetShellWindow", ""},
    {kImport, "GetSystemInfo", "p", kNone},
    {kImport, "GetSystemMetrics", "v"},
    {kImport, "GetTimeZoneInformation", "p"},
    {kImport, "GetUserNameW", "pp"},
    {kImport, "GetVersion", ""},
    {kImport, "GetVersionExW", "p"},
    {kImport, "GetVolumeInformationW", "wpvppppv"},
    {kImport, "GlobalMemoryStatusEx", "p"},
    {kImport, "IsWow64Process", "vp"},
    {kImport, "LoadLibraryW", "w", kHandle},
    {kImport, "LookupAccountSidW", "whppppp"},
    {kImport, "OpenDesktopW", "wvvv", kHandle},
    {kImport, "RegCloseKey", "h"},
    {kImport, "RegEnumKeyExW", "hvppvvvv"},
    {kImport, "RegOpenKeyExW", "hwvvH"},
    {kImport, "RegQueryValueExW", "hwvppp"},
    {kImport, "RevertToSelf", ""},
    {kImport, "SetThreadErrorMode", "vp"},
    {kImport, "SysAllocStringLen", "nv", kHandle},
    {kImport, "SysFreeString", "h", kNone},
    {kImport, "VariantClear", "V"},
    {kImport, "VariantInit", "V", kNone},
    {kImport, "WSACleanup", ""},
    {kImport, "WSAStartup", "vp"},
    {kImport, "WaitForMultipleObjects", "vWvv"},
    {kImport, "WlanEnumInterfaces", "hvH"},
    {kImport, "WlanFreeMemory", "h", kNone},
    {kImport, "WlanOpenHandle", "vvpH"},
    {kImport, "_wfopen", "ww", kHandle},
    {kImport, "fclose", "h"},
    {kImport, "fwrite", "pvvh"},
    // the places of methods are those in the SDK's wbemcli.h and objidl.h
    {kLocator, "IWbemLocator::Release", "h", kStatus, 2},
    {kLocator, "IWbemLocator::ConnectServer", "hhvvvvvvS", kStatus, 3},
    {kServices, "IWbemServices::QueryInterface", "hpC", kStatus, 0},
    {kServices, "IWbemServices::Release", "h", kStatus, 2},
    {kServices, "IWbemServices::GetObject", "hhvvOv", kStatus, 6},
    {kServices, "IWbemServices::CreateInstanceEnum", "hhvvE", kStatus, 18},
    {kServices, "IWbemServices::ExecQuery", "hhhvvE", kStatus, 20},
    {kServices, "IWbemServices::ExecMethod", "hhhvvhOv", kStatus, 24},
    {kSecurity, "IClientSecurity::Release", "h", kStatus, 2},
    {kSecurity, "IClientSecurity::SetBlanket", "hhvvvvvvv", kStatus, 4},
    {kEnumerator, "IEnumWbemClassObject::Release", "h", kStatus, 2},
    {kEnumerator, "IEnumWbemClassObject::Next", "hvvNp", kStatus, 4},
    {kObject, "IWbemClassObject::Release", "h", kStatus, 2},
    {kObject, "IWbemClassObject::Get", "hwvVvv", kStatus, 4},
    {kObject, "IWbemClassObject::GetObjectText", "hvH", kStatus, 13},
    {kObject, "IWbemClassObject::SpawnInstance", "hvO", kStatus, 15},
    {kObject, "IWbemClassObject::GetMethod", "hwvOO", kStatus, 19},
});

}  // namespace

std::span<const PlatformCall> PlatformCalls() noexcept
{
    return kCalls;
}

}  // namespace orrery::bench
