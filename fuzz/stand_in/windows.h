// The little of Windows that the plain functions name, for building them on another system. What is
// called here gives the plainest answer there is.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cwctype>

#define WINAPI

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using LONG = std::int32_t;
using BOOL = int;
using HMODULE = void*;

constexpr BOOL TRUE = 1;
constexpr int CSTR_EQUAL = 2;
constexpr UINT CP_ACP = 0;
constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0, TIME_ZONE_ID_STANDARD = 1, TIME_ZONE_ID_DAYLIGHT = 2;
constexpr DWORD VER_PLATFORM_WIN32_WINDOWS = 1, VER_PLATFORM_WIN32_NT = 2;
constexpr BYTE VER_NT_WORKSTATION = 1;
constexpr WORD VER_SUITE_ENTERPRISE = 0x2, VER_SUITE_DATACENTER = 0x80, VER_SUITE_PERSONAL = 0x200,
               VER_SUITE_BLADE = 0x400, VER_SUITE_STORAGE_SERVER = 0x2000,
               VER_SUITE_COMPUTE_SERVER = 0x4000;
constexpr WORD PROCESSOR_ARCHITECTURE_IA64 = 6, PROCESSOR_ARCHITECTURE_AMD64 = 9;
constexpr DWORD PRODUCT_BUSINESS = 6, PRODUCT_BUSINESS_N = 16;

constexpr WORD LOWORD(std::uintptr_t value)
{
    return static_cast<WORD>(value);
}

struct SYSTEMTIME {
    WORD wYear, wMonth, wDayOfWeek, wDay, wHour, wMinute, wSecond, wMilliseconds;
};

struct TIME_ZONE_INFORMATION {
    LONG Bias;
    wchar_t StandardName[32];
    SYSTEMTIME StandardDate;
    LONG StandardBias;
    wchar_t DaylightName[32];
    SYSTEMTIME DaylightDate;
    LONG DaylightBias;
};

inline DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone)
{
    *zone = {};
    return TIME_ZONE_ID_UNKNOWN;
}

inline void* GetProcAddress(HMODULE, const char*)
{
    return nullptr;
}

inline int LoadStringW(HMODULE, UINT, wchar_t*, int)
{
    return 0;
}

inline int CompareStringOrdinal(const wchar_t* left, int leftSize, const wchar_t* right,
                                int rightSize, BOOL)
{
    const auto same = [](wchar_t one, wchar_t other) {
        return std::towupper(static_cast<std::wint_t>(one)) ==
               std::towupper(static_cast<std::wint_t>(other));
    };
    return std::equal(left, left + leftSize, right, right + rightSize, same) ? CSTR_EQUAL : 1;
}

inline DWORD CharLowerBuffW(wchar_t*, DWORD size)
{
    return size;
}

inline int MultiByteToWideChar(UINT, DWORD, const char* bytes, int count, wchar_t* text, int)
{
    std::copy_n(bytes, count, text);
    return count;
}
