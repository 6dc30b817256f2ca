#include "client/report/sidecar.h"

#include <algorithm>
#include <cstddef>
#include <fstream>

#include "client/report/ordered_json.h"
#include "client/report/typed_value.h"

namespace orrery::report {
namespace {

constexpr char kFormat[] = "orrery-sidecar";
constexpr int kFormatVersion = 1;

struct Field {
    const char* name;
    std::string Sidecar::*text;
};
constexpr Field kFields[] = {
    {"client", &Sidecar::client},
    {"library", &Sidecar::library},
    {"rights", &Sidecar::rights},
    {"completeness", &Sidecar::completeness},
    {"computerName", &Sidecar::computerName},
    {"uuid", &Sidecar::uuid},
    {"machineGuidSha256", &Sidecar::installation},
};

}  // namespace

std::string FormatSidecar(const Sidecar& sidecar)
{
    Json json;
    json["format"] = kFormat;
    json["formatVersion"] = kFormatVersion;
    json["collected"] = FormatIsoTime(sidecar.collected);
    for (const Field& field : kFields)
        json[field.name] = sidecar.*field.text;
    return Dump(json) + '\n';
}

std::optional<Sidecar> ParseSidecar(std::string_view text)
{
    const auto json = ParseJson(text);
    if (!json.is_object() || json.value("format", Json{}) != kFormat)
        return std::nullopt;
    const auto textOf = [&](const char* name) {
        const auto found = json.find(name);
        std::string value =
            found != json.end() && found->is_string() ? found->get<std::string>() : std::string{};
        // No name of Windows holds a U+0000, and no database's text.
        value.resize(std::min(value.size(), value.find('\0')));
        return value;
    };
    const auto collected = SecondsOf(textOf("collected"));
    if (!collected)
        return std::nullopt;
    Sidecar sidecar;
    sidecar.collected = *collected;
    for (const Field& field : kFields)
        sidecar.*field.text = textOf(field.name);
    return sidecar;
}

std::optional<Sidecar> ReadSidecar(const std::filesystem::path& path)
{
    // Another file of the name, such as a whole report as JSON, may be far longer.
    constexpr std::size_t kLongest = 1U << 16;
    std::ifstream file{path, std::ios::binary};
    std::string text(kLongest, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return ParseSidecar(text);
}

}  // namespace orrery::report
