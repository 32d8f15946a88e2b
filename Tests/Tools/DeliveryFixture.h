#pragma once

#include "Tools/FetchFixture.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/BundleApplication.h"
#include "Tools/Delivery/BundleWriter.h"
#include "Tools/Delivery/Publication.h"
#include "Tools/Delivery/Repair.h"
#include "Tools/TreeWriter/SolutionWriter.h"

#include <cstdlib>

#include <fcntl.h>

namespace Keld::Test
{
/// Every way in which a release or a solution comes to a tree, or is mended there.
enum class Delivering
{
    FetchRelease,
    FetchSolution,
    ApplyRelease,
    ApplySolution,
    RepairRelease,
    RepairSolution
};

/// How whoever delivers is followed, and stopped.
struct DeliveryHooks
{
    std::function<void()> step = [] {};
    std::function<void(uint64)> advance = [](uint64) {};
};

/// A client that has an old release and an old solution, and is on the way to new ones: by fetching, by applying a
/// bundle, or by mending the new ones, which are damaged then.
class DeliveryFixture : public FetchFixture, public testing::WithParamInterface<Delivering>
{
protected:
    DeliveryFixture()
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
        std::filesystem::rename(mTree.Path("client"), mTree.Path("begin"));
    }

    static bool IsApplied()
    {
        return GetParam() == Delivering::ApplyRelease || GetParam() == Delivering::ApplySolution;
    }
    static bool IsRepaired()
    {
        return GetParam() == Delivering::RepairRelease || GetParam() == Delivering::RepairSolution;
    }
    static bool IsOfSolution()
    {
        return GetParam() == Delivering::FetchSolution || GetParam() == Delivering::ApplySolution ||
               GetParam() == Delivering::RepairSolution;
    }
    static const TreeReader::ReleaseName &Target() { return IsOfSolution() ? NewSuite : NewGame; }

    /// The client as it is before.
    void BeginAnew() const
    {
        std::filesystem::remove_all(mTree.Path("client"));
        std::filesystem::copy(mTree.Path("begin"), mTree.Path("client"), std::filesystem::copy_options::recursive);
    }

    /// Throws what ends it.
    void Deliver(const std::string &source, const DeliveryHooks &hooks) const
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
            Delivery::RepairRequest request;
            request.root = Client();
            request.releases = {Target()};
            request.source = opened.get();
            request.sync = false;
            request.step = hooks.step;
            request.calls.advance = hooks.advance;
            EXPECT_TRUE(Delivery::Repair(request).IsWhole());
            return;
        }
        Delivery::FetchRequest request = Request();
        request.wanted = Target();
        request.threadCount = 1;
        request.step = hooks.step;
        request.advance = hooks.advance;
        Delivery::Fetch(*opened, request);
    }

    /// What delivering is refused with; empty where it goes well.
    std::string DeliveryRefusal(const std::string &source, const DeliveryHooks &hooks = {}) const
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

    void ExpectOldServes() const
    {
        SCOPED_TRACE("old");
        ExpectReads(OldGame, mOldFiles);
        ExpectReads(OldSuite, WithTop(mOldFiles));
    }

    void ExpectNewServes() const
    {
        SCOPED_TRACE("new");
        ExpectReads(NewGame, mNewFiles);
        if (IsOfSolution())
        {
            ExpectReads(NewSuite, WithTop(mNewFiles));
        }
    }

    /// Whether a program could start in what is delivered.
    bool IsTargetSeen() const
    {
        const char *manifest = IsOfSolution() ? "/solutionmanifest" : "/releasemanifest";
        return std::filesystem::exists(DirectoryOf(Target()) + manifest);
    }

private:
    static inline const TreeReader::ReleaseName OldGame{false, "game", First};
    static inline const TreeReader::ReleaseName NewGame{false, "game", Second};
    static inline const TreeReader::ReleaseName OldSuite{true, "suite", 0x00000100};
    static inline const TreeReader::ReleaseName NewSuite{true, "suite", 0x00000200};

    void WriteSolution(MorvVersion version, MorvVersion game) const
    {
        const TreeWriter::SolutionConfiguration all{"all", {"game", "top"}};
        const std::string place = "server/MORV/solutions/suite/releases/" + FormatVersion(version) + "/";
        mTree.Write(place + "configurationmanifest", TreeWriter::BuildConfigurationManifest(all));
        mTree.Write(
            place + "solutionmanifest",
            TreeWriter::BuildSolutionManifest({"suite", version, {{"game", game, 10}, {"top", First, 20}}, {all}}));
    }

    void WriteBundle() const
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

    void Apply(const DeliveryHooks &hooks) const
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

    void FetchNamed(const TreeReader::ReleaseName &name) const
    {
        Delivery::FetchRequest request = Request();
        request.wanted = name;
        FetchFrom(Server(), request);
    }

    /// What the old ones are served from stays as it is.
    void DamageTheNew() const
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

    std::string DirectoryOf(const TreeReader::ReleaseName &name) const
    {
        const TreeReader::TreePlaces places(Client());
        return (name.isSolution ? places.Solution(name.name, name.version) : places.Release(name.name, name.version))
            .string();
    }

    FileContents WithTop(FileContents files) const
    {
        for (const auto &[path, content] : mTopFiles)
        {
            files[path] = content;
        }
        return files;
    }

    /// Every byte, through the library.
    void ExpectReads(const TreeReader::ReleaseName &name, const FileContents &files) const
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

    const FileContents mOldFiles{{"x.a", "old stored"},  {"x.z", "old packed"}, {"x.l", "old lzma"},
                                 {"x.m", "old managed"}, {"x.n", "old naked"},  {"d/same.z", "the same"}};
    const FileContents mNewFiles{{"x.a", "new stored"},  {"x.z", "new packed"}, {"x.l", "new lzma"},
                                 {"x.m", "new managed"}, {"x.n", "new naked"},  {"d/same.z", "the same"}};
    const FileContents mTopFiles{{"x.n", "of the project on top"}, {"t.z", "only there"}};
};
} // namespace Keld::Test
