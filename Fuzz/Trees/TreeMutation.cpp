#include "Trees/TreeMutation.h"

#include "Mutation/ByteMutation.h"
#include "Trees/IndexMutation.h"
#include "Trees/ManifestMutation.h"
#include "Trees/Vocabulary.h"

#include <algorithm>
#include <iterator>

namespace Keld::Fuzz
{
namespace
{
constexpr std::size_t MostFileGrowth = 512; // bytes, of one change

bool IsOfLines(std::string_view name)
{
    return name == "solutionmanifest" || name == "configurationmanifest" || name == "shiplist" || name == "bundle" ||
           name.ends_with(".minisig");
}

class TreeMutation
{
public:
    TreeMutation(TreeInput &input, Random &random) : mInput(input), mRandom(random), mWords(CollectWords(input)) {}

    void Apply()
    {
        if (mInput.entries.empty())
        {
            mInput.entries.push_back({TreeEntry::File, mRandom.Pick(mWords), ""});
        }
        TreeEntry &entry = ChooseEntry();
        switch (mRandom.Below(16))
        {
        case 0:
        case 1:
            MutateLines(mInput.script, mRandom, mWords);
            break;
        case 2:
            ChangePath(entry.path);
            break;
        case 3:
            Copy(entry);
            break;
        case 4:
            mInput.entries.erase(mInput.entries.begin() +
                                 static_cast<std::ptrdiff_t>(mRandom.Below(mInput.entries.size())));
            break;
        case 5:
            ChangeKind(entry);
            break;
        case 6:
            entry.bytes.resize(mRandom.Below(entry.bytes.size() + 1));
            break;
        default:
            ChangeBytes(entry);
            break;
        }
    }

private:
    // Manifests and indexes are what others stand on.
    TreeEntry &ChooseEntry()
    {
        TreeEntry &first = mRandom.Pick(mInput.entries);
        const std::string_view name = NameOfPath(first.path);
        const bool isLeading = name.find("manifest") != name.npos || name.ends_with(".vka") || IsOfLines(name);
        return isLeading ? first : mRandom.Pick(mInput.entries);
    }

    void ChangeBytes(TreeEntry &entry)
    {
        const std::string_view name = NameOfPath(entry.path);
        if (name == "releasemanifest")
        {
            MutateManifest(entry.bytes, mRandom, mWords);
        }
        else if (name.ends_with(".vka"))
        {
            MutateIndex(entry.bytes, mRandom, mWords);
        }
        else if (IsOfLines(name))
        {
            MutateLines(entry.bytes, mRandom, mWords);
        }
        else
        {
            MutateBytes(entry.bytes, mRandom, entry.bytes.size() + MostFileGrowth);
        }
    }

    void ChangePath(std::string &path)
    {
        switch (mRandom.Below(4))
        {
        case 0:
            path = mRandom.Pick(mInput.entries).path;
            break;
        case 1:
            path = path.substr(0, path.rfind('/') + 1) + mRandom.Pick(mWords);
            break;
        case 2:
            ChangeVersion(path);
            break;
        default:
            MutateBytes(path, mRandom, path.size() + 8);
            std::erase(path, '\0');
            break;
        }
    }

    void ChangeVersion(std::string &path)
    {
        const std::size_t place = path.find("1.0.0.");
        if (place != std::string::npos && place + 6 < path.size())
        {
            path[place + 6] = static_cast<char>('0' + mRandom.Below(3));
        }
    }

    void Copy(const TreeEntry &entry)
    {
        TreeEntry copy = entry;
        ChangePath(copy.path);
        mInput.entries.insert(mInput.entries.begin() +
                                  static_cast<std::ptrdiff_t>(mRandom.Below(mInput.entries.size() + 1)),
                              std::move(copy));
    }

    void ChangeKind(TreeEntry &entry)
    {
        static constexpr TreeEntry::Kind kinds[] = {TreeEntry::File, TreeEntry::Directory, TreeEntry::Fifo,
                                                    TreeEntry::Link, TreeEntry::WayOut};
        entry.kind = kinds[mRandom.Below(std::size(kinds))];
        if (entry.kind == TreeEntry::Link)
        {
            entry.bytes = NameOfPath(mRandom.Pick(mInput.entries).path);
        }
    }

    TreeInput &mInput;
    Random &mRandom;
    const std::vector<std::string> mWords;
};
} // namespace

void MutateTree(TreeInput &input, Random &random)
{
    do
    {
        TreeMutation(input, random).Apply();
    } while (random.OneIn(2));
}

void CrossTrees(TreeInput &input, TreeInput other, Random &random)
{
    for (TreeEntry &taken : other.entries)
    {
        const auto same = std::find_if(input.entries.begin(), input.entries.end(),
                                       [&](const TreeEntry &entry)
                                       {
                                           return entry.path == taken.path;
                                       });
        if (random.OneIn(2) && same != input.entries.end())
        {
            *same = std::move(taken);
        }
        else if (random.OneIn(4))
        {
            input.entries.push_back(std::move(taken));
        }
    }
}
} // namespace Keld::Fuzz
