#include "client/system/event_log.h"

#include <windows.h>

#include "client/system/console.h"
#include "support/unique.h"

namespace orrery {
namespace {

struct SourceTraits {
    using Resource = HANDLE;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource source) noexcept { DeregisterEventSource(source); }
};

WORD KindOf(ExitCode code)
{
    if (code == ExitCode::kDone)
        return EVENTLOG_INFORMATION_TYPE;
    const bool isWarning =
        code == ExitCode::kNo || code == ExitCode::kCancelled || code == ExitCode::kNotDelivered;
    return isWarning ? EVENTLOG_WARNING_TYPE : EVENTLOG_ERROR_TYPE;
}

}  // namespace

void LogEvent(ExitCode code, const std::string& text)
{
    const Unique<SourceTraits> source{RegisterEventSourceW(nullptr, L"orreryctl")};
    if (!source)
        return;
    // The log refuses longer ones.
    constexpr std::size_t kLongest = 30'000;
    const std::wstring line = FromUtf8(text).substr(0, kLongest);
    const wchar_t* start = line.c_str();
    ReportEventW(source.get(), KindOf(code), 0, static_cast<DWORD>(code), nullptr, 1, 0, &start,
                 nullptr);
}

}  // namespace orrery
