#include "Tools/JsonSchema.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Keld::Test
{
void ExpectMatchesSchema(const std::string &command, const std::string &document)
{
    TempTree files;
    files.Write("document.json", document);
    const std::string schema = KELD_SCHEMAS "/" + command + ".json";
    const std::string line =
        "python3 -m jsonschema -i " + files.Path("document.json") + " " + schema + " >" + files.Path("why") + " 2>&1";
    EXPECT_EQ(std::system(line.c_str()), 0) << files.Read("why") << document;
}
} // namespace Keld::Test
