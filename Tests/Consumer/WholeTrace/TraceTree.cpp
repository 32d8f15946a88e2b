#include "Consumer/WholeTrace/TraceTree.h"

#include "Support/ArchiveImage.h"
#include "Support/CompressedStream.h"
#include "Support/TestTree.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

#include <glob.h>

namespace Keld::Test::WholeTrace
{
namespace
{
namespace fs = std::filesystem;

std::uint32_t FlagsOf(Storage storage)
{
    switch (storage)
    {
    case Storage::Naked:
        return 0;
    case Storage::Managed:
        return 0x01;
    case Storage::Stored:
        return 0x02;
    case Storage::Zlib:
        return 0x02 | 0x10 | 0x04;
    case Storage::Lzma:
        break;
    }
    return 0x02 | 0x10 | 0x20;
}

bool IsArchived(const TraceFile &file)
{
    return (FlagsOf(file.storage) & 0x02) != 0;
}

std::string StoredForm(const TraceFile &file)
{
    if (file.stored)
    {
        return *file.stored;
    }
    switch (file.storage)
    {
    case Storage::Zlib:
        return ZlibStream(file.content);
    case Storage::Lzma:
        return LzmaFile(file.content);
    default:
        return file.content;
    }
}

std::string ArchiveDirectory(const std::string &project, const std::string &version)
{
    return "MORV/projects/" + project + "/filearchives/" + version;
}

std::vector<std::string> InOrderOfTheFileSystem(const std::string &directory)
{
    glob_t found{};
    std::vector<std::string> names;
    if (glob((directory + "/*.vka").c_str(), GLOB_NOSORT, nullptr, &found) == 0)
    {
        for (std::size_t index = 0; index < found.gl_pathc; ++index)
        {
            names.push_back(fs::path(found.gl_pathv[index]).stem().string());
        }
    }
    globfree(&found);
    return names;
}
} // namespace

TraceTree::TraceTree(const TempTree &disk, Trace &trace) : mDisk(disk), mTrace(trace)
{
    const std::size_t length = disk.Root().size();
    if (length + 2 > RootLength)
    {
        throw std::runtime_error("the temporary directory's path is too long: " + disk.Root());
    }
    mBelowDisk = std::string(RootLength - length - 1, 'p');
    mRoot = disk.MakeDirectory(mBelowDisk);
    std::string backslashes = mRoot;
    std::replace(backslashes.begin(), backslashes.end(), '/', '\\');
    mTrace.Replace(mRoot, "<tree>");
    mTrace.Replace(backslashes, "<tree in backslashes>");
    mTrace.Replace(mRoot + "/MORV", "<M>");
}

std::string TraceTree::Write(const std::string &relative, std::string_view bytes) const
{
    return mDisk.Write(mBelowDisk + "/" + relative, bytes);
}

std::string TraceTree::Read(const std::string &relative) const
{
    return mDisk.Read(mBelowDisk + "/" + relative);
}

void TraceTree::MakeDirectory(const std::string &relative) const
{
    mDisk.MakeDirectory(mBelowDisk + "/" + relative);
}

void TraceTree::Remove(const std::string &relative) const
{
    mDisk.Remove(mBelowDisk + "/" + relative);
}

void TraceTree::Cut(const std::string &relative, std::size_t size) const
{
    fs::resize_file(Path(relative), size);
}

void TraceTree::Patch(const std::string &relative, std::size_t offset, std::uint32_t word) const
{
    Write(relative, ByteImage(Read(relative)).Word(offset, word).Bytes());
}

ManifestImage TraceTree::Manifest(const TraceRelease &release)
{
    ManifestImage manifest(release.project, VersionNumber(release.version), release.record);
    for (const TraceFile &file : release.files)
    {
        ManifestFile record;
        record.flags = FlagsOf(file.storage);
        record.size = file.size.value_or(static_cast<std::uint32_t>(file.content.size()));
        record.version = VersionNumber(file.version);
        manifest.File(file.path, record);
    }
    for (const std::string &directory : release.emptyDirectories)
    {
        manifest.Directory(directory);
    }
    return manifest;
}

std::string TraceTree::Release(const TraceRelease &release)
{
    const std::string project = "MORV/projects/" + release.project;
    const std::string directory = project + "/releases/" + release.version;
    MakeDirectory(directory + "/deploy");
    Write(directory + "/releasemanifest", Manifest(release).Bytes());
    for (const TraceFile &file : release.files)
    {
        if (!file.missing && !IsArchived(file))
        {
            const bool isNaked = file.storage == Storage::Naked;
            const std::string folder = isNaked ? directory + "/deploy" : project + "/managedfiles/" + file.version;
            Write(folder + "/" + file.path, file.content);
        }
    }
    WriteArchives(release);
    mTrace.Replace(Path(directory), "<" + release.project + ">");
    return Path(directory);
}

void TraceTree::WriteArchives(const TraceRelease &release)
{
    std::map<std::string, std::vector<const TraceFile *>> versions;
    for (const TraceFile &file : release.files)
    {
        if (IsArchived(file) && !file.missing)
        {
            versions[file.version].push_back(&file);
        }
    }
    for (const auto &[version, files] : versions)
    {
        unsigned count = 0;
        for (const TraceFile *const file : files)
        {
            count = std::max(count, file->archive + 1);
        }
        const std::string directory = ArchiveDirectory(release.project, version);
        const std::vector<std::string> names = MakeArchives(directory, count);
        for (unsigned archive = 0; archive < count; ++archive)
        {
            ArchiveImage image;
            std::string data;
            for (const TraceFile *const file : files)
            {
                if (file->archive == archive)
                {
                    const std::string stored = StoredForm(*file);
                    image.File(file->path, static_cast<std::uint32_t>(data.size()),
                               file->storedSize.value_or(static_cast<std::uint32_t>(stored.size())));
                    data += stored;
                }
            }
            Write(directory + "/" + names[archive] + ".vka", image.Bytes());
            Write(directory + "/" + names[archive] + ".vka.dat", data);
        }
    }
}

// All names are there before the order is asked for: a directory that grows may give another one.
std::vector<std::string> TraceTree::MakeArchives(const std::string &directory, unsigned count)
{
    for (unsigned archive = 0; archive < count; ++archive)
    {
        const std::string name = std::to_string(10000 + mArchiveCount++);
        Write(directory + "/archive-" + name + ".vka", "");
        Write(directory + "/archive-" + name + ".vka.dat", "");
    }
    std::vector<std::string> &names = mArchives[directory];
    names = InOrderOfTheFileSystem(Path(directory));
    for (std::size_t place = 0; place < names.size(); ++place)
    {
        mTrace.Replace(names[place], "<archive " + std::to_string(place) + ">");
    }
    return names;
}

std::string TraceTree::Index(const std::string &project, const std::string &version, unsigned archive) const
{
    const std::string directory = ArchiveDirectory(project, version);
    return directory + "/" + mArchives.at(directory).at(archive) + ".vka";
}

std::string TraceTree::Solution(const std::string &solutionManifest, const std::string &configurationManifest)
{
    const std::string directory = "MORV/solutions/suite/releases/0.0.1.7";
    Write(directory + "/solutionmanifest", solutionManifest);
    Write(directory + "/configurationmanifest", configurationManifest);
    mTrace.Replace(Path(directory), "<suite>");
    return Path(directory);
}

void TraceTree::ShowChanges(const std::string &relative)
{
    std::set<std::string> lines;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(Path(relative)))
    {
        const std::string path = entry.path().string();
        const bool isFile = entry.is_regular_file() && !entry.is_symlink();
        lines.insert(mTrace.Quoted(path) + " " + (isFile ? Digest(Read(path.substr(mRoot.size() + 1))) : "no file"));
    }
    std::string all;
    for (const std::string &line : lines)
    {
        all += line + "\n";
        if (!mShown.empty() && mShown.count(line) == 0)
        {
            mTrace.Line("  new on disk: " + line);
        }
    }
    for (const std::string &line : mShown)
    {
        if (lines.count(line) == 0)
        {
            mTrace.Line("  gone from disk: " + line);
        }
    }
    mTrace.Line("  on disk: " + std::to_string(lines.size()) + " " + Digest(all));
    mShown = std::move(lines);
}

std::string Lines(const std::vector<std::string> &lines, const std::string &end)
{
    return ManifestLines(lines, end);
}
} // namespace Keld::Test::WholeTrace
