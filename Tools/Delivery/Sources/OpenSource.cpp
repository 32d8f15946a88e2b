#include "Tools/Delivery/Sources/OpenSource.h"

#include "Tools/Delivery/Sources/DirectorySource.h"
#include "Tools/Delivery/Sources/HttpSource.h"
#include "Tools/Delivery/Sources/UrlText.h"

#include "KeldMorvIO/TreeWords.h"

#include <filesystem>

namespace Keld::Delivery
{
namespace fs = std::filesystem;

namespace
{
constexpr std::string_view FileScheme = "file://";

/// The path of "file:///srv/MORV" or "file://localhost/srv/MORV"; "%20" and the like stand for bytes.
std::string PathOfUrl(const std::string &url)
{
    std::string text = url.substr(FileScheme.size());
    if (text.starts_with("localhost/"))
    {
        text.erase(0, text.find('/'));
    }
    if (!text.starts_with('/'))
    {
        throw TreeReader::TreeError(url + " names another machine: a file:// source begins with file:///");
    }
    return DecodeUrlText(text);
}

void RequireTree(const std::string &name, const fs::path &directory)
{
    std::error_code error;
    if (!fs::is_directory(directory, error))
    {
        const bool isHost = name.find_first_of(".:") < name.find('/') && !name.starts_with('.');
        throw SourceError(SourceTrouble::NotThere, name + ": there is no such directory" +
                                                       (isHost ? "; for a server, write https://" + name : ""));
    }
    const auto isTree = [&error](const fs::path &place)
    {
        return fs::is_directory(place / MORV::Reader::ProjectsDirectory, error) ||
               fs::is_directory(place / MORV::Reader::SolutionsDirectory, error);
    };
    if (isTree(directory))
    {
        return;
    }
    const bool isAbove = isTree(directory / MORV::Reader::RootDirectory);
    throw SourceError(SourceTrouble::NotThere,
                      name + ": this is no deployment tree" +
                          (isAbove ? "; the one in it is " + name + (name.ends_with('/') ? "MORV" : "/MORV") : ""));
}
} // namespace

std::unique_ptr<Source> OpenSource(const std::string &text, const std::string &workingDirectory,
                                   const SourceOptions &options)
{
    if (text.starts_with("http://") || text.starts_with("https://"))
    {
        return std::make_unique<HttpSource>(text, options);
    }
    const std::size_t scheme = text.find("://");
    const bool isFileUrl = text.starts_with(FileScheme);
    if (scheme != std::string::npos && !isFileUrl)
    {
        throw TreeReader::TreeError("\"" + text.substr(0, scheme) +
                                    "://\" is nothing to fetch from: a source is https://, http://, file:// or a "
                                    "directory");
    }
    const fs::path directory = fs::path(workingDirectory) / (isFileUrl ? PathOfUrl(text) : text);
    RequireTree(text, directory);
    return std::make_unique<DirectorySource>(text, directory.string(), options);
}
} // namespace Keld::Delivery
