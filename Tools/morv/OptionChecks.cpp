#include "Tools/morv/OptionChecks.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <charconv>
#include <string>

namespace Keld::Morv
{
CLI::Validator NotEmpty()
{
    return {[](std::string &value)
            {
                return value.empty() ? std::string("has an empty value") : std::string();
            },
            ""};
}

CLI::Validator WholeNumber()
{
    return {[](std::string &value)
            {
                uint64 number = 0;
                const char *const end = value.data() + value.size();
                const auto [rest, error] = std::from_chars(value.data(), end, number);
                if (error != std::errc() || rest != end)
                {
                    return "\"" + value + "\" is no whole number" +
                           (error == std::errc::result_out_of_range ? " of 64 bits" : ", in decimal digits");
                }
                value = std::to_string(number);
                return std::string();
            },
            ""};
}
} // namespace Keld::Morv
