#include "Tools/DamagedTwins.h"

#include "Tools/RandomReleases.h"

#include <algorithm>
#include <filesystem>

namespace Keld::Test
{
namespace fs = std::filesystem;

namespace
{
constexpr uint32 ProjectCount = 3;

std::string ProjectName(uint32 number)
{
    return "project" + std::to_string(number);
}

std::string ReleasePlace(uint32 number)
{
    return "MORV/projects/" + ProjectName(number) + "/releases/1.0.0.1";
}

} // namespace

DamagedTwins::DamagedTwins() : mRandom(GetParam())
{
    RandomReleases releases(mTree, mRandom);
    std::vector<std::string> projects;
    for (uint32 number = 0; number < ProjectCount; ++number)
    {
        projects.push_back(ProjectName(number));
        const FileContents first = mRandom.Make(12);
        releases.Pack(projects.back(), first, RandomReleases::First);
        releases.Pack(projects.back(), mRandom.Change(first), RandomReleases::First + 1, RandomReleases::First);
    }
    releases.WriteSolution(projects);
}

std::vector<std::string> DamagedTwins::ListFiles() const
{
    std::vector<std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV/projects")))
    {
        if (entry.is_regular_file())
        {
            files.push_back(fs::relative(entry.path(), mTree.Root()).string());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void DamagedTwins::Damage(uint32 times)
{
    const std::vector<std::string> files = ListFiles();
    for (uint32 count = 0; count < times; ++count)
    {
        const std::string &path = files[mRandom.Below(static_cast<uint32>(files.size()))];
        const bool isManifest = path.ends_with("releasemanifest");
        std::string bytes = mTree.Exists(path) ? mTree.Read(path) : "";
        const uint32 way = mRandom.Below(isManifest ? 40 : 4);
        if (way == 0)
        {
            mTree.Remove(path);
        }
        else if (!bytes.empty() && way == 1)
        {
            mTree.Write(path, bytes.substr(0, mRandom.Below(static_cast<uint32>(bytes.size()))));
        }
        else if (!bytes.empty())
        {
            bytes[mRandom.Below(static_cast<uint32>(bytes.size()))] = static_cast<char>(mRandom.Below(256));
            mTree.Write(path, bytes);
        }
    }
}

void DamagedTwins::CopyTwin()
{
    mTwin.Remove("MORV");
    // The library removes names and writes into no file, so that names are enough.
    fs::copy(mTree.Path("MORV"), mTwin.Path("MORV"), fs::copy_options::recursive | fs::copy_options::create_hard_links);
}

std::vector<std::string> DamagedTwins::Places()
{
    std::vector<std::string> places{"MORV/solutions/suite/releases/0.0.1.0"};
    for (uint32 number = 0; number < ProjectCount; ++number)
    {
        places.push_back(ReleasePlace(number));
    }
    return places;
}
} // namespace Keld::Test
