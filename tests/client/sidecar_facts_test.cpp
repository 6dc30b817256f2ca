#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "client/machine/sidecar_facts.h"

namespace orrery::machine {
namespace {

constexpr char kUuid[] = "00112233-4455-6677-8899-AABBCCDDEEFF";
const std::string kUuidBytes =
    "\x33\x22\x11" + std::string(1, '\0') + "\x55\x44\x77\x66\x88\x99\xAA\xBB\xCC\xDD\xEE\xFF";

/// A structure as it lies in the tables, with its texts.
std::string Structure(char type, std::string body, const std::string& texts = std::string(2, '\0'))
{
    body.insert(0, {type, static_cast<char>(body.size() + 4), 0x12, 0x01});
    return body + texts;
}

std::string System(const std::string& uuid)
{
    return Structure(1, "\1\2\3\4" + uuid + "\6", std::string{"maker\0model\0\0", 13});
}

/// The UUID of tables that are as long as they say, or say another length. They lie in memory of their
/// own size, so that checks of the heap see who reads beyond.
std::string UuidOf(const std::string& tables, std::size_t length)
{
    std::vector<std::byte> bytes(8 + tables.size());
    for (std::size_t at = 0; at < 4; ++at)
        bytes[4 + at] = static_cast<std::byte>(length >> 8 * at);
    for (std::size_t at = 0; at < tables.size(); ++at)
        bytes[8 + at] = static_cast<std::byte>(tables[at]);
    return SmbiosUuid(bytes);
}

TEST(SmbiosUuid, IsFoundInTablesThatNeedNotBeSound)
{
    const std::string bios = Structure(0, "12345678", std::string{"x\0y\0\0", 5});
    const std::string system = System(kUuidBytes), end = Structure(127, "");
    const struct {
        const char* what;
        std::string tables, uuid;
        std::size_t length = 0;  // where it is not that of the tables
    } rows[] = {
        {"alone", system, kUuid},
        {"behind a structure with texts", bios + system, kUuid},
        {"behind one without", Structure(2, "") + system + end, kUuid},
        {"the first of two", system + System(std::string(16, 'A')), kUuid},
        {"behind the end", end + system, ""},
        {"zeros", System(std::string(16, '\0')), ""},
        {"ones", System(std::string(16, '\xFF')), ""},
        {"too old for one", Structure(1, "\1\2\3\4") + system, ""},
        {"too short by one byte", Structure(1, "\1\2\3\4" + kUuidBytes.substr(1)), ""},
        {"nothing", "", ""},
        {"a longer length", bios + system, kUuid, 0xFFFFFFFF},
        {"a length of one byte", system, "", 1},
        {"cut in the UUID", system.substr(0, 23), ""},
        {"cut in the texts", system.substr(0, 27), kUuid},
        {"texts without an end", std::string{"\0\4\0\0xyz", 7}, ""},
        {"a head that ends within", std::string{"\0\4\0", 3}, ""},
        {"a structure without a length", std::string(64, '\0') + system, ""},
        {"a structure beyond all", std::string{"\0\xFF\0\0", 4} + system, ""},
    };
    for (const auto& [what, tables, uuid, length] : rows)
        EXPECT_EQ(UuidOf(tables, length != 0 ? length : tables.size()), uuid) << what;
    for (std::size_t size = 0; size < 8; ++size)
        EXPECT_EQ(SmbiosUuid(std::vector<std::byte>(size, std::byte{0xFF})), "") << size;
}

TEST(Sha256, IsThatOfTheBytes)
{
    EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace orrery::machine
