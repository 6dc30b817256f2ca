#include "client/system/new_file.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <random>
#include <vector>

namespace orrery {
namespace {

namespace fs = std::filesystem;

struct FindTraits {
    using Resource = HANDLE;
    static Resource None() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Resource search) noexcept { FindClose(search); }
};

std::error_code LastError()
{
    return {static_cast<int>(GetLastError()), std::system_category()};
}

fs::path NewNameBeside(const fs::path& target)
{
    std::random_device random;
    std::array<wchar_t, 32> name{};
    std::swprintf(name.data(), name.size(), L".orreryctl.%08x%08x.tmp", random(), random());
    return fs::path{target}.replace_filename(name.data());
}

/// Removes what killed programs have left: whoever still writes a file shares it with nobody.
void RemoveLeftovers(const fs::path& target)
{
    WIN32_FIND_DATAW found{};
    const fs::path pattern = fs::path{target}.replace_filename(L".orreryctl.*.tmp");
    const Unique<FindTraits> search{FindFirstFileW(pattern.c_str(), &found)};
    if (!search)
        return;
    do {
        DeleteFileW(fs::path{target}.replace_filename(found.cFileName).c_str());
    } while (FindNextFileW(search.get(), &found));
}

/// Whether a path is that of a file, not of a link.
bool IsFile(const fs::path& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES &&
           (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT)) == 0;
}

/// Who may do what with a file.
/// @return a security descriptor; empty, with the last error, when it cannot be read
std::vector<std::byte> Permissions(const fs::path& path)
{
    DWORD size = 0;
    GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &size);
    std::vector<std::byte> descriptor(size);
    if (!GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, descriptor.data(), size, &size))
        descriptor.clear();
    return descriptor;
}

/// Gives an open file another name, in place of a file of that name.
bool Rename(HANDLE file, const fs::path& target)
{
    std::wstring name = target.wstring();
    if (!name.starts_with(LR"(\\?\)"))
        name = fs::absolute(target).wstring();
    const std::size_t bytes = name.size() * sizeof(wchar_t);
    std::vector<std::byte> memory(sizeof(FILE_RENAME_INFO) + bytes);
    auto& info = *reinterpret_cast<FILE_RENAME_INFO*>(memory.data());
    info.ReplaceIfExists = TRUE;
    info.FileNameLength = static_cast<DWORD>(bytes);
    std::memcpy(info.FileName, name.data(), bytes);
    return SetFileInformationByHandle(file, FileRenameInfo, &info,
                                      static_cast<DWORD>(memory.size())) != FALSE;
}

/// Decides whether a file is deleted when it is closed, be it by the end of the process.
bool SetDeleted(HANDLE file, bool isDeleted)
{
    FILE_DISPOSITION_INFO info{};
    info.DeleteFile = isDeleted ? TRUE : FALSE;
    return SetFileInformationByHandle(file, FileDispositionInfo, &info, sizeof info) != FALSE;
}

}  // namespace

CNewFile::CNewFile(const fs::path& target) : target_(target), path_(NewNameBeside(target))
{
    RemoveLeftovers(target);
    SECURITY_ATTRIBUTES security{sizeof security, nullptr, FALSE};
    std::vector<std::byte> permissions;
    if (IsFile(target)) {
        permissions = Permissions(target);
        if (permissions.empty()) {
            error_ = LastError();
            return;
        }
        security.lpSecurityDescriptor = permissions.data();
    }
    file_.reset(CreateFileW(path_.c_str(), GENERIC_WRITE | DELETE, 0, &security, CREATE_NEW,
                            FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file_)
        error_ = LastError();
    else
        SetDeleted(file_.get(), true);
}

CNewFile::~CNewFile()
{
    if (file_ && !SetDeleted(file_.get(), true)) {
        file_.reset();
        DeleteFileW(path_.c_str());
    }
}

void CNewFile::Write(std::string_view part)
{
    constexpr std::size_t kLargest = std::size_t{1} << 20;
    while (!part.empty() && !error_) {
        DWORD written = 0;
        if (WriteFile(file_.get(), part.data(), static_cast<DWORD>(std::min(part.size(), kLargest)),
                      &written, nullptr) &&
            written != 0)
            part.remove_prefix(written);
        else
            error_ = LastError();
    }
}

std::error_code CNewFile::Publish()
{
    if (error_)
        return error_;
    if (!FlushFileBuffers(file_.get()))
        return LastError();
    // Nobody takes it for a leftover as long as it is open.
    SetDeleted(file_.get(), false);
    if (!Rename(file_.get(), target_))
        return LastError();
    file_.reset();
    return {};
}

}  // namespace orrery
