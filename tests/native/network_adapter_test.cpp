#include "native/network_adapter.h"

#include <gtest/gtest.h>

#include <winternl.h>

#include <cstring>
#include <string>

#include "sim/ip_helper.h"
#include "support/library.h"
#include "support/text.h"

namespace orrery {
namespace {

class NetworkAdapters : public testing::Test {
protected:
    NetworkAdapters()
    {
        ipHelper.adapters[0].Index = 10;
        ipHelper.dnsServers = {{10, "9.9.9.9"}, {13, nullptr}};
        ipHelper.ipv6Adapters = {{L"Twin", {L"fd00::5"}}};
    }
    sim::IpHelper ipHelper{{sim::MakeAdapter("Twin", {2, 0, 0, 0, 0, 1}),
                            sim::MakeAdapter("Twin", {2, 0, 0, 0, 0, 4})}};
};

TEST_F(NetworkAdapters, AreFoundByNameAndAddress)
{
    ipHelper.adapters[1].Index = 13;  // whose server cannot be asked for
    const CNetworkAdapter adapters{0};
    EXPECT_EQ(adapters.FindByName(L"Twin")->macAddress, L"02-00-00-00-00-01");
    EXPECT_EQ(adapters.FindByMACAddress(L"02-00-00-00-00-04")->dnsServer, L"");
    EXPECT_EQ(adapters.FindByName(L"twin"), nullptr);
    EXPECT_EQ(adapters.FindByMACAddress(L"02-00-00-00-00-02"), nullptr);
    EXPECT_EQ(ipHelper.addressArguments, (std::vector<ULONG>{AF_INET6, GAA_FLAG_INCLUDE_PREFIX}));
}

TEST_F(NetworkAdapters, AskThreeTimesForAListThatGrows)
{
    const struct {
        int growths, calls;
        bool found;
    } rows[] = {{1, 2, true}, {2, 3, true}, {3, 3, false}};
    for (const auto& row : rows) {
        ipHelper.growths = row.growths;
        ipHelper.addressCalls = 0;
        EXPECT_EQ(CNetworkAdapter{0}.IPV6Address(0).empty(), !row.found) << row.growths;
        EXPECT_EQ(ipHelper.addressCalls, row.calls);
    }
}

TEST_F(NetworkAdapters, DoWithoutIPv6)
{
    {
        // the major version is the low byte only
        const sim::Detour version{L"kernel32.dll", "GetVersion",
                                  []() -> DWORD { return 0x80000A04; }};
        EXPECT_EQ(CNetworkAdapter{0}.IPV6Address(0), L"");
    }
    const sim::Detour sockets{L"ws2_32.dll", "WSAStartup",
                              [](WORD, WSADATA*) -> int { return WSASYSNOTREADY; }};
    EXPECT_EQ(CNetworkAdapter{0}.IPV6Address(0), L"");
    EXPECT_EQ(ipHelper.addressCalls, 0);
}

TEST_F(NetworkAdapters, AreNoneWhenTheListIsEmptyOrRefused)
{
    ipHelper.adaptersResult = ERROR_NOT_SUPPORTED;
    EXPECT_EQ(CNetworkAdapter{0}.Count(), 0U);
    ipHelper.adapters.clear();
    EXPECT_EQ(CNetworkAdapter{0}.Count(), 0U);
}

std::string missing;
NTSTATUS(WINAPI* procedureAddress)(HMODULE, const ANSI_STRING*, ULONG, void**) = nullptr;

FARPROC WINAPI FindUnlessMissing(HMODULE module, const char* name)
{
    void* found = nullptr;
    const auto length = static_cast<USHORT>(std::strlen(name));
    const ANSI_STRING text{length, length, const_cast<char*>(name)};
    if (name != missing)
        procedureAddress(module, &text, 0, &found);
    return reinterpret_cast<FARPROC>(found);
}
HMODULE WINAPI LoadUnlessIpHelper(const wchar_t* name)
{
    return EqualsIgnoringCase(name, L"iphlpapi.dll") ? nullptr : LoadLibraryExW(name, nullptr, 0);
}

TEST_F(NetworkAdapters, LackWhatAMissingFunctionWouldTell)
{
    const UniqueModule kernel{LoadLibraryW(L"ntdll.dll")};
    procedureAddress =
        FindFunction<decltype(procedureAddress)>(kernel.get(), "LdrGetProcedureAddress");
    const struct {
        const char* name;
        std::size_t count;
        const wchar_t *dnsServer, *ipv6Address;
    } rows[] = {{"GetAdaptersInfo", 0, L"", L""},
                {"GetPerAdapterInfo", 2, L"", L"fd00::5"},
                {"GetAdaptersAddresses", 2, L"9.9.9.9", L""}};
    const sim::Detour detour{L"kernel32.dll", "GetProcAddress", &FindUnlessMissing};
    for (const auto& row : rows) {
        missing = row.name;
        const CNetworkAdapter adapters{0};
        ASSERT_EQ(adapters.Count(), row.count) << row.name;
        if (row.count == 0)
            continue;
        EXPECT_EQ(adapters.DNSServer(0), row.dnsServer) << row.name;
        EXPECT_EQ(adapters.IPV6Address(0), row.ipv6Address) << row.name;
    }
}

TEST_F(NetworkAdapters, AreNoneWithoutTheLibrary)
{
    const sim::Detour detour{L"kernel32.dll", "LoadLibraryW", &LoadUnlessIpHelper};
    EXPECT_EQ(CNetworkAdapter{0}.Count(), 0U);
}

}  // namespace
}  // namespace orrery
