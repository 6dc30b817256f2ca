#pragma once

#include <filesystem>
#include <string_view>
#include <system_error>

#ifdef _WIN32
#include <windows.h>

#include "support/unique.h"
#endif

namespace orrery {

/// A file that is to take the place of another one, or of none. It is written under a name of its own
/// in the same folder. Nothing of it is left when the program fails or is interrupted before it is in
/// place; what a kill leaves is removed by the next one in the folder.
class CNewFile {
public:
    /// Makes the file, which nobody else may read while it is written.
    explicit CNewFile(const std::filesystem::path& target);
    ~CNewFile();
    CNewFile(const CNewFile&) = delete;
    CNewFile& operator=(const CNewFile&) = delete;

    /// Adds to the file. After a failure nothing more is written.
    void Write(std::string_view part);
    /// Puts the file in place, with the permissions of the one that it replaces. A link is replaced
    /// itself, not what it leads to.
    /// @return what went wrong, also earlier on; nothing when the file is in place
    std::error_code Publish();

private:
    std::filesystem::path target_, path_;
    std::error_code error_;
#ifdef _WIN32
    UniqueFile file_;
#else
    int file_ = -1;
#endif
};

}  // namespace orrery
