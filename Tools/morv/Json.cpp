#include "Tools/morv/Json.h"

#include "Tools/Common/Utf8.h"
#include "Tools/morv/Console.h"

#include <fmt/format.h>

namespace Keld::Morv
{
Json NewDocument(const std::string &command)
{
    return Json{{"format", "morv." + command + "/1"}};
}

Json TextValue(std::string_view bytes)
{
    if (Common::IsUtf8(bytes))
    {
        return std::string(bytes);
    }
    std::string escaped;
    for (const char32_t character : Common::DecodeUtf8(bytes))
    {
        if (character >= Common::UndecodedByte)
        {
            escaped += fmt::format("\\x{:02x}", static_cast<unsigned>(character - Common::UndecodedByte));
        }
        else if (character == U'\\')
        {
            escaped += "\\\\";
        }
        else
        {
            Common::AppendUtf8(escaped, character);
        }
    }
    return Json{{"escaped", escaped}};
}

void PrintDocument(const Json &document)
{
    WriteOutput(document.dump(2) + "\n");
}
} // namespace Keld::Morv
