#pragma once

#include <cstdint>
#include <string>

#include "native/os_version.h"

namespace orrery {

/// The families of Windows that are told apart. Nothing reports the numbers.
enum class WindowsFamily : std::int32_t {
    kUnknown = 0,
    k95 = 1,
    k98 = 2,
    kMe = 3,
    kNt351 = 4,
    kNt = 5,
    k2000 = 6,
    kXp = 7,
    kServer2003 = 8,
    kVista = 9,
    kServer2008 = 10,
    k7 = 11,
    k8 = 12,
    kServer2012 = 13,
    k10 = 14,
    kServer2016 = 15,
};

/// A version put into words.
struct ProductNaming {
    std::wstring caption{};  ///< such as "Windows 7 Professional x64"; empty for an unknown version
    WindowsFamily family = WindowsFamily::kUnknown;
    std::wstring servicePack{};
    bool is64Bit = false;  ///< whether the caption was given " x64" at its end; never before Vista
};

/// Names the product that a version stands for.
ProductNaming NameProduct(const OsVersion& version);

/// The words for a product number of GetProductInfo, which end the captions of Vista to 7.
/// @param minor of the Windows version: what Vista calls Business is Professional later on
/// @return empty for a number without words of its own
std::wstring_view EditionName(std::uint32_t edition, std::int32_t minor) noexcept;

}  // namespace orrery
