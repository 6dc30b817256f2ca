#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "entry/categories.h"
#include "sim/facts.h"
#include "sim/whole_machine.h"

namespace orrery {
namespace {

using sim::Facts;

Facts Collect(const sim::WholeMachine& machine, std::int32_t category)
{
    Facts facts;
    machine.Run(2, [&] {
        CInvMap map;
        {
            CHardwareCollector collector;
            RunCategory(category, &collector, &map);
        }
        facts = sim::FactsOf(map);
    });
    EXPECT_EQ(machine.wmi().LiveObjects(), 0);
    return facts;
}

/// A line for each fact that is another one now, or gone.
std::wstring Changes(const Facts& before, const Facts& after)
{
    std::wstring text;
    for (const auto& [key, value] : before)
        if (const auto at = after.find(key); at == after.end())
            text += L"\t" + key + L" gone\n";
        else if (at->second != value)
            text += L"\t" + key + L" = \"" + at->second + L"\"\n";
    for (const auto& [key, value] : after)
        if (!before.contains(key))
            text += L"\t" + key + L" new\n";
    return text;
}

TEST(FailingCalls, LoseWhatTheyWouldHaveToldAndNothingElse)
{
    const ComApartment apartment;
    std::wistringstream lines{sim::LoadScenario(L"" ORRERY_TEST_DATA "/failing-calls.txt")};
    std::wstring word, machine, expected;
    std::int32_t category = -1;
    std::vector<std::pair<int, std::string>> calls;  // and which of their kind; 0: all
    const auto check = [&] {
        const auto path = L"" ORRERY_TEST_DATA "/machines/" + machine + L".machine";
        for (const auto& [nth, call] : calls) {
            const Facts whole = Collect(sim::WholeMachine{path}, category);
            sim::WholeMachine failing{path};
            failing.wmi().FailCall(call, nth, E_ACCESSDENIED);
            EXPECT_EQ(Changes(whole, Collect(failing, category)), expected) << nth << ' ' << call;
            const auto trace = failing.wmi().Trace();
            EXPECT_GE(
                std::count_if(trace.begin(), trace.end(),
                              [&name = call](const auto& line) { return line.starts_with(name); }),
                std::max(nth, 1))
                << call;
        }
        calls.clear();
        expected.clear();
    };
    for (std::wstring line; std::getline(lines, line);) {
        std::wistringstream words{line};
        if (line.starts_with(L'\t')) {
            expected += line + L'\n';
        } else if (words >> word && word == L"fails") {
            if (!expected.empty())
                check();
            auto& [nth, call] = calls.emplace_back();
            ASSERT_TRUE(words >> nth >> std::ws) << line;
            for (wchar_t letter; words.get(letter);)
                call += static_cast<char>(letter);
        } else if (word == L"category") {
            check();
            ASSERT_TRUE(words >> category >> word >> machine) << line;
        }
    }
    check();
    EXPECT_EQ(category, 22);  // the last one of the file
}

}  // namespace
}  // namespace orrery
