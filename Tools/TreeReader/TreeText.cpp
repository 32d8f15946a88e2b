#include "Tools/TreeReader/TreeText.h"

#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/CStd/Hash.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace Keld::TreeReader
{
MorvVersion ParseVersionText(const std::string &text)
{
    MorvVersion version = 0;
    if (!ParseVersion(text.c_str(), &version) || FormatVersion(version) != text)
    {
        throw TreeError("\"" + text + "\" is no version: write four numbers from 0 to 255, as in 1.0.0.0");
    }
    return version;
}

std::string ShortenPath(std::string path)
{
    // Nearly all paths are short already, and making one anew costs more than a look.
    const bool isShort = path.find("//") == std::string::npos && path.find("./") == std::string::npos &&
                         !path.ends_with("/.") && !path.ends_with("/..");
    return isShort ? std::move(path) : std::filesystem::path(path).lexically_normal().string();
}

std::string FoldPath(std::string path)
{
    std::transform(path.begin(), path.end(), path.begin(), FoldCase);
    return path;
}

bool EqualsIgnoringCase(const std::string &left, const std::string &right)
{
    return left.size() == right.size() && std::equal(left.begin(), left.end(), right.begin(),
                                                     [](char leftByte, char rightByte)
                                                     {
                                                         return FoldCase(leftByte) == FoldCase(rightByte);
                                                     });
}
} // namespace Keld::TreeReader
