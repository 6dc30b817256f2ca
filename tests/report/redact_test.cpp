#include "client/report/redact.h"

#include <gtest/gtest.h>

#include "client/text/fold_case.h"
#include "made_report.h"

namespace orrery::report {
namespace {

TEST(Redact, ReplacesWhatIdentifiesAndNothingElse)
{
    const struct {
        const char *what, *facts, *expected;
    } rows[] = {
        {"numbers follow the first appearance",
         "BIOS/0/AssetTag/T-1/SerialNumber/S-1\nLogicalDisk/0/VolumeSerialNumber/1A2B\n",
         "BIOS/0/AssetTag/serial-1/SerialNumber/serial-2\n"
         "LogicalDisk/0/VolumeSerialNumber/serial-3\n"},
        {"equal values stay equal, in any letter case and whatever they are",
         "BIOS/0/AssetTag/pc7/SerialNumber/PC7 \nComputerSystem/0/Name/Pc7\n",
         "BIOS/0/AssetTag/serial-1/SerialNumber/serial-1\nComputerSystem/0/Name/serial-1\n"},
        {"addresses of all kinds, lists and zones",
         "NetworkAdapter/0/IPAddress/10.0.0.2/DHCPServer/10.0.0.1/DNSServer/10.0.0.1/"
         "DefaultIPGateway/10.0.0.1/WINSPrimaryServer/10.0.0.2/IPV6Address/"
         "fe80::1%4,FE80::1%5,2001:db8::1/MACAddress/00-1A-2B-3C-4D-5E\n"
         "NetworkAdapter/1/IPAddress/fe80::1%x\n",
         "NetworkAdapter/0/IPAddress/ip-1/DHCPServer/ip-2/DNSServer/ip-2/DefaultIPGateway/ip-2/"
         "WINSPrimaryServer/ip-1/IPV6Address/ip-3%4,ip-3%5,ip-4/MACAddress/mac-1\n"
         "NetworkAdapter/1/IPAddress/ip-5\n"},
        {"what says nothing stays, and so do masks",
         "BIOS/0/SerialNumber/0/AssetTag/\n"
         "NetworkAdapter/0/DHCPServer/0.0.0.0/DHCPEnabled/true/IPV6Address/::,::1/MACAddress/"
         "00-00-00-00-00-00/IPSubnet/255.255.0.0/SSID/\n"
         "OperatingSystem/0/Version/10.0.22631\n",
         "BIOS/0/SerialNumber/0/AssetTag/\n"
         "NetworkAdapter/0/DHCPServer/0.0.0.0/DHCPEnabled/true/IPV6Address/::,::1/MACAddress/"
         "00-00-00-00-00-00/IPSubnet/255.255.0.0/SSID/\n"
         "OperatingSystem/0/Version/10.0.22631\n"},
        {"letter case and signs tell wireless networks apart",
         "NetworkAdapter/0/SSID/Home\nNetworkAdapter/1/SSID/HOME\nNetworkAdapter/2/SSID/--\n"
         "NetworkAdapter/3/SSID/Home\n",
         "NetworkAdapter/0/SSID/ssid-1\nNetworkAdapter/1/SSID/ssid-2\n"
         "NetworkAdapter/2/SSID/ssid-3\nNetworkAdapter/3/SSID/ssid-1\n"},
        {"domains with the computer and the user",
         "ComputerSystem/0/Name/desk.corp.example\nOperatingSystem/0/LoggedOnUser/DESK\\Anna\n",
         "ComputerSystem/0/Name/host-1.domain-1\n"
         "OperatingSystem/0/LoggedOnUser/host-1\\user-1\n"},
        {"names in other texts, as whole words, also before they are known",
         "BaseBoard/0/Product/Desk of MÜLLER\nComputerSystem/0/Name/desk\n"
         "LogicalDisk/0/Description/Müller's müller_2 desktop xdesk desk-müller\n"
         "OperatingSystem/0/LoggedOnUser/Müller\n",
         "BaseBoard/0/Product/host-1 of user-1\nComputerSystem/0/Name/host-1\n"
         "LogicalDisk/0/Description/user-1's müller_2 desktop xdesk host-1-user-1\n"
         "OperatingSystem/0/LoggedOnUser/user-1\n"},
        {"the longest name counts, and placeholders are not searched",
         "BaseBoard/0/Product/host anna desk\nComputerSystem/0/Name/anna desk\n"
         "OperatingSystem/0/LoggedOnUser/HOST\n",
         "BaseBoard/0/Product/user-1 host-1\nComputerSystem/0/Name/host-1\n"
         "OperatingSystem/0/LoggedOnUser/user-1\n"},
        {"a script without blanks between words",
         "LogicalDisk/0/Description/太郎のディスク\nOperatingSystem/0/LoggedOnUser/太郎\n",
         "LogicalDisk/0/Description/user-1のディスク\nOperatingSystem/0/LoggedOnUser/user-1\n"},
        {"serial numbers in other texts, unless they are short",
         "BIOS/0/AssetTag/12345/SerialNumber/123456\nBaseBoard/0/Version/12345 123456\n",
         "BIOS/0/AssetTag/serial-1/SerialNumber/serial-2\nBaseBoard/0/Version/12345 serial-2\n"},
        {"fixed words and numbers are no names",
         "ComputerSystem/0/Name/laptop\nOperatingSystem/0/LoggedOnUser/4\n"
         "Processor/0/NumberOfCores/4\nSystemEnclosure/0/ChassisTypes/Laptop\n",
         "ComputerSystem/0/Name/host-1\nOperatingSystem/0/LoggedOnUser/user-1\n"
         "Processor/0/NumberOfCores/4\nSystemEnclosure/0/ChassisTypes/Laptop\n"},
        {"what no category tells as yet",
         "ComputerSystem/0/Domain/Corp\nOperatingSystem/0/RegisteredUser/Anna/Organization/corp\n",
         "ComputerSystem/0/Domain/domain-1\n"
         "OperatingSystem/0/RegisteredUser/user-1/Organization/domain-1\n"},
        {"only a computer's Name is a secret", "Processor/0/Name/Fast\nFuture/0/SerialNumber/F-1\n",
         "Processor/0/Name/Fast\nFuture/0/SerialNumber/serial-1\n"},
    };
    for (const auto& row : rows) {
        Report report = MadeReport(row.facts);
        Redact(&report);
        EXPECT_EQ(FactsOf(report), row.expected) << row.what;
        Redact(&report);
        EXPECT_EQ(FactsOf(report), row.expected) << row.what << ", redacted again";
    }
}

TEST(Redact, LeavesTimesAndCoversWarnings)
{
    Report report = MadeReport("ComputerSystem/0/Name/desk\nET/0//1\n");
    report.warnings = {{3, "desk is cut"}};
    Redact(&report);
    EXPECT_EQ(report.warnings.front().text, "host-1 is cut");
    EXPECT_EQ(report.elapsedTimes.front(), "1");
}

TEST(FoldCase, MakesSmallLettersWithoutMovingABytes)
{
    EXPECT_EQ(FoldCase("AZ[az ÀÞ×ÿß ĀĹŽŸ"), "az[az àþ×ÿß āĺžŸ");
    EXPECT_EQ(FoldCase("ΆΈΌΏΑΣΫ ЀЏАЯ 太\xC3"), "άέόώασϋ ѐџая 太\xC3");
}

}  // namespace
}  // namespace orrery::report
