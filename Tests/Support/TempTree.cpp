#include "Support/TempTree.h"

#include "Support/FileBytes.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace Keld::Test
{
namespace fs = std::filesystem;

TempTree::TempTree()
{
    std::string pattern = (fs::temp_directory_path() / "keldmorvio-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr)
    {
        throw std::runtime_error("cannot make a temporary directory from " + pattern);
    }
    mRoot = fs::canonical(pattern).string();
}

TempTree::~TempTree()
{
    std::error_code ignored;
    fs::remove_all(mRoot, ignored);
}

std::string TempTree::Path(std::string_view relative) const
{
    return relative.empty() ? mRoot : mRoot + "/" + std::string(relative);
}

std::string TempTree::Write(std::string_view relative, std::string_view bytes) const
{
    std::string path = Path(relative);
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
    {
        throw std::runtime_error("cannot write " + path);
    }
    return path;
}

std::string TempTree::MakeDirectory(std::string_view relative) const
{
    std::string path = Path(relative);
    fs::create_directories(path);
    return path;
}

std::string TempTree::Read(std::string_view relative) const
{
    return BytesOf(Path(relative));
}

bool TempTree::Exists(std::string_view relative) const
{
    return fs::exists(fs::symlink_status(Path(relative)));
}

void TempTree::Remove(std::string_view relative) const
{
    fs::remove_all(Path(relative));
}
} // namespace Keld::Test
