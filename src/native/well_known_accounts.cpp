#include "native/well_known_accounts.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include "support/unique.h"

namespace orrery {
namespace {

constexpr SID_IDENTIFIER_AUTHORITY kLocalAuthority = SECURITY_LOCAL_SID_AUTHORITY;
constexpr SID_IDENTIFIER_AUTHORITY kNtAuthority = SECURITY_NT_AUTHORITY;

UniqueSid MakeSid(SID_IDENTIFIER_AUTHORITY authority, DWORD subAuthority) noexcept
{
    UniqueSid sid;
    AllocateAndInitializeSid(&authority, 1, subAuthority, 0, 0, 0, 0, 0, 0, 0, sid.put());
    return sid;  // empty when memory is short
}

// Several threads may build the same SID at once; the first to publish wins, the others free
// theirs.
PSID KeptSid(std::atomic<PSID>& kept, SID_IDENTIFIER_AUTHORITY authority,
             DWORD subAuthority) noexcept
{
    PSID published = kept.load();
    if (published != nullptr)
        return published;
    UniqueSid built = MakeSid(authority, subAuthority);
    if (kept.compare_exchange_strong(published, built.get()))
        return built.release();
    return published;
}

std::optional<std::wstring> LookUpLocalSystem()
{
    const UniqueSid sid = MakeSid(kNtAuthority, SECURITY_LOCAL_SYSTEM_RID);
    std::array<wchar_t, 100> name{};
    std::array<wchar_t, 100> domain{};
    auto nameLength = static_cast<DWORD>(name.size());
    auto domainLength = static_cast<DWORD>(domain.size());
    SID_NAME_USE use = SidTypeUnknown;
    if (!sid || !LookupAccountSidW(nullptr, sid.get(), name.data(), &nameLength, domain.data(),
                                   &domainLength, &use))
        return std::nullopt;
    return std::wstring{name.begin(), std::find(name.begin(), name.end(), L'\0')};
}

}  // namespace

PSID LocalSid() noexcept
{
    static constinit std::atomic<PSID> kept{nullptr};
    return KeptSid(kept, kLocalAuthority, SECURITY_LOCAL_RID);
}

PSID InteractiveSid() noexcept
{
    static constinit std::atomic<PSID> kept{nullptr};
    return KeptSid(kept, kNtAuthority, SECURITY_INTERACTIVE_RID);
}

bool IsLogonSessionSid(PSID sid) noexcept
{
    const BYTE(&authority)[6] = GetSidIdentifierAuthority(sid)->Value;
    return std::equal(std::begin(authority), std::end(authority), std::begin(kNtAuthority.Value)) &&
           *GetSidSubAuthorityCount(sid) == SECURITY_LOGON_IDS_RID_COUNT &&
           *GetSidSubAuthority(sid, 0) == SECURITY_LOGON_IDS_RID;
}

std::wstring LocalSystemName()
{
    static constinit std::atomic<const std::wstring*> kept{nullptr};
    const std::wstring* published = kept.load();
    if (published == nullptr) {
        auto name = LookUpLocalSystem();
        if (!name)
            return L"SYSTEM";
        auto copy = std::make_unique<const std::wstring>(std::move(*name));
        // Never freed: threads of a later run may hold on to it until the process ends.
        if (kept.compare_exchange_strong(published, copy.get()))
            published = copy.release();
    }
    return *published;
}

}  // namespace orrery
