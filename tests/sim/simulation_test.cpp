#include "sim/simulation.h"

#include <windows.h>
#include <wbemcli.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "sim/whole_machine.h"
#include "support/com.h"
#include "tests/report/case_file.h"

namespace orrery::sim {
namespace {

ComPtr<IWbemLocator> Locator()
{
    ComPtr<IWbemLocator> locator;
    CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                     locator.putVoid());
    return locator;
}

TEST(Namespace, AnswersQueries)
{
    const Scenario scenario{LoadScenario(L"" ORRERY_TEST_DATA "/machines/odd-parts.machine")};
    const Namespace* const home = scenario.Find(L"\\\\.\\ROOT\\CIMV2");
    const auto answer = [home](const wchar_t* query) -> std::wstring {
        Rows found;
        const HRESULT result = home->Query(query, &found);
        if (result != S_OK || found.empty())
            return result == S_OK               ? L"no row"
                   : result == kWmiInvalidClass ? L"no class"
                                                : L"refused";
        const Property *name = found[0]->Find(L"Name"), *count = found[0]->Find(L"Count");
        return (name ? name->text : L"-") + L", " + (count ? count->text : L"-");
    };
    const struct {
        const wchar_t *query, *answer;  // name and count of the first row
    } rows[] = {
        {L"SELECT * FROM Win32_Part", L"A \"b\"; c\\dA\n, 4294967295"},
        {L"select Count , Id  from win32_part Where count='4294967295' ", L"-, 4294967295"},
        {L"SELECT * FROM Win32_Part WHERE name = 'SECOND'", L"second, -"},
        {L"SELECT * FROM Win32_Part WHERE Name='third'", L"no row"},
        {L"SELECT * FROM Win32_Nothing", L"no row"},
        {L"SELECT * FROM Win32_Unknown", L"no class"},
        {L"Associators of {Win32_Part.Id='1'} where X=Y ", L"-, 7"},
        {L"Associators of {Win32_Part.Id='1'} where X=Y", L"refused"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(answer(row.query), row.answer) << testing::PrintToString(row.query);
    EXPECT_TRUE(scenario.Find(L"root\\EMPTY"));
    EXPECT_FALSE(scenario.Find(L"root\\other"));
}

TEST(Simulation, TracesCallsAndCountsObjects)
{
    const ComApartment apartment;
    Simulation simulation{LoadScenario(L"" ORRERY_TEST_DATA "/machines/odd-parts.machine")};
    std::thread([] { EXPECT_FALSE(Locator()); }).join();  // a thread outside COM
    {
        ComPtr<IWbemServices> services;
        ComPtr<IEnumWbemClassObject> rows;
        ComPtr<IWbemClassObject> row;
        ULONG returned = 0;
        EXPECT_EQ(Locator()->ConnectServer(MakeBstr(L"ROOT\\CIMV2").get(), nullptr, nullptr,
                                           nullptr, 0, nullptr, nullptr, services.put()),
                  S_OK);
        EXPECT_EQ(simulation.LiveObjects(), 1);
        EXPECT_EQ(services->ExecQuery(MakeBstr(L"WQL").get(),
                                      MakeBstr(L"SELECT Name FROM Win32_Part").get(), 0x30, nullptr,
                                      rows.put()),
                  S_OK);
        EXPECT_EQ(CoSetProxyBlanket(rows.get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT,
                                    COLE_DEFAULT_PRINCIPAL, 6, 3, nullptr, 0),
                  S_OK);
        EXPECT_EQ(rows->Next(0, 1, row.put(), &returned), S_OK);
        EXPECT_EQ(row->Get(L"Gr\x00F6\x00DF"
                           L"e",
                           0, UniqueVariant{}.put(), nullptr, nullptr),
                  kWmiNotFound);
        EXPECT_EQ(simulation.LiveObjects(), 3);
        EXPECT_EQ(
            services->ExecMethod(MakeBstr(L"Win32_Part.Id=\"1\"").get(), MakeBstr(L"Set").get(), 0,
                                 nullptr, nullptr, nullptr, nullptr),
            kWmiInvalidMethodParameters);
    }
    EXPECT_EQ(simulation.LiveObjects(), 0);
    const std::vector<std::string> expected{
        "CoCreateInstance(0x1)",
        "CoCreateInstance(0x1)",
        "IWbemLocator::ConnectServer(ROOT\\CIMV2, null, null, null, 0x0, null)",
        "IWbemServices::ExecQuery(WQL, SELECT Name FROM Win32_Part, 0x30)",
        "IEnumWbemClassObject::QueryInterface(IClientSecurity)",
        "IClientSecurity::SetBlanket(-1, -1, -1, 6, 3, null, 0)",
        "IEnumWbemClassObject::Next(0, 1)",
        "IWbemClassObject::Get(Gr\xC3\xB6\xC3\x9F"  // NOLINT(bugprone-suspicious-missing-comma)
        "e, 0x0)",
        "IWbemServices::ExecMethod(Win32_Part.Id=\"1\", Set, 0x0, null)",
    };
    EXPECT_EQ(simulation.Trace(), expected);
}

TEST(SimulationDeathTest, DoubleReleaseEndsTheProcess)
{
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_DEATH(
        {
            const ComApartment apartment;
            const Simulation simulation{L"namespace root"};
            Locator().get()->Release();
        },
        "call on a released IWbemLocator");
}

TEST(MachineFile, IsRefusedWithItsNameAndTheLineThatIsWrong)
{
    const auto path = std::filesystem::temp_directory_path() /
                      (std::to_string(GetCurrentProcessId()) + ".machine");
    for (const Case& row : Cases("refused-machines", {"file"})) {
        std::ofstream{path, std::ios::binary} << row["file"];
        try {
            const WholeMachine machine{path.wstring()};
            ADD_FAILURE() << "accepted instead of: " << row.what;
        } catch (const std::runtime_error& error) {
            EXPECT_EQ(error.what(), path.filename().string() + ", " + row.what);
        }
    }
    std::filesystem::remove(path);
    EXPECT_THROW(WholeMachine{path.wstring()}, std::runtime_error);
}

}  // namespace
}  // namespace orrery::sim
