#include "client/fleet/identity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace orrery::fleet {
namespace {

constexpr char kOwn[] = "00-1b-21-00-00-01", kOther[] = "00-1b-21-00-00-02",
               kDock[] = "00-50-b6-00-00-09";

Identity Machine(std::string name, std::string serial, std::string uuid,
                 std::vector<std::string> addresses, std::string model = "M1")
{
    return {std::move(name), "Halvorsen", std::move(model),    std::move(serial),
            std::move(uuid), "",          std::move(addresses)};
}

TEST(Identity, IsTheStrongestThatBothTellAndNeverASerialNumberAlone)
{
    const struct {
        const char* about;
        Identity known, report;
        bool isSame;
        std::string_view conflict = {};
        bool isReusedName = false;
    } rows[] = {
        {"serial and name", Machine("pc", "S1", "", {kOwn}), Machine("PC", "s1", "", {kOther}),
         true},
        {"renamed", Machine("pc", "S1", "", {kOwn}), Machine("new", "S1", "", {kOwn}), true},
        {"serial alone", Machine("a", "S1", "", {kOwn}), Machine("b", "S1", "", {kOther}), false,
         "serial"},
        {"serial and a dock", Machine("a", "S1", "", {kOwn, kDock}),
         Machine("b", "S1", "", {kOther, kDock}), false, "serial"},
        {"boards of one serial", Machine("a", "S1", "U1", {kOwn}), Machine("a", "S1", "U2", {kOwn}),
         false, "serial", true},
        {"cloned", Machine("a", "S1", "U1", {kOwn}), Machine("b", "S1", "U1", {kOther}), false,
         "serial"},
        {"uuid and name", Machine("a", "", "U1", {}), Machine("a", "", "u1", {kOwn}), true},
        {"uuid alone", Machine("a", "", "U1", {}), Machine("b", "", "U1", {}), false, "uuid"},
        {"uuid of another serial", Machine("a", "S1", "U1", {}), Machine("a", "S2", "U1", {}),
         false, "uuid", true},
        {"address", Machine("a", "", "", {kOwn}), Machine("b", "", "", {kOwn, kOther}), true},
        {"address of another model", Machine("a", "", "", {kOwn}),
         Machine("b", "", "", {kOwn}, "M2"), false},
        {"shared address", Machine("a", "", "", {kOwn, kDock}),
         Machine("b", "", "", {kOther, kDock}), false},
        {"shared address, same name", Machine("a", "", "", {kOwn, kDock}),
         Machine("a", "", "", {kOther, kDock}), true},
        {"weak", Machine("a", "", "", {}), Machine("a", "", "", {}), true},
        {"name on another model", Machine("a", "", "", {}), Machine("a", "", "", {}, "M2"), false,
         "", true},
        {"name on another serial", Machine("a", "S1", "", {kOwn}), Machine("a", "S2", "", {kOther}),
         false, "", true},
        {"name on other addresses", Machine("a", "", "", {kOwn}), Machine("a", "", "", {kOther}),
         false, "", true},
        {"serial told later", Machine("a", "", "", {kOwn}), Machine("a", "S1", "U1", {kOwn}), true},
        {"a report that tells little", Machine("a", "S1", "U1", {kOwn}),
         Machine("a", "", "", {}, ""), true},
    };
    for (const auto& row : rows) {
        const KnownMachine known[] = {{7, row.known}};
        const Decision decision = Identify(row.report, known);
        EXPECT_EQ(decision.machine.has_value(), row.isSame) << row.about;
        EXPECT_EQ(decision.conflicts.empty() ? "" : decision.conflicts[0].reason, row.conflict)
            << row.about;
        EXPECT_EQ(decision.formerHolder.has_value(), row.isReusedName) << row.about;
    }
}

TEST(Identity, OfSeveralMachinesIsTheSurest)
{
    const KnownMachine known[] = {{1, Machine("a", "S1", "U1", {kOwn})},
                                  {2, Machine("b", "S1", "U1", {kOther})},
                                  {3, Machine("b", "", "", {})}};
    EXPECT_EQ(Identify(Machine("b", "S1", "U1", {kOther}), known).machine, 2);
    EXPECT_EQ(Identify(Machine("new", "S1", "U1", {kOwn}), known).machine, 1);
    EXPECT_EQ(Identify(Machine("b", "", "", {}), known).machine, 3);
}

TEST(Identity, TellsAnotherInstallationOfTheSameHardware)
{
    KnownMachine known{1, Machine("a", "S1", "", {})};
    Identity report = known.identity;
    EXPECT_FALSE(Identify(report, {&known, 1}).isReimaged);
    known.identity.installation = "one";
    EXPECT_FALSE(Identify(report, {&known, 1}).isReimaged);
    report.installation = "other";
    EXPECT_TRUE(Identify(report, {&known, 1}).isReimaged);
}

TEST(Identity, LeavesOutPlaceholdersAndAddressesThatNoMakerGaveOut)
{
    report::Report report;
    report.sections = {
        {"BIOS",
         {{0,
           {{"SerialNumber", "To be filled by O.E.M."},
            {"SystemMan", " Halvorsen "},
            {"SystemMod", "0"}}}}},
        {"ComputerSystem", {{0, {{"Name", "pc"}}}}},
        {"NetworkAdapter",
         {{0, {{"MACAddress", "00-1B-21-00-00-02"}, {"PhysicalAdapter", "Physical"}}},
          {1, {{"MACAddress", "02-1B-21-00-00-02"}, {"PhysicalAdapter", "Physical"}}},
          {2, {{"MACAddress", "00-1B-21-00-00-03"}, {"PhysicalAdapter", "Logical"}}},
          {3, {{"MACAddress", ""}, {"PhysicalAdapter", "Physical"}}},
          {4, {{"MACAddress", "00-00-00-00-00-00"}, {"PhysicalAdapter", "Physical"}}}}}};
    const Identity identity = IdentityOf(report, "FFFFFFFF-FFFF-FFFF-FFFF-FFFFFFFFFFFF", "");
    EXPECT_EQ(identity.serial + identity.model + identity.uuid, "");
    EXPECT_EQ(identity.maker, "Halvorsen");
    EXPECT_EQ(identity.addresses, std::vector<std::string>{"00-1b-21-00-00-02"});
    EXPECT_EQ(identity.Kind(), "weak");
}

}  // namespace
}  // namespace orrery::fleet
