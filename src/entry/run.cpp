#include "entry/run.h"

#include <windows.h>

#include <atomic>
#include <memory>
#include <optional>

#include "entry/categories.h"
#include "entry/dispatcher.h"
#include "store/inv_map.h"
#include "store/report_writer.h"
#include "support/com.h"
#include "support/unique.h"
#include "wmi/hardware_collector.h"

namespace orrery {
namespace {

constexpr std::uint32_t kUtf8Flag = 0x08;
constexpr std::uint32_t kHardwareGroup = 0x10;
constexpr std::uint32_t kAllGroups = 0x70;
constexpr std::uint32_t kUtf8CodePage = 65001;

// A plain 32-bit word: atomic only so that reading it from any thread is defined, never to order
// anything else by it.
constinit std::atomic<std::int32_t> cancelFlag{0};

bool HasSeveralProcessors()
{
    SYSTEM_INFO system{};
    GetSystemInfo(&system);
    return system.dwNumberOfProcessors > 1;
}

bool NamesReport(std::wstring_view path)
{
    return path.ends_with(L".tsv");
}

void WriteReportFile(const wchar_t* path, CHardwareCollector* collector, const CInvMap* map,
                     WideString* reportText)
{
    if (!NamesReport(WideString::FromArgument(path)))
        return;
    const UniqueStream file{_wfopen(path, L"wb")};
    if (file)
        WriteReport(collector, map, file.get(), reportText);
}

std::int32_t Run(const wchar_t* path, std::uint32_t flags)
{
    std::optional<ComApartment> apartment{std::in_place};
    CInvMap map;
    auto collector = std::make_unique<CHardwareCollector>();
    const CInvMap spareMap;  // part of every run, never filled
    collector->adapterFlag = false;
    map.SetReserved(static_cast<std::uint8_t>(flags >> 24));

    // Between the first dispatch and the wait nothing throws: the workers use the map.
    CHardwareDispatcher dispatcher{HasSeveralProcessors(), &map};
    if ((flags & kAllGroups) == 0)
        flags |= kAllGroups;
    if ((flags & kHardwareGroup) != 0)
        for (const auto& category : kHardwareCategories)
            dispatcher.Dispatch(category.id, category.name);

    // Sampled before the wait on purpose: whoever cancels while the workers run still gets the
    // report.
    const bool succeeded = !IsCancelled();
    dispatcher.WaitAll();

    WideString reportText;
    if (succeeded) {
        if ((flags & kUtf8Flag) != 0)
            map.SetCodePage(kUtf8CodePage);
        WriteReportFile(path, collector.get(), &map, &reportText);
    }
    collector.reset();
    apartment.reset();
    return succeeded ? 1 : 0;
}

}  // namespace

bool IsCancelled() noexcept
{
    return cancelFlag.load(std::memory_order_relaxed) != 0;
}

void CancelRuns() noexcept
{
    cancelFlag.store(1, std::memory_order_relaxed);
}

std::int32_t RunInventory(const wchar_t* path, std::uint32_t flags) noexcept
{
    try {
        return Run(path, flags);
    } catch (...) {
        return IsCancelled() ? 0 : 1;  // the callers are other people's, maybe not of C++
    }
}

}  // namespace orrery
