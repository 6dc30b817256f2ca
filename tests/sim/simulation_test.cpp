#include "sim/simulation.h"

#include <winsock2.h>
#include <windows.h>
#include <shlobj.h>
#include <wbemcli.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "sim/whole_machine.h"
#include "support/com.h"

namespace orrery::sim {
namespace {

ComPtr<IWbemLocator> Locator()
{
    ComPtr<IWbemLocator> locator;
    CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator,
                     locator.putVoid());
    return locator;
}

ComPtr<IWbemServices> Connect(const wchar_t* name, HRESULT* result)
{
    ComPtr<IWbemServices> services;
    *result = Locator()->ConnectServer(MakeBstr(name).get(), nullptr, nullptr, nullptr, 0, nullptr,
                                       nullptr, services.put());
    return services;
}

class SimulatedMachine : public testing::Test {
protected:
    ComPtr<IEnumWbemClassObject> Query(const wchar_t* text, HRESULT* result)
    {
        ComPtr<IEnumWbemClassObject> rows;
        *result = services_->ExecQuery(MakeBstr(L"WQL").get(), MakeBstr(text).get(), 0x30, nullptr,
                                       rows.put());
        return rows;
    }
    ComPtr<IEnumWbemClassObject> Enumerate(const wchar_t* name, HRESULT* result)
    {
        ComPtr<IEnumWbemClassObject> rows;
        *result = services_->CreateInstanceEnum(MakeBstr(name).get(), 1, nullptr, rows.put());
        return rows;
    }
    /// Null when there is no row.
    static ComPtr<IWbemClassObject> Next(IEnumWbemClassObject* rows, HRESULT* result)
    {
        ComPtr<IWbemClassObject> row;
        ULONG returned = 0;
        *result = rows->Next(0, 1, row.put(), &returned);
        return row;
    }
    /// The type of a property and its value as text, the elements of a list separated by "|".
    static std::wstring Read(IWbemClassObject* object, const wchar_t* name)
    {
        UniqueVariant value;
        if (const HRESULT result = object->Get(name, 0, value.put(), nullptr, nullptr);
            FAILED(result))
            return result == kWmiNotFound ? L"not found" : L"failed";
        std::wstring text = std::to_wstring(value.type()) + L":";
        if ((value.type() & VT_ARRAY) == 0) {
            UniqueVariant plain;
            VARIANT content = value.get();
            VariantChangeType(plain.put(), &content, VARIANT_ALPHABOOL, VT_BSTR);
            return text.append(plain.type() == VT_BSTR ? TextOf(plain.get().bstrVal) : L"");
        }
        SAFEARRAY* const list = value.get().parray;
        for (LONG at = 0; at < static_cast<LONG>(list->rgsabound[0].cElements); ++at) {
            UniqueVariant element;
            VARIANT* const place = element.put();
            SafeArrayGetElement(list, &at, &place->lVal);
            place->vt = static_cast<VARTYPE>(value.type() & ~VT_ARRAY);
            text += place->vt == VT_BSTR ? std::wstring{TextOf(place->bstrVal)}
                                         : std::to_wstring(place->lVal);
            text += L"|";
        }
        return text;
    }

    ComApartment apartment_;
    Simulation simulation_{LoadScenario(L"" ORRERY_TEST_DATA "/machines/odd-parts.machine")};
    HRESULT result_ = E_FAIL;
    ComPtr<IWbemServices> services_ = Connect(L"\\\\.\\ROOT\\CIMV2", &result_);
};

TEST_F(SimulatedMachine, GivesPropertiesWithTheirTypes)
{
    const auto part = Next(Enumerate(L"win32_part", &result_).get(), &result_);
    ASSERT_TRUE(part);
    const struct {
        const wchar_t *name, *expected;
    } rows[] = {
        {L"name", L"8:A \"b\"; c\\dA\n"},
        {L"Count", L"3:-1"},
        {L"Fitted", L"11:True"},
        {L"Tags", L"8200:x, y|z}|"},
        {L"Codes", L"8195:10|9|"},
        {L"None", L"8200:"},
        {L"Depth", L"1:"},
        {L"Later", L"0:"},
        {L"Small", L"17:200"},
        {L"Load", L"5:1.5"},
        {L"Wide", L"8:12"},
        {L"Bytes", L"8209:1|255|"},
        {L"Path", L"8:a\\b"},
        {L"Silent", L"3:5"},
        {L"__PATH", L"8:\\\\HOST\\root:Win32_Part.Id=\"1\""},
        {L"Nam", L"not found"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(Read(part.get(), row.name), row.expected);
    UniqueBstr text;
    EXPECT_EQ(part->GetObjectText(1, text.put()), S_OK);
    EXPECT_EQ(TextOf(text.get()),
              L"\ninstance of Win32_Part\n{\n\tName = \"A \\\"b\\\"; c\\\\d\\x41\\n\";\n"
              L"\tCount = 4294967295;\n\tFitted = TRUE;\n\tTags = {\"x, y\", \"z}\"};\n"
              L"\tCodes = {10,9};\n\tNone = {};\n\tSmall = 200;\n\tLoad = 1.5;\n\tWide = 12;\n"
              L"\tBytes = {1, 255};\n\tPath = \"a\\b\";\n};\n");
}

TEST_F(SimulatedMachine, DeliversWhatIsReadyInTime)
{
    const auto rows = Enumerate(L"Win32_Part", &result_);
    IWbemClassObject* slots[5]{};
    ULONG returned = 0;
    EXPECT_EQ(rows->Next(0, 2, slots, &returned), S_OK);
    EXPECT_EQ(returned, 2u);
    const ComPtr<IWbemClassObject> first{slots[0]}, unreadable{slots[1]};
    UniqueBstr text;
    EXPECT_EQ(unreadable->GetObjectText(1, text.put()), kWmiFailed);
    EXPECT_EQ(Read(unreadable.get(), L"Name"), L"8:second");

    EXPECT_EQ(rows->Next(50, 5, slots, &returned), WBEM_S_TIMEDOUT);
    EXPECT_EQ(returned, 1u);
    EXPECT_EQ(slots[0], nullptr);
    EXPECT_EQ(rows->Next(-1, 5, slots, &returned), WBEM_S_FALSE);
    EXPECT_EQ(returned, 1u);
    EXPECT_EQ(Read(ComPtr{slots[0]}.get(), L"Name"), L"8:late");
    EXPECT_EQ(rows->Next(0, 1, slots, &returned), WBEM_S_FALSE);
    EXPECT_EQ(returned, 0u);
}

TEST_F(SimulatedMachine, AnswersQueries)
{
    const auto answer = [this](const wchar_t* query) -> std::wstring {
        const auto rows = Query(query, &result_);
        if (!rows)
            return result_ == kWmiInvalidQuery ? L"refused" : L"failed";
        const auto first = Next(rows.get(), &result_);
        if (!first)
            return result_ == kWmiInvalidClass ? L"no class" : L"no row";
        return Read(first.get(), L"Name") + L", " + Read(first.get(), L"Count");
    };
    const struct {
        const wchar_t *query, *answer;  // name and count of the first row
    } rows[] = {
        {L"SELECT * FROM Win32_Part", L"8:A \"b\"; c\\dA\n, 3:-1"},
        {L"select Count , Id  from win32_part Where count='4294967295' ", L"not found, 3:-1"},
        {L"SELECT * FROM Win32_Part WHERE name = 'SECOND'", L"8:second, not found"},
        {L"SELECT * FROM Win32_Part WHERE Name='third'", L"no row"},
        {L"SELECT * FROM Win32_Nothing", L"no row"},
        {L"SELECT * FROM Win32_Unknown", L"no class"},
        {L"Associators of {Win32_Part.Id='1'} where X=Y ", L"not found, 3:7"},
        {L"Associators of {Win32_Part.Id='1'} where X=Y", L"refused"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(answer(row.query), row.answer) << testing::PrintToString(row.query);
    EXPECT_FALSE(Enumerate(L"Win32_Unknown", &result_));
    EXPECT_EQ(result_, kWmiInvalidClass);
    EXPECT_TRUE(Connect(L"root\\EMPTY", &result_));
    EXPECT_FALSE(Connect(L"root\\other", &result_));
    EXPECT_EQ(result_, kWmiInvalidNamespace);
}

TEST_F(SimulatedMachine, RunsMethods)
{
    ComPtr<IWbemClassObject> definition, signature, input;
    ASSERT_EQ(
        services_->GetObject(MakeBstr(L"Win32_Part").get(), 0, nullptr, definition.put(), nullptr),
        S_OK);
    EXPECT_EQ(definition->GetMethod(L"Lock", 0, signature.put(), nullptr), S_OK);
    EXPECT_FALSE(signature);
    EXPECT_EQ(definition->GetMethod(L"Set", 0, signature.put(), nullptr), S_OK);
    ASSERT_TRUE(signature);
    ASSERT_EQ(signature->SpawnInstance(0, input.put()), S_OK);

    const auto answer = [&](const wchar_t* path, const wchar_t* name, IWbemClassObject* given) {
        ComPtr<IWbemClassObject> output;
        result_ = services_->ExecMethod(MakeBstr(path).get(), MakeBstr(name).get(), 0, nullptr,
                                        given, output.put(), nullptr);
        EXPECT_EQ(result_, output ? S_OK : kWmiInvalidMethodParameters);
        return output ? Read(output.get(), L"ReturnValue") : L"none";
    };
    const wchar_t* const path = L"\\\\HOST\\root:Win32_Part.Id=\"1\"";
    EXPECT_EQ(answer(path, L"Lock", nullptr), L"3:0");
    EXPECT_EQ(answer(L"\\\\HOST\\root:Win32_Part.Id=\"2\"", L"Lock", nullptr), L"none");
    EXPECT_EQ(answer(path, L"Set", nullptr), L"none");
    EXPECT_EQ(answer(path, L"Set", input.get()), L"3:5");
}

TEST_F(SimulatedMachine, LetsCallsFailAndWait)
{
    simulation_.FailCall("IEnumWbemClassObject::Next", 2, E_OUTOFMEMORY);
    simulation_.FailCall("IWbemServices::CreateInstanceEnum(Win32_Nothing, 0x1)", 0, E_FAIL);
    simulation_.FailCall("IEnumWbemClassObject::QueryInterface(IClientSecurity)", 0, E_NOINTERFACE);
    simulation_.FailCall("IWbemServices::ExecQuery", 0, S_FALSE);
    const auto parts = Enumerate(L"Win32_Part", &result_);
    EXPECT_TRUE(Next(parts.get(), &result_));
    EXPECT_FALSE(Next(parts.get(), &result_));
    EXPECT_EQ(result_, E_OUTOFMEMORY);
    EXPECT_EQ(Read(Next(parts.get(), &result_).get(), L"Name"),
              L"8:second");  // the row is still due
    EXPECT_FALSE(Enumerate(L"Win32_Nothing", &result_));
    EXPECT_EQ(CoSetProxyBlanket(parts.get(), 10, 0, nullptr, 3, 3, nullptr, 0), E_NOINTERFACE);
    EXPECT_TRUE(Query(L"SELECT * FROM Win32_Part", &result_));
    EXPECT_EQ(result_, S_FALSE);
    simulation_.FailNthCall(2, E_ABORT);
    simulation_.DelayCall("IWbemServices::CreateInstanceEnum", 100);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Enumerate(L"Win32_Part", &result_));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds{90});
    EXPECT_FALSE(Enumerate(L"Win32_Part", &result_));
    EXPECT_EQ(result_, E_ABORT);
}

TEST_F(SimulatedMachine, TracesCallsAndCountsObjects)
{
    std::vector<std::string> seen;
    simulation_.OnCall([&](const std::string& line) { seen.push_back(line); });
    EXPECT_EQ(simulation_.LiveObjects(), 1);  // the services
    EXPECT_EQ(CoSetProxyBlanket(services_.get(), 10, 0, nullptr, 3, 3, nullptr, 0), S_OK);
    {
        const auto rows = Query(L"SELECT Name FROM Win32_Part", &result_);
        EXPECT_EQ(CoSetProxyBlanket(rows.get(), RPC_C_AUTHN_DEFAULT, RPC_C_AUTHZ_DEFAULT,
                                    COLE_DEFAULT_PRINCIPAL, 6, 3, nullptr, 0),
                  S_OK);
        const auto row = Next(rows.get(), &result_);
        Read(row.get(), L"Größe");
        EXPECT_EQ(simulation_.LiveObjects(), 3);
    }
    EXPECT_EQ(simulation_.LiveObjects(), 1);
    const std::vector<std::string> expected{
        "CoCreateInstance(0x1)",
        "IWbemLocator::ConnectServer(\\\\.\\ROOT\\CIMV2, null, null, null, 0x0, null)",
        "IWbemServices::QueryInterface(IClientSecurity)",
        "IClientSecurity::SetBlanket(10, 0, null, 3, 3, null, 0)",
        "IWbemServices::ExecQuery(WQL, SELECT Name FROM Win32_Part, 0x30)",
        "IEnumWbemClassObject::QueryInterface(IClientSecurity)",
        "IClientSecurity::SetBlanket(-1, -1, -1, 6, 3, null, 0)",
        "IEnumWbemClassObject::Next(0, 1)",
        "IWbemClassObject::Get(Gr\xC3\xB6\xC3\x9F"  // NOLINT(bugprone-suspicious-missing-comma)
        "e, 0x0)",
    };
    EXPECT_EQ(simulation_.Trace(), expected);
    EXPECT_EQ(seen, std::vector<std::string>(expected.begin() + 2, expected.end()));
    EXPECT_EQ(simulation_.CallCount(), 9);
}

TEST_F(SimulatedMachine, LeavesOtherClassesAlone)
{
    ComPtr<IUnknown> link;
    EXPECT_EQ(CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IUnknown,
                               link.putVoid()),
              S_OK);
    EXPECT_TRUE(link);
    std::thread([] { EXPECT_FALSE(Locator()); }).join();  // a thread outside COM
    EXPECT_THROW(Simulation{L"namespace root"}, std::logic_error);
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

/// A file of the folder for temporary files.
class MachineFile : public testing::Test {
protected:
    ~MachineFile() override { std::filesystem::remove(path); }
    void Write(const std::string& bytes) const { std::ofstream{path, std::ios::binary} << bytes; }

    const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                       (std::to_string(GetCurrentProcessId()) + ".machine");
};

TEST_F(MachineFile, IsRefusedWithItsNameAndTheLineThatIsWrong)
{
    std::ifstream cases{ORRERY_TEST_DATA "/refused-machines.txt"};
    std::string line, message, text;
    std::getline(cases, line);
    int refused = 0;
    for (bool more = true; more;) {
        more = static_cast<bool>(std::getline(cases, line));
        if (more && !line.starts_with("== ")) {
            text += line + '\n';
            continue;
        }
        if (!message.empty()) {
            Write(text);
            try {
                const WholeMachine machine{path.wstring()};
                ADD_FAILURE() << "accepted instead of: " << message;
            } catch (const std::runtime_error& error) {
                EXPECT_EQ(error.what(), path.filename().string() + ", " + message);
                ++refused;
            }
        }
        message = more ? line.substr(3) : "";
        text.clear();
    }
    EXPECT_EQ(refused, 28);
}

TEST_F(MachineFile, IsReadAsUtf8AndFillsTheRegistry)
{
    EXPECT_THROW(WholeMachine{path.wstring()}, std::runtime_error);
    Write(
        "\xEF\xBB\xBFkey HKEY_LOCAL_MACHINE\\S\\f\xC3\xBCr\n{\n"
        "A = \"a\";\nB = 7;\nC = {\"x\", \"y\"};\nREG_QWORD D = \"4294967296\";\n"
        "REG_BINARY E = \"00 ff\";\nREG_EXPAND_SZ F = \"%A%\";\n};\n");
    const WholeMachine machine{path.wstring()};
    const UniqueKey key = OpenKey(HKEY_LOCAL_MACHINE, L"S\\f\x00FCr");
    ASSERT_TRUE(key);
    const struct {
        const wchar_t* name;
        DWORD type;
        std::vector<std::uint8_t> bytes;
    } rows[] = {
        {L"A", REG_SZ, {'a', 0, 0, 0}},
        {L"B", REG_DWORD, {7, 0, 0, 0}},
        {L"C", REG_MULTI_SZ, {'x', 0, 0, 0, 'y', 0, 0, 0, 0, 0}},
        {L"D", REG_QWORD, {0, 0, 0, 0, 1, 0, 0, 0}},
        {L"E", REG_BINARY, {0, 0xFF}},
        {L"F", REG_EXPAND_SZ, {'%', 0, 'A', 0, '%', 0, 0, 0}},
    };
    for (const auto& row : rows) {
        const auto value = ReadValue(key.get(), row.name).value_or(RegistryValue{});
        EXPECT_EQ(value.type, row.type);
        EXPECT_EQ(value.bytes, row.bytes);
    }
}

}  // namespace
}  // namespace orrery::sim
