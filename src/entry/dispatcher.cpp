#include "entry/dispatcher.h"

#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "entry/categories.h"
#include "entry/run.h"
#include "support/com.h"

namespace orrery {

namespace {

void CollectCategory(const CategoryJob& job)
{
    const ComApartment apartment;
    // Its construction is not part of the category's time.
    const auto collector = std::make_unique<CHardwareCollector>();
    const DWORD start = GetTickCount();
    try {
        RunCategory(job.id, collector.get(), job.map);
    } catch (...) {
        // Memory was short. What the category has stored stays; what it has not is lost.
    }
    const WideString name = WideString::FromArgument(job.name);
    const DWORD elapsed = GetTickCount() - start;
    RecordElapsedTime(name, job.map, elapsed);
}

}  // namespace

void CDispatcher::WaitAll()
{
    if (threadCount != 0)
        WaitForMultipleObjects(static_cast<DWORD>(threadCount), threadHandles.data(), TRUE,
                               INFINITE);
    for (std::int32_t at = 0; at < threadCount; ++at)
        CloseHandle(threadHandles[static_cast<std::size_t>(at)]);
    threadCount = 0;
}

void CHardwareDispatcher::Dispatch(std::int32_t id, const wchar_t* name)
{
    if (IsCancelled())
        return;
    void* const memory = std::malloc(sizeof(CategoryJob));
    if (memory == nullptr)
        return;  // the category is left out: an exception would pull the map from under the workers
    auto* const job = new (memory) CategoryJob{id, map, name};
    if (!threaded) {
        CategoryThreadProc(job);
        return;
    }
    DWORD threadId = 0;
    // Stored even when it is null: a wait on a null handle fails at once, and the others run on.
    threadHandles[static_cast<std::size_t>(threadCount)] =
        CreateThread(nullptr, 0, CategoryThreadProc, job, 0, &threadId);
    ++threadCount;
}

DWORD WINAPI CategoryThreadProc(void* argument) noexcept
{
    const UniqueMalloc<CategoryJob> job{static_cast<CategoryJob*>(argument)};
    if (IsCancelled())
        return 0;
    try {
        CollectCategory(*job.get());
    } catch (...) {
        // Not even the collector or the elapsed time could be made. Thrown on, it would end the
        // process, or pull the map from under the workers.
    }
    return 0;
}

void RecordElapsedTime(const WideString& name, CInvMap* map, std::uint32_t milliseconds)
{
    const std::wstring key = L"ET\\" + std::wstring{name.view()};
    auto object =
        std::make_unique<CHardwareObject>(std::to_wstring(static_cast<std::int32_t>(milliseconds)));
    map->Insert(key.c_str(), object.release());
}

}  // namespace orrery
