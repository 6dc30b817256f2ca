#include "client/commands/windows/report_file.h"

#include <windows.h>

#include <array>
#include <cstddef>
#include <cwchar>
#include <random>
#include <span>
#include <string_view>

#include "client/system/console.h"
#include "client/system/exit_codes.h"
#include "client/system/succeeds_soon.h"
#include "support/unique.h"

namespace orrery {
namespace {

constexpr std::wstring_view kSuffix = L".tsv";
// The library writes no file of another name, so a folder of its own keeps the file from whoever takes
// each "*.tsv" of the report's folder.
constexpr std::wstring_view kPartialName = L"\\report.tsv";
constexpr std::wstring_view kPartialSuffix = L".partial";
constexpr std::size_t kRandomDigits = 16;
constexpr DWORD kShareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

std::wstring AbsolutePath(const std::wstring& path)
{
    std::wstring absolute(MAX_PATH, L'\0');
    DWORD length = GetFullPathNameW(path.c_str(), static_cast<DWORD>(absolute.size()),
                                    absolute.data(), nullptr);
    if (length >= absolute.size()) {
        absolute.resize(length);
        length = GetFullPathNameW(path.c_str(), length, absolute.data(), nullptr);
    }
    absolute.resize(length);
    return absolute;
}

/// The form of an absolute path that is not limited to MAX_PATH.
std::wstring ExtendedPath(const std::wstring& absolute)
{
    if (absolute.starts_with(LR"(\\?\)") || absolute.starts_with(LR"(\\.\)"))
        return absolute;
    if (absolute.starts_with(LR"(\\)"))
        return LR"(\\?\UNC)" + absolute.substr(1);
    return LR"(\\?\)" + absolute;
}

struct FindTraits {
    using Resource = HANDLE;
    static Resource None() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Resource search) noexcept { FindClose(search); }
};

bool IsRunning(DWORD process)
{
    const UniqueHandle handle{
        OpenProcess(SYNCHRONIZE | PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process)};
    // Without the right to ask, there is one.
    if (!handle)
        return GetLastError() != ERROR_INVALID_PARAMETER;
    return WaitForSingleObject(handle.get(), 0) == WAIT_TIMEOUT;
}

/// Digits that nobody else can foresee.
std::wstring RandomDigits()
{
    std::random_device random;
    std::array<wchar_t, kRandomDigits + 1> digits{};
    std::swprintf(digits.data(), digits.size(), L"%08x%08x", random(), random());
    return digits.data();
}

[[noreturn]] void FailWrite(const ReportPath& path, DWORD error)
{
    throw CommandError(ExitCode::kReport, "the report " + Quoted(path.shown) +
                                              " cannot be written: " + SystemMessage(error) +
                                              "; choose a folder in which you may create files");
}

void DeletePartial(const std::wstring& folder)
{
    DeleteFileW((folder + std::wstring{kPartialName}).c_str());
    RemoveDirectoryW(folder.c_str());
}

/// Deletes what clients that were killed on this computer have left of the same report.
void DeleteLeftovers(const ReportPath& path)
{
    WIN32_FIND_DATAW found{};
    const std::wstring start =
        path.partialFolder.substr(0, path.partialFolder.size() - path.tail.size());
    const Unique<FindTraits> search{
        FindFirstFileW((start + L'*').append(kPartialSuffix).c_str(), &found)};
    if (!search)
        return;
    const std::wstring_view name = std::wstring_view{start}.substr(path.folder.size());
    do {
        // What stands for the star starts with the number of a process.
        std::wstring_view number = found.cFileName;
        if (number.size() < name.size() + kPartialSuffix.size())
            continue;
        number.remove_prefix(name.size());
        number.remove_suffix(kPartialSuffix.size());
        wchar_t* end = nullptr;
        const DWORD process = std::wcstoul(found.cFileName + name.size(), &end, 10);
        if (end != number.data() && *end == L'-' &&
            number.size() == kRandomDigits + 1 + static_cast<std::size_t>(end - number.data()) &&
            !IsRunning(process))
            DeletePartial(path.folder + found.cFileName);
    } while (FindNextFileW(search.get(), &found));
}

}  // namespace

std::wstring ComputerName()
{
    std::array<wchar_t, MAX_COMPUTERNAME_LENGTH + 1> name{};
    auto size = static_cast<DWORD>(name.size());
    return GetComputerNameW(name.data(), &size) ? std::wstring{name.data(), size} : std::wstring{};
}

ReportPath ResolveReport(const std::wstring& report)
{
    if (!report.ends_with(kSuffix))
        throw CommandError(ExitCode::kInput, "the report's name " + Quoted(report) +
                                                 " does not end in \".tsv\" in lower case; use " +
                                                 "for example \"report.tsv\"");
    ReportPath path;
    path.shown = AbsolutePath(report);
    // A name such as nul.tsv turns into that of a device.
    if (!path.shown.ends_with(kSuffix))
        throw CommandError(ExitCode::kInput, "the report's name " + Quoted(report) +
                                                 " stands for a device; choose another name");

    // Computers may share the folder.
    const std::wstring computer = L'.' + ComputerName() + L'-';
    path.tail = std::to_wstring(GetCurrentProcessId()) + L'-' + RandomDigits();
    path.tail += kPartialSuffix;
    const bool isLong =
        path.shown.size() + computer.size() + path.tail.size() + kPartialName.size() >= MAX_PATH;
    path.file = isLong ? ExtendedPath(path.shown) : path.shown;
    path.folder = path.file.substr(0, path.file.rfind(L'\\') + 1);
    // A file name has 255 code units at most, and the tail has to fit in.
    constexpr std::size_t kLongestStem = 200;
    const std::wstring name = path.file.substr(path.folder.size());
    path.partialFolder = path.folder +
                         name.substr(0, name.size() - kSuffix.size()).substr(0, kLongestStem) +
                         computer + path.tail;
    path.partial = path.partialFolder + std::wstring{kPartialName};
    return path;
}

ReportPath WithSuffix(ReportPath path, const wchar_t* suffix)
{
    for (std::wstring* const name : {&path.shown, &path.file})
        name->replace(name->size() - kSuffix.size(), kSuffix.size(), suffix);
    return path;
}

void CheckTarget(const ReportPath& path)
{
    const DWORD folder = GetFileAttributesW(path.folder.c_str());
    if (const DWORD error = GetLastError(); folder == INVALID_FILE_ATTRIBUTES)
        throw CommandError(
            ExitCode::kInput,
            "the folder " + Quoted(path.shown.substr(0, path.shown.rfind(L'\\') + 1)) +
                " cannot be found: " + SystemMessage(error) + "; create it or choose another one");
    const DWORD file = GetFileAttributesW(path.file.c_str());
    if (file == INVALID_FILE_ATTRIBUTES)
        return;
    if ((file & FILE_ATTRIBUTE_DIRECTORY) != 0)
        throw CommandError(ExitCode::kInput, Quoted(path.shown) +
                                                 " is a folder; give the name of a file, such as " +
                                                 Quoted(path.shown + L"\\report.tsv"));
    const bool replaceable = SucceedsSoon([&path] {
        const UniqueFile earlier{CreateFileW(path.file.c_str(), GENERIC_WRITE | DELETE, kShareAll,
                                             nullptr, OPEN_EXISTING, 0, nullptr)};
        // Another run may just be putting its report in place.
        return earlier || GetLastError() == ERROR_FILE_NOT_FOUND;
    });
    if (const DWORD error = GetLastError(); !replaceable)
        throw CommandError(ExitCode::kReport,
                           "the earlier report " + Quoted(path.shown) +
                               " cannot be replaced: " + SystemMessage(error) +
                               "; close the program that uses it, lift its write protection or " +
                               "choose another name");
}

CPartialReport::CPartialReport(const ReportPath& path) : path_(path)
{
    DeleteLeftovers(path);
    // Held open, so that the file cannot be deleted or renamed while the run writes it.
    if (CreateDirectoryW(path.partialFolder.c_str(), nullptr))
        file_.reset(CreateFileW(path.partial.c_str(), GENERIC_WRITE,
                                FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_NEW,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (const DWORD error = GetLastError(); !file_)
        FailWrite(path, error);
}

CPartialReport::~CPartialReport()
{
    file_.reset();
    if (!published_)
        SucceedsSoon([this] { return DeleteFileW(path_.partial.c_str()) != FALSE; });
    RemoveDirectoryW(path_.partialFolder.c_str());
}

void CPartialReport::Count(CFactCounter& counter) const
{
    Read([&counter](std::span<const std::byte> bytes) { counter.Add(bytes); });
    counter.Finish();
}

bool CPartialReport::Read(const std::function<void(std::span<const std::byte>)>& sink) const
{
    const UniqueFile file{CreateFileW(path_.partial.c_str(), GENERIC_READ, kShareAll, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_SEQUENTIAL_SCAN, nullptr)};
    std::array<std::byte, 16384> block;
    DWORD bytes = 0;
    while (file &&
           ReadFile(file.get(), block.data(), static_cast<DWORD>(block.size()), &bytes, nullptr)) {
        if (bytes == 0)
            return true;
        sink(std::span{block}.first(bytes));
    }
    return false;
}

void CPartialReport::Publish()
{
    // What the run wrote is the file's, whoever flushes it.
    if (!FlushFileBuffers(file_.get()))
        FailWrite(path_, GetLastError());
    file_.reset();
    published_ = SucceedsSoon([this] {
        return MoveFileExW(path_.partial.c_str(), path_.file.c_str(),
                           MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != FALSE;
    });
    if (const DWORD error = GetLastError(); !published_)
        throw CommandError(ExitCode::kReport,
                           "the report " + Quoted(path_.shown) +
                               " cannot be put in place: " + SystemMessage(error) +
                               "; close the program that uses it and collect again");
}

}  // namespace orrery
