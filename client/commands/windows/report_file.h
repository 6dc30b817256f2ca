#pragma once

#include <functional>
#include <span>
#include <string>

#include "client/report/fact_counts.h"
#include "support/unique.h"

namespace orrery {

/// The names of one report, absolute, in the form that file functions take at any length.
struct ReportPath {
    std::wstring shown;          // as messages print it
    std::wstring folder;         // with its trailing backslash
    std::wstring file;           // where the report ends up
    std::wstring partialFolder;  // of the run alone; nobody can foresee it
    std::wstring partial;        // where the run writes the report, in that folder
    std::wstring tail;           // of the folder's name: the number of the process and what follows
};

/// Works out the names of a report.
/// @param report relative or absolute, of any length
/// @throws CommandError with kInput for a name that does not end in ".tsv" or stands for a device
ReportPath ResolveReport(const std::wstring& report);

/// The same name with another ending than ".tsv".
ReportPath WithSuffix(ReportPath path, const wchar_t* suffix);

/// The name of this computer, empty when the system does not tell.
std::wstring ComputerName();

/// Finds out before the run whether its report could be put in place.
/// @throws CommandError when it could not
void CheckTarget(const ReportPath& path);

/// The file that a run writes, in a folder made for it; both are deleted again unless the file becomes
/// the report.
class CPartialReport {
public:
    /// Makes the file, still empty, and deletes what killed processes have left of the same report.
    /// @throws CommandError with kReport when that is not possible
    explicit CPartialReport(const ReportPath& path);
    ~CPartialReport();
    CPartialReport(const CPartialReport&) = delete;
    CPartialReport& operator=(const CPartialReport&) = delete;

    /// Counts the facts that were written so far; none also when the file cannot be read.
    void Count(CFactCounter& counter) const;
    /// Hands out the bytes that were written so far, in parts.
    /// @return whether all of them could be read
    bool Read(const std::function<void(std::span<const std::byte>)>& sink) const;
    /// Makes the file the report, in place of an earlier one.
    /// @throws CommandError with kReport when the earlier one stays in the way
    void Publish();

private:
    const ReportPath& path_;
    UniqueFile file_;
    bool published_ = false;
};

}  // namespace orrery
