// A source that is hostile, "there/MORV", from which a release is fetched into the tree "here/MORV". Of the script, the
// first line names the release, the second is a number whose bits are the source's lies and the fetch's options,
// further ones are names that the source tells of every directory.

#include "FuzzSupport.h"
#include "Trees/MemorySource.h"
#include "Trees/TreeCase.h"

#include "Tools/Delivery/Fetch/Fetch.h"
#include "Tools/Delivery/Sources/SourceError.h"
#include "Tools/Delivery/Text/TextLines.h"
#include "Tools/TreeReader/Census.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace
{
using namespace Keld;
using Fuzz::MemorySource;
using Fuzz::Require;

constexpr unsigned AllLies = 0xF;

bool FetchInto(const std::string &root, MemorySource &source, const TreeReader::ReleaseName &wanted,
               unsigned long options)
{
    Delivery::FetchRequest request;
    request.wanted = wanted;
    request.root = root;
    request.sync = false;
    request.decode = (options & 0x10) == 0;
    request.allowPartial = (options & 0x20) != 0;
    try
    {
        Fetch(source, request);
        return true;
    }
    catch (const TreeReader::TreeError &)
    {
        return false; // with it SourceError
    }
    catch (const std::system_error &)
    {
        return false;
    }
}

std::vector<std::string> NamesIn(const std::string &directory)
{
    std::vector<std::string> names;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(directory, error))
    {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size, MemorySource::Prefix);
    const Fuzz::TreeOnDisk &disk = test.GetDisk();
    TreeReader::ReleaseName wanted;
    if (!Delivery::ReadRelease(test.GetLines()[0], wanted))
    {
        return 0;
    }
    if (!disk.MakeDirectory("here"))
    {
        return 0; // something else is in its place
    }
    const unsigned long options = std::strtoul(test.GetLines()[1].c_str(), nullptr, 10);
    const std::vector<std::string> before = NamesIn(disk.GetRoot());
    const std::vector<std::string> outside = NamesIn(disk.GetPath("outside"));
    MemorySource source(test.GetInput(), static_cast<unsigned>(options & AllLies), test.GetLinesBehind(2));
    const std::string root = disk.GetPath("here/MORV");
    if (FetchInto(root, source, wanted, options))
    {
        TreeReader::Tree tree(root);
        const auto view = TreeReader::View::Open(tree, wanted);
        Require(static_cast<bool>(view), "what was fetched can be opened");
        Require(TakeCensus(*view, 1).missing == 0, "what was fetched lacks no file");
    }
    Require(NamesIn(disk.GetRoot()) == before && NamesIn(disk.GetPath("outside")) == outside,
            "nothing is written outside of the tree");
    test.GetDisk().Discard("here");
    return 0;
}
