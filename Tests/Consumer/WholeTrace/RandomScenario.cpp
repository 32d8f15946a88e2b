// Trees and calls that nobody has thought of, the same for the same seed.

#include "Consumer/WholeTrace/Scenario.h"

#include "Support/CompressedStream.h"
#include "Support/Dice.h"

#include <algorithm>
#include <cctype>
#include <set>

namespace Keld::Test::WholeTrace
{
namespace
{
std::string Folded(std::string text)
{
    for (char &character : text)
    {
        character = character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
    }
    return text;
}

class RandomTree
{
public:
    RandomTree(Dice &dice, std::string project) : mDice(dice) { mRelease.project = std::move(project); }

    const TraceRelease &Make(std::uint32_t fileCount)
    {
        mRelease.version = Version();
        mRelease.record = mDice.OneIn(2) ? ManifestImage::Record::V0 : ManifestImage::Record::Current;
        for (std::uint32_t count = mDice.Below(4); count > 0; --count)
        {
            mVersions.push_back(Version());
        }
        mVersions.push_back(mRelease.version);
        mDirectories.emplace_back("");
        while (mRelease.files.size() < fileCount)
        {
            Add(fileCount);
        }
        return mRelease;
    }

    const std::vector<std::string> &Directories() const { return mDirectories; }

private:
    std::string Version()
    {
        return std::to_string(mDice.Below(3)) + "." + std::to_string(mDice.Below(256)) + ".0." +
               std::to_string(mDice.Below(4));
    }

    std::string Name()
    {
        static const std::string letters = "abcdefgABCDEFGxyz0123456789._-~ []@\xC3\xA4\xFF{}^";
        std::string name;
        const std::uint32_t length = mDice.OneIn(60) ? 1 + mDice.Below(200) : 1 + mDice.Below(12);
        while (name.size() < length)
        {
            name += mDice.OneIn(9) ? mDice.Of(letters) : letters[mDice.Below(14)];
        }
        return name == "." || name == ".." ? name + "x" : name;
    }

    // A path that no other differs from in its case alone, nor stands in the place of.
    bool Take(const std::string &path) { return path.size() < 700 && mTaken.insert(Folded(path)).second; }

    void Add(std::uint32_t fileCount)
    {
        const std::string parent = mDice.OneIn(3) ? mDirectories.back() : mDice.Of(mDirectories);
        const std::string path = parent + Name();
        if (!Take(path))
        {
            return;
        }
        if (mDirectories.size() < 2 + fileCount / 4 && mDice.OneIn(4))
        {
            mDirectories.push_back(path + "/");
            mRelease.emptyDirectories.push_back(path);
            return;
        }
        mRelease.files.push_back(File(path));
    }

    TraceFile File(const std::string &path)
    {
        TraceFile file{path};
        file.storage = mDice.Of(std::vector<Storage>{Storage::Naked, Storage::Managed, Storage::Stored, Storage::Stored,
                                                     Storage::Zlib, Storage::Zlib, Storage::Lzma});
        const std::uint32_t size = mDice.OneIn(40) ? mDice.Below(400'000) : mDice.Below(600);
        file.content = mDice.OneIn(2) ? PatternedBytes(size, mDice.Word()) : RandomBytes(size, mDice.Word());
        file.version = mDice.Of(mVersions);
        file.archive = mDice.Below(3);
        if (file.storage == Storage::Lzma)
        {
            file.archive = 3; // its open closes the archive; a lone one closes nothing that others read
        }
        file.missing = mDice.OneIn(25);
        if (mDice.OneIn(25))
        {
            file.size = size + mDice.Below(3) - 1;
        }
        if (mDice.OneIn(20) && (file.storage == Storage::Zlib || file.storage == Storage::Lzma))
        {
            Damage(file);
        }
        return file;
    }

    void Damage(TraceFile &file)
    {
        std::string stored = file.storage == Storage::Zlib ? ZlibStream(file.content, static_cast<int>(mDice.Below(10)))
                                                           : LzmaFile(file.content);
        const auto size = static_cast<std::uint32_t>(stored.size());
        switch (mDice.Below(4))
        {
        case 0:
            stored.resize(mDice.Below(size));
            break;
        case 1:
            stored += RandomBytes(1 + mDice.Below(20), mDice.Word());
            break;
        default:
            char &flipped = stored[mDice.Below(size)];
            flipped = static_cast<char>(flipped ^ (1 << mDice.Below(8)));
        }
        file.stored = stored;
    }

    Dice &mDice;
    TraceRelease mRelease;
    std::vector<std::string> mVersions;
    std::vector<std::string> mDirectories;
    std::set<std::string> mTaken;
};

std::string Mutated(Dice &dice, std::string path)
{
    for (std::uint32_t count = dice.Below(4); count > 0 && !path.empty(); --count)
    {
        const std::uint32_t at = dice.Below(static_cast<std::uint32_t>(path.size()));
        switch (dice.Below(8))
        {
        case 0:
        case 1:
        case 2:
            path[at] =
                static_cast<char>(path[at] ^ (std::isalpha(static_cast<unsigned char>(path[at])) != 0 ? 0x20 : 0));
            break;
        case 3:
            path.insert(path.find('/') == std::string::npos ? path.size() : path.find('/'),
                        dice.OneIn(2) ? "\\" : "//");
            break;
        case 4:
            path.erase(at, 1);
            break;
        case 5:
            path.insert(at, 1, static_cast<char>(dice.Word() | 1));
            break;
        case 6:
            path = path.substr(at);
            break;
        default:
            path += dice.OneIn(2) ? "/" : "/x";
        }
    }
    return path;
}

std::string Pattern(Dice &dice, const std::string &directory)
{
    static const std::string parts[] = {"*", "?", ".", "a", "B", "*.", "x", "1", "**", "?*"};
    std::string pattern;
    for (std::uint32_t count = dice.Below(5); count > 0; --count)
    {
        pattern += dice.Of(parts);
    }
    return Mutated(dice, directory) + (dice.OneIn(3) ? "*" : pattern);
}

class RandomCalls
{
public:
    RandomCalls(Dice &dice, TracedLibrary &library, const std::vector<TraceFile> &files,
                const std::vector<std::string> &directories)
        : mDice(dice), mLibrary(library), mFiles(files), mDirectories(directories)
    {
    }

    void Make(std::uint32_t count)
    {
        for (; count > 0; --count)
        {
            One();
        }
        while (!mOpen.empty() && !mDice.OneIn(6))
        {
            CloseOne();
        }
    }

private:
    void One()
    {
        switch (mDice.Below(8))
        {
        case 0:
        case 1:
            mLibrary.Exists(Mutated(mDice, mDice.Of(mFiles).path));
            break;
        case 2:
            mLibrary.Exists(Mutated(mDice, mDice.Of(mDirectories)));
            break;
        case 3:
            mLibrary.List(Pattern(mDice, mDice.Of(mDirectories)));
            break;
        case 4:
        case 5:
            if (const int handle = mLibrary.Open(Mutated(mDice, mDice.Of(mFiles).path)); handle >= 0)
            {
                mOpen.push_back(handle);
                mLibrary.Size(handle);
            }
            break;
        case 6:
            CloseOne();
            break;
        default:
            ReadSome();
        }
    }

    void ReadSome()
    {
        if (!mOpen.empty())
        {
            const std::uint64_t offsets[] = {0, mDice.Below(700), mDice.Below(300'000), mDice.Word(),
                                             std::uint64_t{mDice.Word()} << 32 | mDice.Below(3)};
            mLibrary.Read(mDice.Of(mOpen), mDice.Of(offsets), mDice.OneIn(5) ? mDice.Below(500'000) : mDice.Below(700));
        }
    }

    void CloseOne()
    {
        if (!mOpen.empty())
        {
            const auto place = mOpen.begin() + mDice.Below(static_cast<std::uint32_t>(mOpen.size()));
            mLibrary.Close(*place);
            mOpen.erase(place);
        }
    }

    Dice &mDice;
    TracedLibrary &mLibrary;
    const std::vector<TraceFile> &mFiles;
    const std::vector<std::string> &mDirectories;
    std::vector<int> mOpen;
};

void SpoilManifest(Dice &dice, TraceTree &tree, const std::string &manifest)
{
    const auto size = static_cast<std::uint32_t>(tree.Read(manifest).size());
    if (dice.OneIn(2))
    {
        tree.Cut(manifest, dice.Below(size));
    }
    else if (size > 48)
    {
        tree.Patch(manifest, 20 + 4 * dice.Below(size / 4 - 8), dice.Below(40));
    }
}

std::string RandomSolution(Dice &dice, TraceTree &tree, const std::vector<TraceRelease> &releases)
{
    std::vector<std::string> solution = {"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.7",
                                         std::to_string(releases.size())};
    std::vector<std::string> configuration = {"MORV Configuration Manifest", "1.0.0.0", "default",
                                              std::to_string(releases.size())};
    for (const TraceRelease &release : releases)
    {
        solution.insert(solution.end(), {release.project, release.version, std::to_string(dice.Below(5)), "0"});
        configuration.push_back(release.project);
    }
    solution.push_back("0");
    std::string text = Lines(solution, dice.OneIn(4) ? "\r\n" : "\n");
    if (dice.OneIn(8))
    {
        text.resize(dice.Below(static_cast<std::uint32_t>(text.size())));
    }
    return tree.Solution(text, Lines(configuration));
}

void RunRandom(std::uint32_t seed, TraceTree &tree, TracedLibrary &library)
{
    Dice dice(seed);
    const std::uint32_t projectCount = dice.OneIn(3) ? 2 + dice.Below(4) : 1;
    const std::uint32_t fileCount = seed % 50 == 7 ? 500 + dice.Below(2000) : 1 + dice.Below(40);
    std::vector<TraceRelease> releases;
    std::vector<TraceFile> files;
    std::vector<std::string> directories;
    std::string start;
    for (std::uint32_t project = 0; project < projectCount; ++project)
    {
        RandomTree random(dice, "project" + std::to_string(project));
        releases.push_back(random.Make(fileCount / projectCount + 1));
        const TraceRelease &release = releases.back();
        files.insert(files.end(), release.files.begin(), release.files.end());
        directories.insert(directories.end(), random.Directories().begin(), random.Directories().end());
        start = tree.Release(release);
        if (dice.OneIn(12))
        {
            SpoilManifest(dice, tree,
                          "MORV/projects/" + release.project + "/releases/" + release.version + "/releasemanifest");
        }
    }
    if (projectCount > 1)
    {
        start = RandomSolution(dice, tree, releases);
    }
    library.SetLogger(dice.OneIn(2));
    for (std::uint32_t round = 0; round < 2; ++round)
    {
        if (library.Start(start))
        {
            if (fileCount < 100)
            {
                library.Walk();
            }
            RandomCalls(dice, library, files, directories).Make(60 + fileCount / 4);
        }
        library.Stop();
        library.ShowDescriptors();
    }
}
} // namespace

Scenario RandomScenario(std::uint32_t seed)
{
    return {"random " + std::to_string(seed), [seed](TraceTree &tree, TracedLibrary &library)
            {
                RunRandom(seed, tree, library);
            }};
}
} // namespace Keld::Test::WholeTrace
