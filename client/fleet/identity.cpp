#include "client/fleet/identity.h"

#include <algorithm>
#include <charconv>
#include <tuple>

#include "client/report/facts.h"
#include "client/report/placeholders.h"
#include "client/text/fold_case.h"

namespace orrery::fleet {
namespace {

using report::Instance;
using report::Report;

std::string_view Trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(' ');
    return first == std::string_view::npos
               ? std::string_view{}
               : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// A value as it tells machines apart; empty for what stands in for nothing.
std::string Telling(std::string_view value)
{
    return report::IsPlaceholder(value) ? std::string{} : std::string{Trimmed(value)};
}

bool IsSame(std::string_view one, std::string_view other)
{
    return !one.empty() && FoldCase(one) == FoldCase(other);
}

bool Differ(std::string_view one, std::string_view other)
{
    return !one.empty() && !other.empty() && FoldCase(one) != FoldCase(other);
}

/// Whether a maker gave the address out, so that no other adapter has it: not one of a group and not
/// one that software made up.
bool IsGlobal(std::string_view address)
{
    unsigned first = 0;
    const auto end = address.data() + std::min<std::size_t>(2, address.size());
    const auto [at, error] = std::from_chars(address.data(), end, first, 16);
    constexpr unsigned kGroup = 1, kLocal = 2;
    return error == std::errc{} && at == end && (first & (kGroup | kLocal)) == 0 &&
           !report::IsPlaceholder(address);
}

std::vector<std::string> AddressesOf(const Report& report)
{
    std::vector<std::string> addresses;
    for (const Instance& adapter : report::InstancesOf(report, "NetworkAdapter")) {
        const auto address = report::Value(adapter, "MACAddress");
        if (report::Value(adapter, "PhysicalAdapter") == "Physical" && IsGlobal(address))
            addresses.push_back(FoldCase(address));
    }
    std::ranges::sort(addresses);
    const auto again = std::ranges::unique(addresses);
    addresses.erase(again.begin(), again.end());
    return addresses;
}

/// How a report and a known machine compare.
class CComparison {
public:
    CComparison(const Identity& one, const Identity& other)
        : sameName(IsSame(one.name, other.name)),
          sameAddress(HaveAddressInCommon(one, other)),
          bothSerial(!one.serial.empty() && !other.serial.empty()),
          sameSerial(IsSame(one.serial, other.serial) && !Differ(one.maker, other.maker)),
          sameUuid(IsSame(one.uuid, other.uuid)),
          otherUuid(Differ(one.uuid, other.uuid)),
          otherModel(Differ(one.model, other.model) || Differ(one.maker, other.maker)),
          otherAddresses(!one.addresses.empty() && !other.addresses.empty() && !sameAddress)
    {}

    const bool sameName, sameAddress, bothSerial, sameSerial, sameUuid, otherUuid, otherModel,
        otherAddresses;

    /// Whether what both tell says that they are the same: the strongest of it decides.
    bool isSameMachine() const noexcept
    {
        if ((bothSerial && !sameSerial) || otherUuid)
            return false;
        if (sameSerial || sameUuid)
            return sameName || sameAddress;
        if (otherModel)
            return false;
        return sameAddress || (sameName && !otherAddresses);
    }

    /// What both have although they are not the same; empty when they have nothing.
    std::string_view conflict() const noexcept
    {
        return sameSerial ? "serial" : sameUuid ? "uuid" : "";
    }

    /// The more, the surer: of several machines that may be it the surest is.
    auto sureness() const noexcept
    {
        return std::tuple{sameSerial, sameUuid, sameAddress, sameName};
    }

private:
    /// An address that machines with other names and other addresses have too belongs to what they are
    /// plugged into.
    static bool HaveAddressInCommon(const Identity& one, const Identity& other)
    {
        std::vector<std::string> common;
        std::ranges::set_intersection(one.addresses, other.addresses, std::back_inserter(common));
        return !common.empty() &&
               (IsSame(one.name, other.name) || common.size() == one.addresses.size() ||
                common.size() == other.addresses.size());
    }
};

}  // namespace

std::string_view Identity::Kind() const noexcept
{
    if (!serial.empty())
        return "serial";
    if (!uuid.empty())
        return "uuid";
    return !addresses.empty() && !model.empty() ? "address" : "weak";
}

Identity IdentityOf(const Report& report, std::string_view uuid, std::string_view installation)
{
    Identity identity;
    identity.name = Trimmed(report::FirstValue(report, "ComputerSystem", "Name"));
    identity.maker = Telling(report::FirstValue(report, "BIOS", "SystemMan"));
    identity.model = Telling(report::FirstValue(report, "BIOS", "SystemMod"));
    identity.serial = Telling(report::FirstValue(report, "BIOS", "SerialNumber"));
    identity.uuid = Telling(uuid);
    identity.installation = installation;
    identity.addresses = AddressesOf(report);
    return identity;
}

Decision Identify(const Identity& identity, std::span<const KnownMachine> known)
{
    Decision decision;
    const KnownMachine* found = nullptr;
    for (const KnownMachine& candidate : known) {
        const CComparison comparison{identity, candidate.identity};
        if (!comparison.isSameMachine())
            continue;
        if (found == nullptr ||
            comparison.sureness() > CComparison{identity, found->identity}.sureness() ||
            (comparison.sureness() == CComparison{identity, found->identity}.sureness() &&
             candidate.machine > found->machine))
            found = &candidate;
    }
    if (found != nullptr) {
        decision.machine = found->machine;
        decision.isReimaged = Differ(identity.installation, found->identity.installation);
    }
    for (const KnownMachine& candidate : known) {
        if (&candidate == found)
            continue;
        const CComparison comparison{identity, candidate.identity};
        if (const auto reason = comparison.conflict(); !reason.empty())
            decision.conflicts.push_back({candidate.machine, reason});
        if (found == nullptr && comparison.sameName &&
            (!decision.formerHolder || candidate.machine > *decision.formerHolder))
            decision.formerHolder = candidate.machine;
    }
    return decision;
}

}  // namespace orrery::fleet
