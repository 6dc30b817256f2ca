#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <nlohmann/json_fwd.hpp>

namespace orrery {

/// JSON to be looked at. The whole library is seen by one file alone, since it is slow to compile.
class CParsedJson {
public:
    /// Throws if the text is no JSON.
    explicit CParsedJson(std::string_view text);

    /// The value there, such as "/machines/0", on one line without blanks and with its names in order;
    /// null if there is none.
    std::string At(const std::string& pointer) const;

private:
    std::shared_ptr<const nlohmann::json> json_;
};

/// All of it, as CParsedJson gives a value.
std::string InOrder(std::string_view json);

}  // namespace orrery
