#include "client/system/new_file.h"

#include <sddl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <random>

namespace orrery {
namespace {

namespace fs = std::filesystem;

struct FindTraits {
    using Resource = HANDLE;
    static Resource None() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Resource search) noexcept { FindClose(search); }
};

struct DescriptorTraits {
    using Resource = PSECURITY_DESCRIPTOR;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource descriptor) noexcept { LocalFree(descriptor); }
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
    // Where it gets the permissions of an earlier file, nobody but its owner has any until then.
    Unique<DescriptorTraits> descriptor;
    SECURITY_ATTRIBUTES security{sizeof security, nullptr, FALSE};
    if (IsFile(target) && ConvertStringSecurityDescriptorToSecurityDescriptorW(
                              L"D:P(A;;FA;;;OW)", SDDL_REVISION_1, descriptor.put(), nullptr))
        security.lpSecurityDescriptor = descriptor.get();
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
    SetDeleted(file_.get(), false);
    file_.reset();
    // The former keeps permissions, attributes and streams of the earlier file.
    const bool isPlaced =
        IsFile(target_) ? ReplaceFileW(target_.c_str(), path_.c_str(), nullptr, 0, nullptr, nullptr)
                        : MoveFileExW(path_.c_str(), target_.c_str(),
                                      MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH);
    if (isPlaced)
        return {};
    const std::error_code error = LastError();
    DeleteFileW(path_.c_str());
    return error;
}

}  // namespace orrery
