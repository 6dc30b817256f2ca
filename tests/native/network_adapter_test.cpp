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

std::vector<IP_ADAPTER_INFO> Listed()
{
    std::vector listed{sim::MakeAdapter("Twin", {2, 0, 0, 0, 0, 1}),
                       sim::MakeAdapter("Loop", {2, 0, 0, 0, 0, 2}, IF_TYPE_SOFTWARE_LOOPBACK),
                       sim::MakeAdapter("Other", {2, 0, 0, 0, 0, 3}, IF_TYPE_IEEE80211),
                       sim::MakeAdapter("Twin", {2, 0, 0, 0, 0, 4})};
    for (DWORD at = 0; at < 4; ++at)
        listed[at].Index = at + 10;
    return listed;
}

class NetworkAdapters : public testing::Test {
protected:
    NetworkAdapters()
    {
        ipHelper.dnsServers = {{10, "9.9.9.9"}, {13, nullptr}};
        ipHelper.ipv6Adapters = {{L"Twin", {L"fd00::1", L"fe80::1%77777"}},
                                 {L"Nobody", {L"fd00::2"}},
                                 {L"Other", {L""}},
                                 {nullptr, {L"fd00::3"}},
                                 {L"", {L"fd00::4"}},
                                 {L"Twin", {L"fd00::5", L"fd00::6", L""}}};
    }

    static std::wstring AllIPv6Addresses(const CNetworkAdapter& adapters)
    {
        std::wstring all;
        for (std::size_t at = 0; at < adapters.Count(); ++at)
            all.append(adapters.IPV6Address(at)).append(L"|");
        return all;
    }

    sim::IpHelper ipHelper{Listed()};
};

TEST_F(NetworkAdapters, KeepTheOrderOfTheSystem)
{
    const CNetworkAdapter adapters{0};
    ASSERT_EQ(adapters.Count(), 3U);
    EXPECT_EQ(adapters.Name(1), L"Other");
    EXPECT_EQ(adapters.MACAddress(2), L"02-00-00-00-00-04");
    EXPECT_EQ(adapters.AdapterType(0), L"Ethernet");
    EXPECT_EQ(adapters.AdapterType(1), L"Wireless");
    EXPECT_EQ(adapters.DNSServer(0), L"9.9.9.9");
    EXPECT_EQ(adapters.DNSServer(1), L"");  // size stays 0
    EXPECT_EQ(adapters.DNSServer(2), L"");  // refused
    EXPECT_EQ(adapters.DHCPEnabled(2), L"false");

    EXPECT_EQ(adapters.FindByName(L"Twin")->macAddress, L"02-00-00-00-00-01");
    EXPECT_EQ(adapters.FindByMACAddress(L"02-00-00-00-00-04")->name, L"Twin");
    EXPECT_EQ(adapters.FindByName(L"twin"), nullptr);
    EXPECT_EQ(adapters.FindByMACAddress(L"02-00-00-00-00-02"), nullptr);
}

TEST_F(NetworkAdapters, GiveTheLastAddressesToTheFirstOfAName)
{
    EXPECT_EQ(AllIPv6Addresses(CNetworkAdapter{0}), L"fd00::5,fd00::6|||");
    EXPECT_EQ(ipHelper.addressArguments, (std::vector<ULONG>{AF_INET6, GAA_FLAG_INCLUDE_PREFIX}));
    ipHelper.ipv6Adapters.resize(1);
    EXPECT_EQ(AllIPv6Addresses(CNetworkAdapter{0}), L"fd00::1,fe80::1%77777|||");
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

DWORD WINAPI VersionFour()
{
    return 0x80000A04;  // the major version is the low byte only
}
int WINAPI RefuseSockets(WORD, WSADATA*)
{
    return WSASYSNOTREADY;
}

TEST_F(NetworkAdapters, DoWithoutIPv6)
{
    {
        const sim::Detour version{L"kernel32.dll", "GetVersion", &VersionFour};
        EXPECT_EQ(AllIPv6Addresses(CNetworkAdapter{0}), L"|||");
    }
    const sim::Detour sockets{L"ws2_32.dll", "WSAStartup", &RefuseSockets};
    EXPECT_EQ(AllIPv6Addresses(CNetworkAdapter{0}), L"|||");
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
                {"GetPerAdapterInfo", 3, L"", L"fd00::5,fd00::6"},
                {"GetAdaptersAddresses", 3, L"9.9.9.9", L""}};
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
