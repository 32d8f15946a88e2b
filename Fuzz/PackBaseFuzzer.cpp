// A folder that is packed onto a release that somebody else has written: "source" onto "MORV". Of the script, the first
// line is the base's version, the second a number whose bits choose storage, compression and how the base counts.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include "KeldFoundation/version/MorvVersion.h"

#include <cstdlib>
#include <system_error>

namespace
{
using namespace Keld;
using Fuzz::Require;

const std::string Project = "atlas";
constexpr MorvVersion Packed = 0x01000009;

TreeWriter::PackRequest MakeRequest(const Fuzz::TreeOnDisk &disk, const std::vector<std::string> &lines)
{
    using TreeReader::Compression;
    using TreeReader::Storage;
    static constexpr Storage storages[] = {Storage::Naked, Storage::Managed, Storage::Archive, Storage::Archive};
    static constexpr Compression compressions[] = {Compression::None, Compression::Zlib, Compression::Lzma};
    const unsigned long choice = std::strtoul(lines[1].c_str(), nullptr, 10);
    TreeWriter::PackRequest request;
    request.source = disk.GetPath("source");
    request.root = disk.GetPath("MORV");
    request.project = Project;
    request.release = Packed;
    request.choice.storage = storages[choice & 3];
    request.choice.compression =
        request.choice.storage == Storage::Archive ? compressions[(choice >> 2) % 3] : Compression::None;
    request.inheritStorage = (choice & 0x10) != 0;
    request.inheritCompression = (choice & 0x20) != 0;
    request.replace = (choice & 0x40) != 0;
    request.longRecords = (choice & 0x80) != 0;
    request.dryRun = (choice & 0x100) != 0;
    request.level = TreeWriter::LeastLevel;
    request.sync = false;
    MorvVersion base = 0;
    if (ParseVersion(lines[0].c_str(), &base))
    {
        request.base = base;
    }
    return request;
}

bool Pack(const TreeWriter::PackRequest &request)
{
    try
    {
        TreeWriter::PackRelease(request);
        return !request.dryRun;
    }
    catch (const TreeReader::TreeError &)
    {
        return false;
    }
    catch (const std::system_error &)
    {
        return false;
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    Fuzz::TreeOnDisk &disk = test.GetDisk();
    if (Pack(MakeRequest(disk, test.GetLines())))
    {
        TreeReader::TreeSet trees;
        const auto view = trees.Open(TreeReader::Reference{disk.GetPath("MORV"), {false, Project, Packed}});
        Require(static_cast<bool>(view), "what was packed can be opened");
    }
    disk.Discard("MORV");
    return 0;
}
