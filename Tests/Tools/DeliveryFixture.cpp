#include "Tools/DeliveryFixture.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Bundles/BundleApplication.h"
#include "Tools/Delivery/Bundles/BundleWriter.h"
#include "Tools/Delivery/Repair/Repair.h"
#include "Tools/Delivery/Sums/Publication.h"
#include "Tools/TreeWriter/SolutionWriter.h"

#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>

namespace Keld::Test
{
namespace fs = std::filesystem;
using TreeReader::ReleaseName;

DeliveryFixture::DeliveryFixture()
{
    setenv("no_proxy", "127.0.0.1", 1);
    Pack(mOldFiles, First);
    Pack(mNewFiles, Second, First);
    Pack(mTopFiles, First, {}, "top");
    WriteSolution(OldSuite.version, First);
    WriteSolution(NewSuite.version, Second);
    Delivery::PublishRequest publish;
    publish.root = Server();
    publish.releases = {OldGame, NewGame, OldSuite, NewSuite};
    publish.sync = false;
    Delivery::PublishShipLists(publish);
    if (IsApplied())
    {
        WriteBundle();
    }
    FetchNamed(OldGame);
    FetchNamed(OldSuite);
    if (IsRepaired())
    {
        FetchNamed(NewGame);
        FetchNamed(NewSuite);
        DamageTheNew();
    }
    fs::rename(mTree.Path("client"), mTree.Path("begin"));
}

bool DeliveryFixture::IsApplied()
{
    return GetParam() == Delivering::ApplyRelease || GetParam() == Delivering::ApplySolution;
}

bool DeliveryFixture::IsRepaired()
{
    return GetParam() == Delivering::RepairRelease || GetParam() == Delivering::RepairSolution;
}

bool DeliveryFixture::IsOfSolution()
{
    return GetParam() == Delivering::FetchSolution || GetParam() == Delivering::ApplySolution ||
           GetParam() == Delivering::RepairSolution;
}

void DeliveryFixture::BeginAnew() const
{
    fs::remove_all(mTree.Path("client"));
    fs::copy(mTree.Path("begin"), mTree.Path("client"), fs::copy_options::recursive);
}

void DeliveryFixture::Deliver(const std::string &source, const DeliveryHooks &hooks) const
{
    if (IsApplied())
    {
        Apply(hooks);
        return;
    }
    Delivery::SourceOptions options;
    options.downloads = 1;
    options.retries = 0;
    const auto opened = Delivery::OpenSource(source, "/", options);
    if (IsRepaired())
    {
        Repair(*opened, hooks);
        return;
    }
    Delivery::FetchRequest request = Request();
    request.wanted = Target();
    request.threadCount = 1;
    request.step = hooks.step;
    request.advance = hooks.advance;
    Delivery::Fetch(*opened, request);
}

std::string DeliveryFixture::DeliveryRefusal(const std::string &source, const DeliveryHooks &hooks) const
{
    try
    {
        Deliver(source, hooks);
    }
    catch (const std::exception &error)
    {
        return error.what();
    }
    return "";
}

void DeliveryFixture::ExpectOldServes() const
{
    SCOPED_TRACE("old");
    ExpectReads(OldGame, mOldFiles);
    ExpectReads(OldSuite, WithTop(mOldFiles));
}

void DeliveryFixture::ExpectNewServes() const
{
    SCOPED_TRACE("new");
    ExpectReads(NewGame, mNewFiles);
    if (IsOfSolution())
    {
        ExpectReads(NewSuite, WithTop(mNewFiles));
    }
}

bool DeliveryFixture::IsTargetSeen() const
{
    const char *manifest = IsOfSolution() ? "/solutionmanifest" : "/releasemanifest";
    return fs::exists(DirectoryOf(Target()) + manifest);
}

void DeliveryFixture::WriteSolution(MorvVersion version, MorvVersion game) const
{
    const TreeWriter::SolutionConfiguration all{"all", {"game", "top"}};
    const std::string place = "server/MORV/solutions/suite/releases/" + FormatVersion(version) + "/";
    mTree.Write(place + "configurationmanifest", TreeWriter::BuildConfigurationManifest(all));
    mTree.Write(place + "solutionmanifest",
                TreeWriter::BuildSolutionManifest({"suite", version, {{"game", game, 10}, {"top", First, 20}}, {all}}));
}

void DeliveryFixture::WriteBundle() const
{
    Delivery::BundleRequest request;
    request.target = {Server(), Target()};
    request.base = TreeReader::Reference{Server(), IsOfSolution() ? OldSuite : OldGame};
    std::string bytes;
    Delivery::WriteBundle(request,
                          [&bytes](std::string_view more)
                          {
                              bytes += more;
                          });
    mTree.Write("bundle", bytes);
}

void DeliveryFixture::Apply(const DeliveryHooks &hooks) const
{
    const Common::Descriptor bundle(open(mTree.Path("bundle").c_str(), O_RDONLY | O_CLOEXEC));
    Delivery::ApplyRequest request;
    request.root = Client();
    request.bundle = bundle.Get();
    request.bundleName = "the bundle";
    request.sync = false;
    request.step = hooks.step;
    request.calls.advance = hooks.advance;
    Delivery::ApplyBundle(request);
}

void DeliveryFixture::Repair(Delivery::Source &source, const DeliveryHooks &hooks) const
{
    Delivery::RepairRequest request;
    request.root = Client();
    request.releases = {Target()};
    request.source = &source;
    request.sync = false;
    request.step = hooks.step;
    request.calls.advance = hooks.advance;
    if (!Delivery::Repair(request).IsWhole())
    {
        throw std::runtime_error("it is not whole");
    }
}

void DeliveryFixture::FetchNamed(const ReleaseName &name) const
{
    Delivery::FetchRequest request = Request();
    request.wanted = name;
    FetchFrom(Server(), request);
}

void DeliveryFixture::DamageTheNew() const
{
    const std::string game = "client/MORV/projects/game/";
    const std::string data = mTree.Read(game + "filearchives/1.0.0.1/files-0001.vka.dat");
    ASSERT_FALSE(data.empty());
    mTree.Write(game + "filearchives/1.0.0.1/files-0001.vka.dat", "?" + data.substr(1));
    mTree.Remove(game + "filearchives/1.0.0.1/lzma-0001.vka");
    mTree.Remove(game + "releases/1.0.0.1/deploy/x.n");
    mTree.Write(game + "managedfiles/1.0.0.1/x.m", "damaged");
    mTree.Write(game + "releases/1.0.0.1/releasemanifest", "QVMF");
    if (IsOfSolution())
    {
        mTree.Remove("client/MORV/solutions/suite/releases/0.0.2.0/solutionmanifest");
    }
}

std::string DeliveryFixture::DirectoryOf(const ReleaseName &name) const
{
    const TreeReader::TreePlaces places(Client());
    return (name.isSolution ? places.Solution(name.name, name.version) : places.Release(name.name, name.version))
        .string();
}

FileContents DeliveryFixture::WithTop(FileContents files) const
{
    for (const auto &[path, content] : mTopFiles)
    {
        files[path] = content;
    }
    return files;
}

void DeliveryFixture::ExpectReads(const ReleaseName &name, const FileContents &files) const
{
    SCOPED_TRACE(name.GetText());
    const ReleaseReader reader(DirectoryOf(name));
    ASSERT_TRUE(reader.IsStarted());
    EXPECT_EQ(reader.FindAll().size(), files.size());
    for (const auto &[path, content] : files)
    {
        EXPECT_EQ(reader.Read(path), content) << path;
    }
}
} // namespace Keld::Test
