#pragma once

#include "store/wide_string.h"

namespace orrery {

/// A null-terminated list of property names.
using PropertyList = const wchar_t* const*;

/// A WMI class and what the report takes from it, as a null-terminated list: the class name (or
/// "None"), the report section, then the property names in the order in which they are written.
using ClassDescriptor = const wchar_t* const*;

/// The class name; its slot may also hold the identifier of a string resource.
inline WideString ClassOf(ClassDescriptor descriptor)
{
    return WideString::FromArgument(descriptor[0]);
}
inline const wchar_t* SectionOf(ClassDescriptor descriptor) noexcept
{
    return descriptor[1];
}
inline PropertyList PropertiesOf(ClassDescriptor descriptor) noexcept
{
    return descriptor + 2;
}

/// The whole table, descriptor after descriptor, and the number of its slots. Collectors use single
/// descriptors; the whole stands for who wants to know what there is.
struct DescriptorTable {
    const wchar_t* const* slots;
    std::size_t count;
};
DescriptorTable AllDescriptors() noexcept;

/// The descriptors that collectors work with.
namespace descriptors {
extern const ClassDescriptor kNetworkAdapter;
extern const ClassDescriptor kNetworkAdapterConfiguration;
extern const ClassDescriptor kVideoController;
extern const ClassDescriptor kBios;
extern const ClassDescriptor kProcessor;
extern const ClassDescriptor kOperatingSystem;
extern const ClassDescriptor kPhysicalMemory;
extern const ClassDescriptor kPhysicalMemoryLocation;
extern const ClassDescriptor kComputerSystem;
extern const ClassDescriptor kDiskDrive;
extern const ClassDescriptor kLogicalDisk;
extern const ClassDescriptor kUsbController;
extern const ClassDescriptor kBaseBoard;
extern const ClassDescriptor kSystemEnclosure;
extern const ClassDescriptor kSystemSlot;
}  // namespace descriptors

}  // namespace orrery
