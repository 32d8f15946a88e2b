#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/Password.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReleaseChoice.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/WorkProgress.h"

#include "Tools/Delivery/Sums/Publication.h"
#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

namespace Keld::Morv
{
using Delivery::PublishedRelease;
using Delivery::SecretKey;
using TreeReader::ReleaseName;
using TreeReader::TreeError;

namespace
{
constexpr const char *PublishFooter = R"(
Writes beside the manifest of each release the text file "shiplist": the SHA-256 sums and sizes of all files that the
release needs. "morv fetch" holds what it brings against it, and "morv repair" finds damage by it that the tree alone
cannot tell. Programs that read the release ignore it. Without RELEASE all releases and solutions of the tree are
published. Everything is checked first, as by "morv verify"; a damaged release is not published.

With --sign the list is signed, and "shiplist.minisig" is written beside it: by Ed25519, in the form of the program
minisign, which makes the keys (minisign -G -s client.key -p client.pub) and can check the signature as well. The
password of a protected key is asked for, or read from standard input where that is no terminal. A signature over a
list that has changed is removed.

Publish again after a release was replaced (pack --force, solution --force).

Examples:
  morv publish --root /srv/MORV
  morv publish --root /srv/MORV client/1.0.0.7 --sign client.key
  minisign -Vm /srv/MORV/projects/client/releases/1.0.0.7/shiplist -p client.pub)";

struct PublishOptions
{
    std::vector<std::string> releases;
    std::string root;
    std::string key;
    bool noCheck = false;
    bool noSync = false;
};

std::string PathOfKey(const std::string &path, const CommonOptions &common)
{
    return path.front() == '/' ? path : common.GetDirectory() + "/" + path;
}

std::optional<SecretKey> LoadSecretKey(const std::string &path, const CommonOptions &common)
{
    if (path.empty())
    {
        return std::nullopt;
    }
    auto key = SecretKey::Load(PathOfKey(path, common),
                               [&path]
                               {
                                   return AskPassword("Password of the key " + EscapeForTerminal(path) + ": ");
                               });
    if (!key)
    {
        throw TreeError(key.GetFault().GetMessage());
    }
    return std::move(*key);
}

Delivery::PublishRequest MakePublishRequest(const PublishOptions &options, const CommonOptions &common)
{
    const NamedReleases named = ResolveReleases(options.releases, common, options.root);
    Delivery::PublishRequest request;
    request.root = named.root;
    request.releases = named.names;
    request.check = !options.noCheck;
    request.sync = !options.noSync;
    request.threadCount = common.GetThreadCount();
    return request;
}

std::string SignatureText(const PublishedRelease &published, const SecretKey *key)
{
    switch (published.signature)
    {
    case Delivery::SignatureState::None:
        return "not signed";
    case Delivery::SignatureState::Kept:
        return "signed before";
    case Delivery::SignatureState::Made:
        return "signed with key " + Delivery::FormatIdentity(key->GetIdentity());
    case Delivery::SignatureState::Removed:
        break;
    }
    return "no longer signed: its signature was over another list";
}

std::string PublishText(const std::vector<PublishedRelease> &published, const SecretKey *key)
{
    std::string text;
    for (const PublishedRelease &release : published)
    {
        text += Shown(release.name.GetText()) + ": " + CountText(release.files, "file") + ", " +
                ByteText(release.bytes) + (release.isNew ? ", " : ", as before, ") + SignatureText(release, key) + "\n";
    }
    return text;
}

Json PublishDocument(const std::string &root, const std::vector<PublishedRelease> &published, const SecretKey *key)
{
    Json document = NewDocument("publish");
    document["root"] = TextValue(root);
    if (key != nullptr)
    {
        document["key"] = Delivery::FormatIdentity(key->GetIdentity());
    }
    document["releases"] = Json::array();
    for (const PublishedRelease &release : published)
    {
        document["releases"].push_back({{"kind", release.name.isSolution ? "solution" : "project"},
                                        {"name", TextValue(release.name.name)},
                                        {"version", FormatVersion(release.name.version)},
                                        {"shiplist", TextValue(release.path)},
                                        {"files", release.files},
                                        {"bytes", release.bytes},
                                        {"changed", release.isNew},
                                        {"signature", NameOf(release.signature)}});
    }
    return document;
}

ExitCode PublishNamed(const PublishOptions &options, const CommonOptions &common)
{
    Delivery::PublishRequest request = MakePublishRequest(options, common);
    const std::optional<SecretKey> key = LoadSecretKey(options.key, common);
    request.key = key ? &*key : nullptr;
    std::vector<PublishedRelease> published;
    {
        WorkProgress progress(!common.quiet);
        request.calls = progress.GetCalls();
        published = PublishShipLists(request);
    }
    if (common.json)
    {
        PrintDocument(PublishDocument(request.root, published, request.key));
    }
    else if (!common.quiet)
    {
        WriteOutput(PublishText(published, request.key));
    }
    return ExitDone;
}
} // namespace

void AddPublishCommand(CommandSet &commands)
{
    const auto options = std::make_shared<PublishOptions>();
    CommandWords words{"publish", "Write the list of all files that a release needs, with sums and a signature",
                       PublishFooter};
    words.writesJson = true;
    words.usesThreads = true;
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return PublishNamed(*options, commands.GetCommon());
                                     });
    command.add_option("RELEASE", options->releases,
                       "PROJECT/VERSION, solution:NAME/VERSION, or a directory in one; without any, the whole tree");
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_option("--sign", options->key, "Sign with this secret key of minisign")->type_name("FILE");
    command.add_flag("--no-check", options->noCheck,
                     "Do not decode the contents first: only what is missing is noticed then");
    command.add_flag("--no-sync", options->noSync,
                     "Do not wait until the disk has everything; a loss of power may take what was written");
}
} // namespace Keld::Morv
