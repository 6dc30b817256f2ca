#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

#include "orrery/inventory.h"
#include "support/unique.h"

namespace orrery {

/// The path of the library beside this program.
std::wstring LibraryPath();

/// orrery.dll as any customer uses it: loaded by path, reached through its exported names.
class CInventoryLibrary {
public:
    using CancelFunction = decltype(&::Cancel);

    /// Loads the orrery.dll that lies beside this program, never one from elsewhere.
    /// @throws CommandError with kLibrary when it is missing, cannot be loaded or lacks an export
    CInventoryLibrary();

    const std::wstring& path() const noexcept { return path_; }
    /// Runs one inventory of all groups on the calling thread.
    /// @return the library's result: 0 when the run was cancelled
    std::int32_t Collect(const std::wstring& report) const { return collect_(report.c_str()); }
    /// The export that stops a run; valid as long as this object.
    CancelFunction cancel() const noexcept { return cancel_; }

private:
    std::wstring path_;
    UniqueModule module_;
    decltype(&::GetInventory) collect_ = nullptr;
    CancelFunction cancel_ = nullptr;
};

}  // namespace orrery
