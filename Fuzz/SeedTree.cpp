#include "SeedTree.h"

#include "Support/CompressedStream.h"
#include "Support/TestTree.h"

#include "Tools/Delivery/Bundles/BundleHead.h"
#include "Tools/Delivery/Sums/ShipList.h"
#include "Tools/Delivery/Text/TextLines.h"
#include "Tools/TreeReader/ContentDigest.h"

namespace Keld::Fuzz
{
namespace
{
std::uint32_t FlagsOf(SeedRelease::Storage storage)
{
    switch (storage)
    {
    case SeedRelease::Storage::Naked:
        return 0;
    case SeedRelease::Storage::Managed:
        return 0x01;
    case SeedRelease::Storage::Stored:
        return 0x02;
    case SeedRelease::Storage::Zlib:
        return 0x16;
    case SeedRelease::Storage::Lzma:
        break;
    }
    return 0x32;
}

std::string StoredForm(SeedRelease::Storage storage, const std::string &content)
{
    switch (storage)
    {
    case SeedRelease::Storage::Zlib:
        return Test::ZlibStream(content);
    case SeedRelease::Storage::Lzma:
        return Test::LzmaFile(content);
    default:
        return content;
    }
}

TreeReader::ReleaseName NameOf(const std::string &text)
{
    TreeReader::ReleaseName name;
    Delivery::ReadRelease(text, name);
    return name;
}

std::string BelowPrefix(const TreeEntry &entry, const std::string &prefix)
{
    const std::string path = entry.path.starts_with(prefix) ? entry.path.substr(prefix.size()) : "";
    const bool isDelivery = path.find('/') == std::string::npos || path.ends_with("/shiplist");
    return entry.kind == TreeEntry::File && !isDelivery ? path : "";
}

void AddSolution(TreeInput &input)
{
    const std::string directory = "MORV/solutions/suite/releases/0.0.1.0/";
    input.entries.push_back(
        {TreeEntry::File, directory + "solutionmanifest",
         Test::ManifestLines({"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.0", "2", "atlas", "1.0.0.1", "10",
                              "0", "boreas", "1.0.0.0", "0x14", "0", "1", "all", "0", "2", "atlas", "boreas"})});
    input.entries.push_back(
        {TreeEntry::File, directory + "configurationmanifest",
         Test::ManifestLines({"MORV Configuration Manifest", "1.0.0.0", "all", "2", "atlas", "boreas"})});
}

void AddFirst(TreeInput &input)
{
    using enum SeedRelease::Storage;
    SeedRelease(input, "atlas", "1.0.0.0")
        .Add("data/stored.bin", Stored, Test::RandomBytes(60, 1))
        .Add("data/packed.txt", Zlib, Test::PatternedBytes(200, 2))
        .Add("data/deep/small.txt", Lzma, Test::PatternedBytes(150, 3))
        .Add("Data2/Managed.bin", Managed, "managed")
        .Add("readme.txt", Naked, "read me")
        .Add("empty", Naked, "")
        .AddDirectory("hollow")
        .Finish();
}
} // namespace

SeedRelease::SeedRelease(TreeInput &input, std::string project, std::string version, Test::ManifestImage::Record record)
    : mInput(input), mProject("MORV/projects/" + project), mVersion(std::move(version)),
      mManifest(std::move(project), Test::VersionNumber(mVersion), record)
{
}

SeedRelease &SeedRelease::Add(const std::string &path, Storage storage, const std::string &content)
{
    List(path, storage, content, mVersion);
    const std::string stored = StoredForm(storage, content);
    switch (storage)
    {
    case Storage::Naked:
        mInput.entries.push_back({TreeEntry::File, mProject + "/releases/" + mVersion + "/deploy/" + path, stored});
        break;
    case Storage::Managed:
        mInput.entries.push_back({TreeEntry::File, mProject + "/managedfiles/" + mVersion + "/" + path, stored});
        break;
    default:
        mArchive.File(path, Test::SizeOf(mData), Test::SizeOf(stored));
        mData += stored;
        break;
    }
    return *this;
}

SeedRelease &SeedRelease::Refer(const std::string &path, Storage storage, const std::string &content,
                                const std::string &version)
{
    List(path, storage, content, version);
    return *this;
}

SeedRelease &SeedRelease::AddDirectory(const std::string &path)
{
    mManifest.Directory(path);
    return *this;
}

void SeedRelease::List(const std::string &path, Storage storage, const std::string &content, const std::string &version)
{
    Test::ManifestFile file;
    file.flags = FlagsOf(storage);
    file.size = Test::SizeOf(content);
    file.version = Test::VersionNumber(version);
    const TreeReader::Digest digest = TreeReader::DigestOf(content);
    file.digest.assign(digest.begin(), digest.end());
    mManifest.File(path, file);
}

void SeedRelease::Finish()
{
    if (!mData.empty())
    {
        const std::string archive = mProject + "/filearchives/" + mVersion + "/files.vka";
        mInput.entries.push_back({TreeEntry::File, archive, mArchive.Bytes()});
        mInput.entries.push_back({TreeEntry::File, archive + ".dat", mData});
    }
    mInput.entries.push_back(
        {TreeEntry::File, mProject + "/releases/" + mVersion + "/releasemanifest", mManifest.Bytes()});
}

TreeInput MakeSeedProject()
{
    TreeInput input;
    AddFirst(input);
    return input;
}

TreeInput MakeSeedTree()
{
    using enum SeedRelease::Storage;
    TreeInput input;
    AddFirst(input);
    SeedRelease(input, "atlas", "1.0.0.1", Test::ManifestImage::Record::V0)
        .Refer("data/packed.txt", Zlib, Test::PatternedBytes(200, 2), "1.0.0.0")
        .Refer("Data2/Managed.bin", Managed, "managed", "1.0.0.0")
        .Add("data/stored.bin", Zlib, Test::PatternedBytes(90, 4))
        .Add("shared/both.txt", Naked, "of atlas")
        .Finish();
    SeedRelease(input, "boreas", "1.0.0.0")
        .Add("DATA/packed.txt", Naked, "hides the other")
        .Add("data2", Stored, "a file over a directory")
        .Add("shared/both.txt", Naked, "of boreas")
        .Add("shared/Own.txt", Managed, "own")
        .Finish();
    AddSolution(input);
    return input;
}

std::string MakeShipList(const TreeInput &input, const std::string &prefix, const std::string &release)
{
    std::vector<Delivery::ShippedFile> files;
    for (const TreeEntry &entry : input.entries)
    {
        const std::string path = BelowPrefix(entry, prefix);
        if (!path.empty())
        {
            files.push_back({path, entry.bytes.size(), Delivery::SumOf(entry.bytes)});
        }
    }
    return Delivery::ShipList(NameOf(release), std::move(files)).GetText();
}

std::string MakeBundleHead(const TreeInput &input, const std::string &prefix, const std::string &target,
                           const std::string &base)
{
    Delivery::BundleHead head;
    head.target = NameOf(target);
    if (!base.empty())
    {
        head.base = NameOf(base);
    }
    for (const TreeEntry &entry : input.entries)
    {
        const std::string path = BelowPrefix(entry, prefix);
        if (!path.empty())
        {
            head.files.push_back(path);
            head.bytes += entry.bytes.size();
        }
    }
    return head.GetText();
}
} // namespace Keld::Fuzz
