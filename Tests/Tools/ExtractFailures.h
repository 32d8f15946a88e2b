#pragma once

#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"

#include "Tools/morv/Json.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace Keld::Test
{
/// What "morv extract --json" did not write: the kind of each failure, by path. Expects that something failed.
inline std::map<std::string, std::string> ExtractFailures(const ToolResult &result)
{
    EXPECT_EQ(result.exitCode, 1) << result.error;
    ExpectMatchesSchema("extract", result.out);
    std::map<std::string, std::string> failures;
    const Morv::Json document = Morv::Json::parse(result.out);
    for (const Morv::Json &failure : document["failures"])
    {
        failures[failure["path"].get<std::string>()] = failure["kind"].get<std::string>();
    }
    return failures;
}
} // namespace Keld::Test
