// A release of a hostile tree that is extracted into the folder "out", where links stand that lead out of it, to
// "outside". Of the script, the first line is the release's directory below the tree's, the second how many names are
// stripped, further ones are patterns.

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/Extraction.h"

#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace
{
using namespace Keld;
using Fuzz::Require;

constexpr uint64 MostBytes = 4 << 20;

bool IsSmall(const Morv::ExtractPlan &plan)
{
    return plan.bytes <= MostBytes;
}

void ExtractTo(const std::string &target, const TreeReader::View &view, const Fuzz::TreeCase &test)
{
    const unsigned long strip = std::strtoul(test.GetLines()[1].c_str(), nullptr, 10);
    try
    {
        const Common::GlobSelection selection(test.GetLinesBehind(2));
        Morv::ExtractPlan plan = Morv::PlanExtraction(view, selection, static_cast<uint32>(strip % 8));
        for (const Morv::PlannedFile &file : plan.files)
        {
            Require(file.name.find('/') == std::string::npos && file.name != ".." && file.name != "." &&
                        !file.name.empty(),
                    "a file is written under a plain name");
            Require(plan.directories[file.directory].empty() || Fuzz::IsPlainPath(plan.directories[file.directory]) ||
                        plan.directories[file.directory].size() > 250,
                    "a file is written below the target");
        }
        if (IsSmall(plan))
        {
            Morv::ExtractOptions options;
            options.checkDigests = strip % 2 == 0;
            options.update = strip % 3 == 0;
            const Common::OutputDirectory output(target);
            Extract(view, std::move(plan), output, options);
        }
    }
    catch (const Common::GlobError &)
    {
        return; // a pattern that is none
    }
    catch (const std::system_error &)
    {
        return; // something stands in the target's place
    }
}

bool IsEmptyDirectory(const std::string &path)
{
    std::error_code error;
    return !std::filesystem::is_directory(path, error) || std::filesystem::is_empty(path, error);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    Fuzz::TreeOnDisk &disk = test.GetDisk();
    const bool wasEmpty = IsEmptyDirectory(disk.GetPath("outside"));
    {
        TreeReader::TreeSet trees;
        const auto reference = TreeReader::ResolveDirectory(disk.GetPath(test.GetLines()[0]));
        if (const auto view =
                reference ? trees.Open(*reference) : TreeReader::Result<TreeReader::View>(reference.GetFault()))
        {
            ExtractTo(disk.GetPath("out"), *view, test);
        }
    }
    std::error_code error;
    const bool isTarget = std::filesystem::equivalent(disk.GetPath("out"), disk.GetPath("outside"), error); // by links
    Require(isTarget || !wasEmpty || IsEmptyDirectory(disk.GetPath("outside")),
            "nothing is written outside of the target");
    disk.Discard("out");
    return 0;
}
