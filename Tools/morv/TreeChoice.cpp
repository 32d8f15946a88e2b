#include "Tools/morv/TreeChoice.h"

#include "Tools/TreeWriter/TreeNames.h"

#include <cstdlib>
#include <filesystem>

namespace Keld::Morv
{
namespace fs = std::filesystem;

namespace
{
/// Without symbolic links, as far as the path exists.
std::string Settle(const std::string &path)
{
    std::error_code error;
    const fs::path settled = fs::weakly_canonical(path, error);
    return error ? path : settled.string();
}
} // namespace

std::string ChooseTree(const std::string &typed, const std::string &workingDirectory)
{
    if (!typed.empty())
    {
        return Settle(TreeWriter::RequireUsableRoot(typed));
    }
    const std::string around = TreeReader::Tree::FindRoot(workingDirectory);
    const char *named = std::getenv("MORV_ROOT");
    if (!around.empty() || named == nullptr || *named == '\0')
    {
        return around;
    }
    return Settle(TreeWriter::RequireUsableRoot(named));
}

TreeReader::Result<TreeReader::Reference> ResolveNamed(const std::string &text, const CommonOptions &common,
                                                       const std::string &typedRoot)
{
    const std::string directory = common.GetDirectory();
    auto reference = TreeReader::ResolveReference(text, directory, ChooseTree(typedRoot, directory));
    if (reference)
    {
        reference->root = Settle(reference->root);
    }
    return reference;
}
} // namespace Keld::Morv
