#include "store/report_writer.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <new>
#include <string_view>

#include "support/text.h"

namespace orrery {
namespace {

constexpr std::size_t kLineUnits = 1024;  // the formatter's own limit, its terminator included
using LineBuffer = std::array<wchar_t, kLineUnits>;

std::wstring_view FormatLine(const WideString& section, std::int32_t index,
                             const WideString& property, const WideString& value,
                             LineBuffer& buffer)
{
    const int count = wsprintfW(buffer.data(), L"%s\t%d\t%s\t%s\n", section.c_str(), index,
                                property.c_str(), value.c_str());
    // Platforms differ in the count they give for a line that was cut; the line itself is the same.
    return {buffer.data(), std::clamp<std::size_t>(static_cast<std::size_t>(std::max(count, 0)), 0,
                                                   kLineUnits - 1)};
}

/// Adds a line to the copy of the report. One that memory has no room for is done without: the file
/// is what counts.
void AddToCopy(WideString* copy, std::wstring_view line) noexcept
{
    try {
        *copy += line;
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace

std::int32_t SplitKey(CHardwareCollector* /*collector*/, const WideString& key, WideString* section,
                      WideString* property, std::int32_t* index)
{
    const std::wstring_view text = key;
    const auto first = text.find(L'\\');
    if (first != std::wstring_view::npos && first > 0) {
        *section = text.substr(0, first);
        const auto second = text.find(L'\\', first + 1);
        if (second != std::wstring_view::npos)
            *property = text.substr(first + 1, second - first - 1);
    }
    const auto last = text.rfind(L'\\');
    if (last == std::wstring_view::npos)
        return -1;
    *index = ParseInt32(text.substr(last + 1));
    return static_cast<std::int32_t>(last);
}

void WriteReport(CHardwareCollector* collector, const CInvMap* map, std::FILE* file,
                 WideString* reportText)
{
    LineBuffer buffer;
    for (const auto& [key, object] : map->entries()) {
        const WideString value = object->value;
        WideString section;
        WideString property;
        std::int32_t index = -1;
        SplitKey(collector, key, &section, &property, &index);
        if (index < 0) {
            OutputDebugStringW(L"Not found key index\n");
            continue;
        }
        const auto line = FormatLine(section, index, property, value, buffer);
        std::fwrite(line.data(), sizeof(wchar_t), line.size(), file);
        AddToCopy(reportText, line);
    }
}

}  // namespace orrery
