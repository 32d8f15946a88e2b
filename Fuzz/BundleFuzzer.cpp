// A bundle that is applied to the tree "here/MORV". Its entries are those below "bundle/", in their order; or, where
// there is a file "raw", the bytes of that are the bundle.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "Tools/Delivery/Bundles/BundleApplication.h"
#include "Tools/Delivery/Bundles/BundleStream.h"
#include "Tools/TreeReader/TreeError.h"

#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include <unistd.h>

namespace
{
using namespace Keld;
using Fuzz::Require;

constexpr std::string_view Prefix = "bundle/";

std::string MakeStream(const Fuzz::TreeInput &input)
{
    if (const std::string *raw = input.Find("raw"))
    {
        return *raw;
    }
    std::string bytes;
    const Delivery::BundleSink sink = [&](std::string_view piece)
    {
        bytes += piece;
    };
    Delivery::BundleOutput output(sink);
    for (const Fuzz::TreeEntry &entry : input.entries)
    {
        if (entry.path.starts_with(Prefix) && entry.path.size() > Prefix.size())
        {
            output.Begin(entry.path.substr(Prefix.size()), entry.bytes.size());
            output.Write(entry.bytes);
        }
    }
    output.Close();
    return bytes;
}

void Apply(const std::string &root, const std::string &bundle)
{
    const Fuzz::MemoryFile file(reinterpret_cast<const uint8 *>(bundle.data()), bundle.size());
    Require(lseek(file.Descriptor(), 0, SEEK_SET) == 0, "a file in memory can be read from its start");
    Delivery::ApplyRequest request;
    request.root = root;
    request.bundle = file.Descriptor();
    request.bundleName = "bundle";
    request.sync = false;
    try
    {
        ApplyBundle(request);
    }
    catch (const TreeReader::TreeError &)
    {
        return;
    }
    catch (const std::system_error &)
    {
        return;
    }
}

std::size_t CountIn(const std::string &directory)
{
    std::error_code error;
    const std::filesystem::directory_iterator begin(directory, error);
    return static_cast<std::size_t>(std::distance(begin, std::filesystem::directory_iterator()));
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size, Prefix);
    const Fuzz::TreeOnDisk &disk = test.GetDisk();
    std::string bundle;
    try
    {
        bundle = MakeStream(test.GetInput());
    }
    catch (const std::runtime_error &)
    {
        return 0; // names that no tar holds
    }
    if (!disk.MakeDirectory("here"))
    {
        return 0; // something else is in its place
    }
    const std::size_t before = CountIn(disk.GetRoot());
    const std::size_t outside = CountIn(disk.GetPath("outside"));
    Apply(disk.GetPath("here/MORV"), bundle);
    Require(CountIn(disk.GetRoot()) == before && CountIn(disk.GetPath("outside")) == outside,
            "nothing is written outside of the tree");
    test.GetDisk().Discard("here");
    return 0;
}
