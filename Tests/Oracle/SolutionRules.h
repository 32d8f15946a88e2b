#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// A project as a solution binds it.
struct BoundProject
{
    std::string name;
    std::uint32_t version = 0;
    std::uint32_t priority = 0;
};

/// The projects that a configuration chooses of a solution, in the order of the search: by descending priority, and by
/// name among equals. Nothing where either text is refused.
std::optional<std::vector<BoundProject>> ReadSolution(const std::string &solution, const std::string &configuration);
} // namespace Keld::Test::Oracle
