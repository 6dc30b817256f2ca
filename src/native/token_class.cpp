#include "native/token_class.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>

#include "native/well_known_accounts.h"
#include "support/text.h"
#include "support/unique.h"

namespace orrery {
namespace {

constexpr std::wstring_view kServiceSource = L"advapi";
constexpr DWORD kUsualGroupBytes = 8192;
constexpr DWORD kGroupBytesToSpare = 4096;

bool IsServiceSource(std::string_view name)
{
    const auto start = name.substr(0, kServiceSource.size());
    return EqualsIgnoringCase(std::wstring(start.begin(), start.end()), kServiceSource);
}

bool IsServiceAccount(std::uint32_t subAuthority)
{
    return subAuthority == SECURITY_LOCAL_SYSTEM_RID ||
           subAuthority == SECURITY_LOCAL_SERVICE_RID ||
           subAuthority == SECURITY_NETWORK_SERVICE_RID;
}

TokenClass ClassOfGroups(std::span<const TokenGroup> groups)
{
    auto result = TokenClass::kAccount;
    TokenGroup seen;
    for (const TokenGroup& group : groups) {
        if ((group.attributes & SE_GROUP_LOGON_ID) == SE_GROUP_LOGON_ID)
            result = TokenClass::kLogon;
        seen.isLocal |= group.isLocal;
        seen.isLogonSession |= group.isLogonSession;
        seen.isInteractive |= group.isInteractive;
        if (seen.isLocal && seen.isLogonSession && seen.isInteractive)
            return TokenClass::kInteractive;
    }
    return result;
}

UniqueHandle OpenTokenToQuery(HANDLE process)
{
    UniqueHandle token;
    for (const auto access : {DWORD{TOKEN_QUERY | TOKEN_QUERY_SOURCE}, DWORD{TOKEN_QUERY}})
        if (OpenProcessToken(process, access, token.put()))
            break;
    return token;
}

std::optional<std::string> ReadSourceName(HANDLE token)
{
    TOKEN_SOURCE source{};
    DWORD bytes = 0;
    if (!GetTokenInformation(token, TokenSource, &source, sizeof source, &bytes))
        return std::nullopt;
    // Eight characters leave no room for a terminator.
    return std::string(source.SourceName, strnlen(source.SourceName, sizeof source.SourceName));
}

std::optional<std::uint32_t> ReadKnownUser(HANDLE token)
{
    alignas(TOKEN_USER) std::array<std::byte, sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE> user{};
    DWORD bytes = 0;
    if (!GetTokenInformation(token, TokenUser, user.data(), static_cast<DWORD>(user.size()),
                             &bytes))
        return std::nullopt;
    const PSID sid = reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid;

    std::array<wchar_t, 256> name{};
    std::array<wchar_t, 256> domain{};
    auto nameLength = static_cast<DWORD>(name.size());
    auto domainLength = static_cast<DWORD>(domain.size());
    SID_NAME_USE use = SidTypeUnknown;
    if (!LookupAccountSidW(nullptr, sid, name.data(), &nameLength, domain.data(), &domainLength,
                           &use))
        return std::nullopt;
    return *GetSidSubAuthority(sid, 0);
}

TokenGroup DescribeGroup(const SID_AND_ATTRIBUTES& group)
{
    const PSID local = LocalSid();
    const PSID interactive = InteractiveSid();
    return {
        .attributes = group.Attributes,
        .isLocal = local != nullptr && EqualSid(group.Sid, local) != FALSE,
        .isLogonSession = IsLogonSessionSid(group.Sid),
        .isInteractive = interactive != nullptr && EqualSid(group.Sid, interactive) != FALSE,
    };
}

std::optional<std::vector<TokenGroup>> ReadGroups(HANDLE token)
{
    std::vector<std::byte> buffer(kUsualGroupBytes);
    DWORD needed = 0;
    BOOL read = GetTokenInformation(token, TokenGroups, buffer.data(), kUsualGroupBytes, &needed);
    if (!read && needed > kUsualGroupBytes) {
        // With some room to spare, since groups may be added between the two calls.
        const DWORD bytes = needed + kGroupBytesToSpare;
        buffer.resize(bytes);
        read = GetTokenInformation(token, TokenGroups, buffer.data(), bytes, &needed);
    }
    if (!read)
        return std::nullopt;

    const auto* const list = reinterpret_cast<const TOKEN_GROUPS*>(buffer.data());
    std::vector<TokenGroup> groups(list->GroupCount);
    const SID_AND_ATTRIBUTES* const first = list->Groups;
    std::transform(first, first + list->GroupCount, groups.begin(), DescribeGroup);
    return groups;
}

}  // namespace

TokenClass ClassOfToken(const std::optional<std::string>& sourceName,
                        const std::function<std::optional<std::uint32_t>()>& readUser,
                        const std::function<std::optional<std::vector<TokenGroup>>()>& readGroups)
{
    if (sourceName && IsServiceSource(*sourceName))
        return TokenClass::kNone;
    const auto user = readUser();
    if (!user)
        return TokenClass::kNone;
    if (IsServiceAccount(*user))
        return TokenClass::kAccount;
    const auto groups = readGroups();
    return groups ? ClassOfGroups(*groups) : TokenClass::kAccount;
}

TokenClass ProcessTokenClass(HANDLE process)
{
    const UniqueHandle token = OpenTokenToQuery(process);
    if (!token)
        return TokenClass::kNone;
    return ClassOfToken(
        ReadSourceName(token.get()), [&token] { return ReadKnownUser(token.get()); },
        [&token] { return ReadGroups(token.get()); });
}

}  // namespace orrery
