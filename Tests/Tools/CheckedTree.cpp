#include "Tools/CheckedTree.h"

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"
#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeWriter/SolutionWriter.h"

namespace Keld::Test
{
using TreeChecker::CheckReport;
using TreeChecker::Finding;
using TreeReader::Compression;
using TreeReader::Storage;

namespace
{
/// Something that compresses, but not to nothing.
std::string Text(const std::string &seed)
{
    std::string text;
    for (int line = 0; line < 12; ++line)
    {
        text += seed + " line " + std::to_string(line * 7919 % 101) + "\n";
    }
    return text;
}
} // namespace

CheckedTree::CheckedTree()
{
    for (const char *path : {"Data/naked.txt", "Data/managed.bin", "Data/stored.raw", "Data/deep/packed.z", "packed.l"})
    {
        mTree.Write(std::string("source/") + path, Text(path));
    }
    mTree.Write("source/nothing.raw", "");
    mTree.Write("source/twin.z", Text("Data/deep/packed.z"));
    PackGame(First);
    mTree.Write("source/Data/stored.raw", Text("changed"));
    mTree.Write("source/new.l", Text("new"));
    PackGame(Second);
    PackExtra();
    WriteSolution();
}

void CheckedTree::PackGame(MorvVersion release)
{
    TreeWriter::PackRequest request = Request(Storage::Naked, Compression::None, release);
    request.compressAlways = true;
    request.rules = {{"*.bin", {Storage::Managed, Compression::None}},
                     {"*.raw", {Storage::Archive, Compression::None}},
                     {"*.z", {Storage::Archive, Compression::Zlib}},
                     {"*.l", {Storage::Archive, Compression::Lzma}}};
    if (release != First)
    {
        request.base = First;
    }
    TreeWriter::PackRelease(request);
}

void CheckedTree::PackExtra()
{
    mTree.Write("other/Data/naked.txt", "of the other project");
    mTree.Write("other/more.z", Text("more"));
    TreeWriter::PackRequest request = Request(Storage::Archive, Compression::Zlib);
    request.source = mTree.Path("other");
    request.project = "extra";
    TreeWriter::PackRelease(request);
}

void CheckedTree::WriteSolution()
{
    const TreeWriter::SolutionConfiguration all{"all", {"game", "extra"}};
    mTree.Write(
        Suite + "solutionmanifest",
        TreeWriter::BuildSolutionManifest({"suite", 0x00000100, {{"game", Second, 10}, {"extra", First, 20}}, {all}}));
    mTree.Write(Suite + "configurationmanifest", TreeWriter::BuildConfigurationManifest(all));
}

CheckReport CheckedTree::Check(bool decode) const
{
    TreeReader::Tree tree(mTree.Path("MORV"));
    TreeChecker::CheckOptions options;
    options.decode = decode;
    return TreeChecker::CheckWholeTree(tree, options);
}

CheckReport CheckedTree::CheckOnly(const std::vector<TreeReader::ReleaseName> &names) const
{
    TreeReader::Tree tree(mTree.Path("MORV"));
    return TreeChecker::CheckTree(tree, names, {});
}

std::vector<std::string> CheckedTree::Describe(const CheckReport &report, const std::vector<Finding> &findings) const
{
    std::vector<std::string> texts;
    for (const Finding &finding : findings)
    {
        std::string text = std::string(NameOf(finding.fault.kind)) + " ";
        text += std::filesystem::path(finding.fault.path).lexically_relative(mTree.Path("MORV/projects")).string();
        text += "|";
        for (const std::string &file : finding.files)
        {
            text += file + " ";
        }
        text += "|";
        for (const uint32 user : finding.users)
        {
            text += (text.back() == '|' ? "" : ", ") + report.releases[user].GetText();
        }
        texts.push_back(text);
    }
    return texts;
}

void CheckedTree::ExpectFaults(const std::vector<std::string> &faults, bool decode) const
{
    const CheckReport report = Check(decode);
    EXPECT_EQ(Describe(report, report.faults), faults);
    EXPECT_EQ(report.IsWhole(), faults.empty());
}

ManifestFile CheckedTree::Archived(const std::string &content)
{
    const TreeReader::Digest digest = TreeReader::DigestOf(content);
    ManifestFile file;
    file.flags = MORV::Reader::FileFlagArchived;
    file.size = static_cast<std::uint32_t>(content.size());
    file.digest.assign(digest.begin(), digest.end());
    return file;
}

void CheckedTree::Flip(const std::string &path, std::size_t offset, unsigned char bits) const
{
    std::string bytes = mTree.Read(path);
    bytes.at(offset) = static_cast<char>(static_cast<unsigned char>(bytes[offset]) ^ bits);
    mTree.Write(path, bytes);
}

std::size_t CheckedTree::PlaceOf(const std::string &path, const std::string &text) const
{
    const std::size_t place = mTree.Read(path).find(text);
    EXPECT_NE(place, std::string::npos) << text;
    return place;
}
} // namespace Keld::Test
