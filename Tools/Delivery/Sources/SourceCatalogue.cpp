#include "Tools/Delivery/Sources/SourceCatalogue.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <set>
#include <utility>

namespace Keld::Delivery
{
using TreeReader::ReleaseName;

namespace
{
constexpr std::size_t MostOthersTold = 10;
} // namespace

std::string PathOfReleases(const ReleaseName &name)
{
    return std::string(name.isSolution ? MORV::Reader::SolutionsDirectory : MORV::Reader::ProjectsDirectory) + "/" +
           name.name + "/" + MORV::Reader::ReleasesDirectory;
}

std::optional<std::vector<MorvVersion>> ListReleases(Source &source, const ReleaseName &name)
{
    const auto names = source.ListNames(PathOfReleases(name));
    if (!names)
    {
        return std::nullopt;
    }
    std::vector<MorvVersion> versions;
    for (const std::string &text : *names)
    {
        MorvVersion version = 0;
        if (ParseVersion(text.c_str(), &version) && FormatVersion(version) == text)
        {
            versions.push_back(version);
        }
    }
    std::sort(versions.begin(), versions.end());
    return versions;
}

std::string TellOfOthers(Source &source, const std::vector<ReleaseName> &here)
{
    std::set<std::pair<bool, std::string>> asked;
    std::string text;
    std::size_t count = 0;
    for (const ReleaseName &known : here)
    {
        const bool isNew = asked.insert({known.isSolution, known.name}).second;
        const auto versions = isNew ? ListReleases(source, known) : std::nullopt;
        for (const MorvVersion version : versions ? *versions : std::vector<MorvVersion>())
        {
            const ReleaseName other{known.isSolution, known.name, version};
            if (std::find(here.begin(), here.end(), other) == here.end() && ++count <= MostOthersTold)
            {
                text += (text.empty() ? "" : ", ") + other.GetText();
            }
        }
    }
    if (count == 0)
    {
        return "";
    }
    const std::string more = count > MostOthersTold ? " and " + std::to_string(count - MostOthersTold) + " more" : "";
    return source.GetName() + " also has " + text + more +
           ", of which nothing is here; name a release to get it back all the same";
}
} // namespace Keld::Delivery
