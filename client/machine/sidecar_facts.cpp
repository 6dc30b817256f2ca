#include "client/machine/sidecar_facts.h"

#include <windows.h>

#include <bcrypt.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

#include "client/doctor/words.h"
#include "client/machine/system_probe.h"
#include "client/system/console.h"
#include "support/library.h"
#include "support/registry.h"
#include "support/unique.h"

namespace orrery::machine {
namespace {

constexpr DWORD kSmbios = 0x52534D42;  // "RSMB"

// The head of what Windows gives: four bytes of versions, then the length of the tables.
constexpr std::size_t kLengthOffset = 4, kHeadSize = 8;
// The head of each structure, and what those are that matter here.
constexpr std::size_t kStructureHead = 4;
constexpr unsigned kSystem = 1, kEndOfTables = 127;
constexpr std::size_t kUuidOffset = 8, kUuidSize = 16;

unsigned ByteAt(std::span<const std::byte> bytes, std::size_t at)
{
    return std::to_integer<unsigned>(bytes[at]);
}

/// The start of the structure after the one at the start: behind its texts, which two zeros end.
/// @return the number of bytes, up to all that there are
std::size_t NextStructure(std::span<const std::byte> tables)
{
    std::size_t at = ByteAt(tables, 1);
    while (at + 1 < tables.size() && (ByteAt(tables, at) != 0 || ByteAt(tables, at + 1) != 0))
        ++at;
    return std::min(at + 2, tables.size());
}

std::string FormatUuid(std::span<const std::byte> uuid)
{
    const auto areAll = [uuid](std::byte value) {
        return std::all_of(uuid.begin(), uuid.end(),
                           [value](std::byte each) { return each == value; });
    };
    if (areAll(std::byte{0}) || areAll(std::byte{0xFF}))
        return "";
    // The first three fields are numbers, lowest byte first. SMBIOS says so since 2.6 only, but Windows
    // and its tools read them so whatever the version.
    constexpr std::array<std::uint8_t, kUuidSize> kOrder{3, 2, 1,  0,  5,  4,  7,  6,
                                                         8, 9, 10, 11, 12, 13, 14, 15};
    std::string text;
    for (std::size_t at = 0; at < kOrder.size(); ++at) {
        if (at == 4 || at == 6 || at == 8 || at == 10)
            text += '-';
        std::array<char, 4> digits{};
        std::snprintf(digits.data(), digits.size(), "%02X", ByteAt(uuid, kOrder[at]));
        text += digits.data();
    }
    return text;
}

std::vector<std::byte> FirmwareTable()
{
    const auto get = FindFunction<UINT(WINAPI*)(DWORD, DWORD, void*, DWORD)>(
        GetModuleHandleW(L"kernel32.dll"), "GetSystemFirmwareTable");
    if (get == nullptr)
        return {};
    std::vector<std::byte> table(get(kSmbios, 0, nullptr, 0));
    const UINT size = get(kSmbios, 0, table.data(), static_cast<DWORD>(table.size()));
    if (size > table.size())
        return {};
    table.resize(size);
    return table;
}

struct AlgorithmTraits {
    using Resource = BCRYPT_ALG_HANDLE;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource algorithm) noexcept
    {
        const auto close = FindFunction<decltype(&::BCryptCloseAlgorithmProvider)>(
            GetModuleHandleW(L"bcrypt.dll"), "BCryptCloseAlgorithmProvider");
        if (close != nullptr)
            close(algorithm, 0);
    }
};

struct HashTraits {
    using Resource = BCRYPT_HASH_HANDLE;
    static Resource None() noexcept { return nullptr; }
    static void Close(Resource hash) noexcept
    {
        const auto close = FindFunction<decltype(&::BCryptDestroyHash)>(
            GetModuleHandleW(L"bcrypt.dll"), "BCryptDestroyHash");
        if (close != nullptr)
            close(hash);
    }
};

/// The hash of the value that Windows gave this installation, in UTF-8 as the registry has it.
std::string InstallationHash()
{
    const UniqueKey key = OpenKey(HKEY_LOCAL_MACHINE, LR"(SOFTWARE\Microsoft\Cryptography)",
                                  KEY_READ | KEY_WOW64_64KEY);
    constexpr std::size_t kLongest = 256;
    const auto value = key ? ReadText(key.get(), L"MachineGuid", kLongest) : std::nullopt;
    return value && !value->empty() ? Sha256(ToUtf8(*value)) : std::string{};
}

}  // namespace

std::string SmbiosUuid(std::span<const std::byte> table)
{
    if (table.size() < kHeadSize)
        return "";
    std::size_t length = 0;
    for (std::size_t at = kHeadSize; at-- > kLengthOffset;)
        length = length << 8 | ByteAt(table, at);
    std::span<const std::byte> rest = table.subspan(kHeadSize);
    rest = rest.first(std::min(length, rest.size()));
    while (rest.size() >= kStructureHead) {
        const unsigned type = ByteAt(rest, 0), size = ByteAt(rest, 1);
        if (size < kStructureHead || size > rest.size() || type == kEndOfTables)
            break;
        if (type == kSystem)
            return size >= kUuidOffset + kUuidSize
                       ? FormatUuid(rest.subspan(kUuidOffset, kUuidSize))
                       : std::string{};
        rest = rest.subspan(NextStructure(rest));
    }
    return "";
}

std::string Sha256(const std::string& bytes)
{
    const UniqueModule library{LoadLibraryW(L"bcrypt.dll")};
    const auto open = FindFunction<decltype(&::BCryptOpenAlgorithmProvider)>(
        library.get(), "BCryptOpenAlgorithmProvider");
    const auto create =
        FindFunction<decltype(&::BCryptCreateHash)>(library.get(), "BCryptCreateHash");
    const auto add = FindFunction<decltype(&::BCryptHashData)>(library.get(), "BCryptHashData");
    const auto finish =
        FindFunction<decltype(&::BCryptFinishHash)>(library.get(), "BCryptFinishHash");
    if (open == nullptr || create == nullptr || add == nullptr || finish == nullptr)
        return "";
    std::vector<UCHAR> text(bytes.begin(), bytes.end());
    std::array<UCHAR, 32> digest{};
    Unique<AlgorithmTraits> algorithm;
    Unique<HashTraits> hash;
    if (!BCRYPT_SUCCESS(open(algorithm.put(), BCRYPT_SHA256_ALGORITHM, nullptr, 0)) ||
        !BCRYPT_SUCCESS(create(algorithm.get(), hash.put(), nullptr, 0, nullptr, 0, 0)) ||
        !BCRYPT_SUCCESS(add(hash.get(), text.data(), static_cast<ULONG>(text.size()), 0)) ||
        !BCRYPT_SUCCESS(finish(hash.get(), digest.data(), static_cast<ULONG>(digest.size()), 0)))
        return "";
    std::string digits;
    for (const UCHAR byte : digest) {
        std::array<char, 4> two{};
        std::snprintf(two.data(), two.size(), "%02x", static_cast<unsigned>(byte));
        digits += two.data();
    }
    return digits;
}

std::string FileVersion(const std::wstring& path)
{
    const UniqueModule library{LoadLibraryW(L"version.dll")};
    const auto sizeOf = FindFunction<DWORD(WINAPI*)(const wchar_t*, DWORD*)>(
        library.get(), "GetFileVersionInfoSizeW");
    const auto read = FindFunction<BOOL(WINAPI*)(const wchar_t*, DWORD, DWORD, void*)>(
        library.get(), "GetFileVersionInfoW");
    const auto find = FindFunction<BOOL(WINAPI*)(const void*, const wchar_t*, void**, UINT*)>(
        library.get(), "VerQueryValueW");
    if (sizeOf == nullptr || read == nullptr || find == nullptr)
        return "";
    DWORD ignored = 0;
    std::vector<std::byte> info(sizeOf(path.c_str(), &ignored));
    void* found = nullptr;
    UINT size = 0;
    if (info.empty() || !read(path.c_str(), 0, static_cast<DWORD>(info.size()), info.data()) ||
        !find(info.data(), L"\\", &found, &size) || size < sizeof(VS_FIXEDFILEINFO))
        return "";
    const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(found);
    std::string text = std::to_string(HIWORD(version.dwFileVersionMS)) + '.' +
                       std::to_string(LOWORD(version.dwFileVersionMS)) + '.' +
                       std::to_string(HIWORD(version.dwFileVersionLS));
    if (const WORD build = LOWORD(version.dwFileVersionLS); build != 0)
        text += '.' + std::to_string(build);
    return text;
}

void AskMachine(report::Sidecar* sidecar)
{
    if (const doctor::Rights rights = ReadRights(); rights != doctor::Rights::kNotKnown)
        sidecar->rights = doctor::InWords(rights);
    sidecar->uuid = SmbiosUuid(FirmwareTable());
    sidecar->installation = InstallationHash();
}

}  // namespace orrery::machine
