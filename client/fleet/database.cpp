#include "client/fleet/database.h"

namespace orrery::fleet {

bool IsServer(std::string_view name) noexcept
{
    return name.starts_with("postgresql://") || name.starts_with("postgres://");
}

std::unique_ptr<CDatabase> OpenDatabase(const std::string& name, bool mayCreate)
{
    return IsServer(name) ? OpenPostgres(name) : OpenSqlite(name, mayCreate);
}

std::int64_t NumberIn(const Value& value) noexcept
{
    const auto* const number = std::get_if<std::int64_t>(&value);
    return number != nullptr ? *number : 0;
}

std::string_view TextIn(const Value& value) noexcept
{
    const auto* const text = std::get_if<std::string_view>(&value);
    return text != nullptr ? *text : std::string_view{};
}

bool IsNull(const Value& value) noexcept
{
    return std::holds_alternative<std::monostate>(value);
}

}  // namespace orrery::fleet
