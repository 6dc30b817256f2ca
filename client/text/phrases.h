#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace orrery {

/// "1 drive", "2 drives"
std::string Counted(std::size_t number, const std::string& noun);

/// The texts that are not empty, with a separator between them.
std::string Joined(const std::vector<std::string>& texts, const std::string& separator);

}  // namespace orrery
