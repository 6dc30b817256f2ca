#include "sim/platform.h"

#include <cstring>
#include <cwchar>
#include <utility>

namespace orrery::sim {
namespace {

PlatformFacts facts;

void WINAPI TellSystem(SYSTEM_INFO* system)
{
    *system = {};
    system->dwNumberOfProcessors = facts.processors;
    system->wProcessorArchitecture = facts.architecture;
}

BOOL WINAPI TellVersion(OSVERSIONINFOW* version)
{
    if (!facts.version)
        return FALSE;
    const DWORD size = version->dwOSVersionInfoSize;
    std::memcpy(version, &*facts.version, size);
    version->dwOSVersionInfoSize = size;
    return TRUE;
}

BOOL WINAPI TellEdition(DWORD, DWORD, DWORD, DWORD, DWORD* edition)
{
    *edition = facts.edition;
    return facts.edition != PRODUCT_UNDEFINED;
}

BOOL TellText(const wchar_t* text, wchar_t* buffer, DWORD* size)
{
    if (text == nullptr || std::wcslen(text) >= *size)
        return FALSE;
    std::wcscpy(buffer, text);
    return TRUE;
}

BOOL WINAPI TellHostName(COMPUTER_NAME_FORMAT format, wchar_t* buffer, DWORD* size)
{
    return format == ComputerNamePhysicalDnsHostname && TellText(facts.hostName, buffer, size);
}

BOOL WINAPI TellUserName(wchar_t* buffer, DWORD* size)
{
    return TellText(facts.userName, buffer, size);
}

BOOL WINAPI KnowNoAccount(const wchar_t*, PSID, wchar_t*, DWORD*, wchar_t*, DWORD*, SID_NAME_USE*)
{
    return FALSE;
}

BOOL WINAPI TellMemory(MEMORYSTATUSEX* status)
{
    if (facts.memory == 0 || status->dwLength != sizeof *status)
        return FALSE;
    status->ullTotalPhys = facts.memory;
    return TRUE;
}

DWORD WINAPI TellZone(TIME_ZONE_INFORMATION* zone)
{
    *zone = facts.zone;
    return facts.zoneResult;
}

DWORD WINAPI TellDrives()
{
    DWORD drives = 0;
    for (const auto& [letter, volume] : facts.volumes)
        drives |= DWORD{1} << (letter - L'A');
    return drives;
}

const Volume& VolumeAt(const wchar_t* root)
{
    static const Volume none{.type = DRIVE_NO_ROOT_DIR};
    const auto found = facts.volumes.find(root[0]);
    return found == facts.volumes.end() || std::wcscmp(root + 1, L":\\") != 0 ? none
                                                                              : found->second;
}

UINT WINAPI TellDriveType(const wchar_t* root)
{
    return VolumeAt(root).type;
}

BOOL WINAPI TellVolume(const wchar_t* root, wchar_t* label, DWORD labelSize, DWORD* serial, DWORD*,
                       DWORD*, wchar_t* fileSystem, DWORD fileSystemSize)
{
    const Volume& volume = VolumeAt(root);
    if (serial != nullptr && volume.fileSystem != nullptr)
        *serial = volume.serial;
    return volume.fileSystem != nullptr &&
           (label == nullptr || TellText(volume.label, label, &labelSize)) &&
           (fileSystem == nullptr || TellText(volume.fileSystem, fileSystem, &fileSystemSize));
}

BOOL WINAPI TellSpace(const wchar_t* root, ULARGE_INTEGER* callersFree, ULARGE_INTEGER* total,
                      ULARGE_INTEGER* free)
{
    const Volume& volume = VolumeAt(root);
    if (volume.fileSystem == nullptr)
        return FALSE;
    callersFree->QuadPart = 0;  // the caller's quota is used up
    total->QuadPart = volume.total;
    free->QuadPart = volume.free;
    return TRUE;
}

BOOL WINAPI TellDisplay(const wchar_t* device, DWORD number, DISPLAY_DEVICEW* display, DWORD)
{
    if (device != nullptr || number >= facts.displays.size())
        return FALSE;
    const Display& listed = facts.displays[number];
    std::wcscpy(display->DeviceString, listed.name);
    std::wcscpy(display->DeviceID, listed.id);
    std::wcscpy(display->DeviceKey, listed.key);
    display->StateFlags = listed.flags;
    return TRUE;
}

HWND WINAPI NoShell()
{
    return nullptr;
}

HDESK WINAPI NoDesktop(const wchar_t*, DWORD, BOOL, ACCESS_MASK)
{
    return nullptr;
}

BOOL WINAPI NoWindows(WNDENUMPROC, LPARAM)
{
    return FALSE;
}

}  // namespace

Platform::Platform(PlatformFacts machine)
{
    facts = std::move(machine);
    detours_.emplace_back(L"kernel32.dll", "GetSystemInfo", TellSystem);
    detours_.emplace_back(L"kernel32.dll", "GetNativeSystemInfo", TellSystem);
    detours_.emplace_back(L"kernel32.dll", "GetVersionExW", TellVersion);
    detours_.emplace_back(L"kernel32.dll", "GetProductInfo", TellEdition);
    detours_.emplace_back(L"kernel32.dll", "GetComputerNameExW", TellHostName);
    detours_.emplace_back(L"advapi32.dll", "GetUserNameW", TellUserName);
    detours_.emplace_back(L"advapi32.dll", "LookupAccountSidW", KnowNoAccount);
    detours_.emplace_back(L"kernel32.dll", "GlobalMemoryStatusEx", TellMemory);
    detours_.emplace_back(L"kernel32.dll", "GetTimeZoneInformation", TellZone);
    detours_.emplace_back(L"kernel32.dll", "GetLogicalDrives", TellDrives);
    detours_.emplace_back(L"kernel32.dll", "GetDriveTypeW", TellDriveType);
    detours_.emplace_back(L"kernel32.dll", "GetVolumeInformationW", TellVolume);
    detours_.emplace_back(L"kernel32.dll", "GetDiskFreeSpaceExW", TellSpace);
    detours_.emplace_back(L"user32.dll", "EnumDisplayDevicesW", TellDisplay);
    detours_.emplace_back(L"user32.dll", "GetShellWindow", NoShell);
    detours_.emplace_back(L"user32.dll", "OpenDesktopW", NoDesktop);
    detours_.emplace_back(L"user32.dll", "EnumWindows", NoWindows);
}

Platform::~Platform() = default;

}  // namespace orrery::sim
