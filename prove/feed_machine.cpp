#include "prove/feeds.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include "client/system/console.h"
#include "prove/rig.h"

namespace orrery::prove {
namespace {

/// A value of a scenario's line, as its kind of item allows.
std::wstring ScenarioValue(Dice& dice, bool isWmi, const std::wstring& was)
{
    const bool isText = was.starts_with(L'"');
    if (!isWmi && !isText)
        return was == L"TRUE" || was == L"FALSE" || was.starts_with(L'{')
                   ? was
                   : std::to_wstring(dice.Below(8));
    if (!isWmi && was.find_first_not_of(L"\"0123456789-ABCDEFabcdef ") == was.npos)
        return was;  // a number or bytes in quotes
    if (dice.OneIn(6))
        return isWmi ? dice.OneIn(2) ? L"NULL" : L"{\"a\", \"b\"}" : was;
    if (isWmi && dice.OneIn(3))
        return std::to_wstring(static_cast<std::int32_t>(dice.Number()));
    std::wstring text = isWmi && dice.OneIn(3) ? dice.NumberText()
                                               : dice.Text(isWmi ? dice.Length() : dice.Below(30));
    // What would end the line or the file, or is no UTF-8, cannot be stated so.
    std::erase_if(text, [isWmi](wchar_t letter) {
        return letter == L'\n' || letter == L'\r' || letter == L'\0' || letter == L'"' ||
               letter == L'\\' || letter >= 0xD800 || (!isWmi && letter > 0x7E);
    });
    return L'"' + text + L'"';
}

/// The workstation with some of its lines gone wrong.
std::wstring BrokenMachine(Dice& dice)
{
    static const std::wstring whole = sim::LoadScenario(MachineFile(L"workstation").c_str());
    std::wstring text;
    bool isWmi = false;
    const std::size_t chances = 1 + dice.Below(12);
    for (std::size_t at = 0; at < whole.size();) {
        const std::size_t end = std::min(whole.find(L'\n', at), whole.size() - 1) + 1;
        std::wstring line = whole.substr(at, end - at);
        at = end;
        if (line.find(L"instance of") != line.npos)
            isWmi = true;
        else if (!line.starts_with(L'\t') && !line.starts_with(L'{') && !line.starts_with(L'}'))
            isWmi = false;
        const std::size_t value = line.find(L" = ");
        if (value != line.npos && line.starts_with(L'\t') && dice.OneIn(chances))
            line =
                line.substr(0, value + 3) +
                ScenarioValue(dice, isWmi, line.substr(value + 3, line.rfind(L';') - value - 3)) +
                L";\n";
        text += line;
    }
    return text;
}

}  // namespace

void FeedMachine(Dice& dice)
{
    static Rig rig;
    const auto path = std::filesystem::temp_directory_path() /
                      (L"orrery-broken-" + std::to_wstring(GetCurrentProcessId()) + L".machine");
    std::ofstream{path, std::ios::binary} << ToUtf8(BrokenMachine(dice));
    rig.Load(path);
    const Facts facts = rig.Run(dice.OneIn(2));
    // What a process keeps, it keeps from its first run on.
    static bool isFirst = true;
    if (!isFirst && !facts.leftovers.empty())
        Demand(false, facts.leftovers.c_str());
    isFirst = false;
    Demand(facts.elapsedTimes == 13, "a report has thirteen elapsed times");
    std::filesystem::remove(path);
}

}  // namespace orrery::prove
