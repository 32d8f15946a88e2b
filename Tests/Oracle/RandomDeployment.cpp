#include "Oracle/RandomDeployment.h"

#include "Oracle/ContentPool.h"
#include "Oracle/PathRules.h"
#include "Oracle/RandomSolution.h"
#include "Support/CompressedStream.h"
#include "Support/TestTree.h"

#include <algorithm>

namespace Keld::Test::Oracle
{
namespace
{
// Flags of every storage, those that contradict themselves included.
constexpr std::uint32_t FlagsOfFiles[] = {0,
                                          0x00,
                                          0x01,
                                          0x01,
                                          0x02,
                                          0x02,
                                          0x02,
                                          0x03,
                                          0x02 | 0x10 | 0x04,
                                          0x02 | 0x10 | 0x04,
                                          0x02 | 0x10 | 0x04,
                                          0x02 | 0x10 | 0x20,
                                          0x02 | 0x10 | 0x20,
                                          0x02 | 0x10 | 0x04 | 0x20,
                                          0x02 | 0x10,
                                          0x02 | 0x04,
                                          0x10 | 0x04,
                                          0xFFFFFF00 | 0x02 | 0x10 | 0x04};

bool IsArchivedBy(std::uint32_t flags)
{
    return (flags & 0x02) != 0;
}

bool IsZlibBy(std::uint32_t flags)
{
    return (flags & 0x14) == 0x14;
}

bool IsLzmaBy(std::uint32_t flags)
{
    return (flags & 0x34) == 0x30;
}
} // namespace

RandomDeployment::RandomDeployment(Disk &disk, Dice &dice)
    : mDisk(disk), mDice(dice), mRoot(disk.Root() + (dice.OneIn(12) ? "/MORV/inner/MORV" : "/MORV")), mNames(dice),
      mNextContent(dice.Below(1000))
{
    static const std::string names[] = {"atlas", "Bravo", "c-three", "delta.x", "with blank", "f[1]"};
    const std::uint32_t projectCount = 1 + mDice.Below(5);
    for (std::uint32_t index = 0; index < projectCount; ++index)
    {
        AddProject(names[(index + (mDice.OneIn(30) ? 1 : 0)) % std::size(names)]);
    }
    for (std::uint32_t count = mDice.Below(4); count > 0; --count)
    {
        AddSolution("suite" + std::to_string(count));
    }
    const std::vector<std::string> releases = mWorkingDirectories;
    for (int times = 0; times < 3; ++times)
    {
        mWorkingDirectories.insert(mWorkingDirectories.end(), releases.begin(), releases.end());
    }
    for (const char *const odd : {"", "/projects/", "/projects/atlas", "/projects/atlas/releases/1.0.0",
                                  "/projects/atlas/releases/1.0.0.256", "/projects/none/releases/1.0.0.0",
                                  "/solutions/none/releases/1.0.0.0", "/solutions/projects/releases/1.2.3.4"})
    {
        mWorkingDirectories.push_back(mRoot + odd);
    }
    mDirectories.insert(mDirectories.end(), {"", "/"});
    mFiles.insert(mFiles.end(), {"not/there", "a"});
}

std::string RandomDeployment::Version()
{
    return std::to_string(mDice.Below(3)) + "." + std::to_string(mDice.Below(4) * 85) + ".0." +
           std::to_string(mDice.Below(4));
}

void RandomDeployment::AddProject(const std::string &name)
{
    Project project{name, {}, {}};
    RandomArchives archives(mDice);
    const std::uint32_t fileCount = mDice.OneIn(30) ? 200 : 1 + mDice.Below(36);
    for (std::uint32_t count = 1 + mDice.Below(3); count > 0; --count)
    {
        const std::string version = Version();
        project.versions.push_back(version);
        AddRelease(project, archives, version, fileCount);
    }
    archives.Write(mDisk, ProjectRoot(name));
    mProjects.push_back(project);
}

void RandomDeployment::AddRelease(Project &project, RandomArchives &archives, const std::string &version,
                                  std::uint32_t fileCount)
{
    // The manifest decides where the files lie, not the directory that holds it.
    const bool isElsewhere = !mProjects.empty() && mDice.OneIn(30);
    Project &owner = isElsewhere ? mProjects.back() : project;
    ManifestImage manifest(owner.name, VersionNumber(mDice.OneIn(40) ? Version() : version),
                           mDice.OneIn(2) ? ManifestImage::Record::V0 : ManifestImage::Record::Current);
    Taken taken;
    for (std::uint32_t count = 0; count < fileCount; ++count)
    {
        const std::string path = NewPath(taken);
        if (path.empty())
        {
            continue;
        }
        const bool isDirectory = mDice.OneIn(12);
        if (isDirectory)
        {
            manifest.Directory(path);
        }
        else
        {
            manifest.File(path, AddFile(owner, archives, version, path));
            taken.files.insert(Folded(path));
            mFiles.push_back(path);
        }
        const std::string directories = isDirectory ? path + "/" : path;
        for (std::size_t at = directories.find('/'); at != std::string::npos; at = directories.find('/', at + 1))
        {
            const std::string directory = path.substr(0, at);
            if (taken.directories.emplace(Folded(directory), directory).second)
            {
                mDirectories.push_back(directory);
            }
        }
    }
    if (mDice.OneIn(40))
    {
        manifest.RootName("\x01root");
    }
    const std::string directory = ProjectRoot(project.name) + "/releases/" + version;
    mDisk.Write(directory + "/releasemanifest", mDice.OneIn(14) ? SpoiledManifest(manifest) : manifest.Bytes());
    project.releases.push_back(version);
    AddWorkingDirectories(directory);
}

// What differs from another path in its case alone, or is a file and a directory at once, has few answers that are
// settled, and so it is rare. Nothing where the path is not to be taken.
std::string RandomDeployment::NewPath(const Taken &taken)
{
    std::string path = mNames.Path();
    if (mDice.OneIn(60))
    {
        return path;
    }
    for (std::size_t at = path.find('/'); at != std::string::npos; at = path.find('/', at + 1))
    {
        const std::string folded = Folded(path.substr(0, at));
        if (taken.files.contains(folded))
        {
            return {};
        }
        if (const auto known = taken.directories.find(folded); known != taken.directories.end())
        {
            path.replace(0, at, known->second);
        }
    }
    const std::string folded = Folded(path);
    return taken.files.contains(folded) || taken.directories.contains(folded) ? std::string() : path;
}

ManifestFile RandomDeployment::AddFile(const Project &project, RandomArchives &archives, const std::string &release,
                                       const std::string &path)
{
    ManifestFile file;
    file.flags = mDice.Of(FlagsOfFiles);
    const std::string version = mDice.OneIn(30) || project.versions.empty() ? Version() : mDice.Of(project.versions);
    file.version = VersionNumber(version);
    if (IsArchivedBy(file.flags))
    {
        // A later release has the file from an earlier one's archive.
        const auto [stored, isNew] =
            mStored.try_emplace(project.name + "/" + version + "/" + Folded(path), ManifestFile());
        if (isNew || mDice.OneIn(20))
        {
            AddArchived(archives, version, path, file);
            stored->second = file;
        }
        return stored->second;
    }
    const std::string &content = ContentPool::At(mNextContent++).plain;
    file.size = static_cast<std::uint32_t>(content.size());
    if (mDice.OneIn(20))
    {
        file.size = mDice.OneIn(3) ? mDice.Word() : file.size + mDice.Below(9);
    }
    const bool isManaged = (file.flags & 0x01) != 0;
    AddPlain(ProjectRoot(project.name) + (isManaged ? "/managedfiles/" + version : "/releases/" + release + "/deploy") +
                 "/" + path,
             content);
    return file;
}

void RandomDeployment::AddArchived(RandomArchives &archives, const std::string &version, const std::string &path,
                                   ManifestFile &file)
{
    const PooledContent &content = ContentPool::At(mNextContent++);
    const bool isCompressed = IsZlibBy(file.flags) || IsLzmaBy(file.flags);
    file.size = static_cast<std::uint32_t>(content.plain.size());
    if (mDice.OneIn(25))
    {
        file.size += mDice.Below(3) - 1;
        file.size = file.size == 0xFFFFFFFF ? 0 : file.size;
    }
    std::string stored = IsZlibBy(file.flags) ? content.zlib : IsLzmaBy(file.flags) ? content.lzma : content.plain;
    if (isCompressed && mDice.OneIn(12))
    {
        stored = WithDamage(stored);
    }
    auto statedSize = static_cast<std::uint32_t>(stored.size());
    if (mDice.OneIn(40))
    {
        statedSize = mDice.OneIn(2) ? mDice.Below(statedSize + 1) : statedSize + mDice.Below(20);
    }
    if (mDice.OneIn(30))
    {
        return; // in the manifest alone
    }
    const std::string indexed = mDice.OneIn(4) ? RandomNames::OtherCase(mDice, path) : path;
    for (std::uint32_t times = mDice.OneIn(25) ? 2 : 1; times > 0; --times)
    {
        archives.Add(version, indexed, stored, statedSize, IsLzmaBy(file.flags) && !mDice.OneIn(5));
    }
}

// At times there is something else in the place of the file, or nothing.
void RandomDeployment::AddPlain(const std::string &diskPath, const std::string &content)
{
    switch (mDice.Below(60))
    {
    case 0:
    case 1:
        return;
    case 2:
        mDisk.MakeDirectory(diskPath);
        return;
    case 3:
        mDisk.Link(diskPath, mRoot + "/not-there");
        return;
    case 4:
    {
        const std::string target = mDisk.Root() + "/targets/" + std::to_string(mNextContent);
        if (mDisk.Write(target, content))
        {
            mDisk.Link(diskPath, target);
        }
        return;
    }
    default:
        mDisk.Write(diskPath, content);
    }
}

std::string RandomDeployment::WithDamage(std::string stored)
{
    if (stored.empty() || mDice.OneIn(4))
    {
        return stored + RandomBytes(1 + mDice.Below(20), mDice.Word());
    }
    const auto size = static_cast<std::uint32_t>(stored.size());
    if (mDice.OneIn(3))
    {
        stored.resize(mDice.Below(size));
        return stored;
    }
    char &flipped = stored[mDice.OneIn(3) ? mDice.Below(std::min(size, 12U)) : mDice.Below(size)];
    flipped = static_cast<char>(flipped ^ (1 << mDice.Below(8)));
    return stored;
}

// Manifests that are refused, and some that only look as if.
std::string RandomDeployment::SpoiledManifest(const ManifestImage &manifest)
{
    ByteImage image(manifest.Bytes());
    const auto size = static_cast<std::uint32_t>(image.Size());
    switch (mDice.Below(10))
    {
    case 0:
        return image.Bytes().substr(0, mDice.Below(size));
    case 1:
        return image.Bytes().substr(0, mDice.Below(40));
    case 2:
        return image.Word(0, mDice.Word()).Bytes();
    case 3:
        return image.Word(4, mDice.OneIn(2) ? 0x10003 : mDice.Word()).Bytes();
    case 4:
        return image.Word(manifest.StringCountOffset(), mDice.Below(5000)).Bytes(); // only a hint
    case 5:
        return image.Word(ManifestImage::DirectoryCountOffset, mDice.Below(2) * 0x7FFFFFFF).Bytes();
    case 6:
        return image.Word(manifest.FileCountOffset(), 0x08000000 + mDice.Word() % 0x08000000).Bytes();
    case 7:
        return image.Word(manifest.DirectoryOffset(0) + std::size_t{4} * mDice.Below(5), 0x10000 + mDice.Below(9))
            .Bytes();
    case 8:
        return image.Word(manifest.StringDataSizeOffset(), mDice.OneIn(2) ? size : 0xFFFFFFF0).Bytes();
    default:
        return image.Bytes() + RandomBytes(mDice.Below(60), mDice.Word()); // bytes behind the end do not matter
    }
}

void RandomDeployment::AddSolution(const std::string &name)
{
    std::vector<RandomSolution::Candidate> candidates;
    candidates.reserve(mProjects.size());
    for (const Project &project : mProjects)
    {
        candidates.push_back({project.name, mDice.OneIn(40) ? "9.9.9.9" : mDice.Of(project.releases)});
    }
    const RandomSolution solution(mDice, candidates);
    const std::string directory = mRoot + "/solutions/" + name + "/releases/0.0.1.7";
    if (!mDice.OneIn(40))
    {
        mDisk.Write(directory + "/solutionmanifest", solution.Manifest());
    }
    if (!mDice.OneIn(40))
    {
        mDisk.Write(directory + "/configurationmanifest", solution.Configuration());
    }
    AddWorkingDirectories(directory);
    AddWorkingDirectories(directory);
}

// The release's directory, written in the ways that lead to it, and in some that do not.
void RandomDeployment::AddWorkingDirectories(const std::string &release)
{
    std::string directory = release;
    switch (mDice.Below(9))
    {
    case 0:
        directory += "/deploy";
        break;
    case 1:
        directory += "/deploy//deep/er/";
        break;
    case 2:
        std::replace(directory.begin(), directory.end(), '/', '\\');
        directory.front() = '/';
        break;
    case 3:
        directory.insert(directory.rfind("/releases/"), "/sub");
        break;
    case 4:
        directory.insert(directory.rfind('/') + 1, "0");
        break;
    case 5:
        directory += mDice.OneIn(2) ? "x/deploy" : "/";
        break;
    default:
        break;
    }
    if (mDice.OneIn(25))
    {
        directory.replace(directory.rfind("MORV"), 4, "morv");
    }
    if (mDice.OneIn(10))
    {
        directory.erase(0, mDisk.Root().size() + 1); // relative: "MORV/..."
    }
    mWorkingDirectories.push_back(directory);
    mWorkingDirectories.push_back(release);
}
} // namespace Keld::Test::Oracle
