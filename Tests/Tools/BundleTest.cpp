#include "Tools/CheckedTree.h"
#include "Tools/TreeSnapshot.h"

#include "Support/HexDump.h"
#include "Support/KilledChild.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Bundles/BundleApplication.h"
#include "Tools/Delivery/Bundles/BundleStream.h"
#include "Tools/Delivery/Bundles/BundleWriter.h"
#include "Tools/Delivery/Sums/ShipList.h"

#include <filesystem>

#include <fcntl.h>

namespace Keld::Test
{
namespace
{
using Delivery::ApplyReport;
using Delivery::ApplyRequest;
using Delivery::BundleHead;
using Delivery::BundleOutput;
using Delivery::ShipList;
using TreeReader::ReleaseName;
using TreeReader::TreeError;

const ReleaseName GameFirst{false, "game", First};
const ReleaseName GameSecond{false, "game", Second};

struct TarFile
{
    std::string name;
    std::string bytes;
};

std::string MakeTar(const std::vector<TarFile> &files)
{
    std::string tar;
    const Delivery::BundleSink sink = [&tar](std::string_view bytes)
    {
        tar += bytes;
    };
    BundleOutput output(sink);
    for (const TarFile &file : files)
    {
        output.Begin(file.name, file.bytes.size());
        output.Write(file.bytes);
    }
    output.Close();
    return tar;
}

/// Bundles between the tree of the fixture and a second one, "client/MORV".
class BundleTest : public CheckedTree
{
protected:
    BundleTest() { mTree.MakeDirectory("client/MORV"); }

    std::string Bundle(const ReleaseName &target, const ReleaseName *base = nullptr) const
    {
        Delivery::BundleRequest request;
        request.target = {mTree.Path("MORV"), target};
        if (base != nullptr)
        {
            request.base = {mTree.Path("MORV"), *base};
        }
        std::string bytes;
        WriteBundle(request,
                    [&bytes](std::string_view more)
                    {
                        bytes += more;
                    });
        return bytes;
    }

    ApplyReport Apply(
        const std::string &bundle, const std::function<void()> &step = [] {},
        const std::function<void(uint64)> &advance = [](uint64) {}) const
    {
        const std::string path = mTree.Write("bundle", bundle);
        const Common::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        ApplyRequest request;
        request.root = mTree.Path("client/MORV");
        request.bundle = file.Get();
        request.bundleName = "the bundle";
        request.sync = false;
        request.step = step;
        request.calls.advance = advance;
        return ApplyBundle(request);
    }

    std::string Refusal(const std::string &bundle) const
    {
        try
        {
            Apply(bundle);
        }
        catch (const TreeError &error)
        {
            return error.what();
        }
        return "";
    }

    /// Refuses it, and leaves the tree as it is.
    void ExpectRefused(const std::string &bundle, const std::string &reason) const
    {
        const TreeSnapshot before = TakeSnapshot(mTree.Path("client"));
        const std::string refusal = Refusal(bundle);
        EXPECT_NE(refusal.find(reason), std::string::npos) << refusal;
        // The time of the root's last change is that of the staging directory, which came and went.
        TreeSnapshot after = TakeSnapshot(mTree.Path("client"));
        ASSERT_EQ(after.size(), before.size());
        for (const auto &[path, state] : before)
        {
            const bool isDirectory = std::filesystem::is_directory(path);
            EXPECT_TRUE(isDirectory || after[path] == state) << path;
        }
    }

    /// The release in the client's tree, read and checked in full.
    void ExpectWhole(const ReleaseName &name) const
    {
        TreeReader::Tree tree(mTree.Path("client/MORV"));
        const TreeChecker::CheckReport report = TreeChecker::CheckTree(tree, {name}, {});
        EXPECT_TRUE(report.IsWhole()) << name.GetText() << ": " << report.faults.front().fault.GetMessage();
    }

    bool IsSeen(const ReleaseName &name) const
    {
        return mTree.Exists("client/MORV/projects/" + name.name + "/releases/" + FormatVersion(name.version) +
                            "/releasemanifest");
    }

    /// A bundle of one naked file "a" and whatever else the caller likes; well formed where nothing is changed.
    struct Handmade
    {
        std::string head = "morv bundle 1\ntarget p/1.0.0.0\nbase none\nfiles 2 3\n" + File + "\n" + Manifest + "\n";
        std::string list =
            ShipList({false, "p", First}, {{File, 1, Delivery::SumOf("a")}, {Manifest, 2, Delivery::SumOf("mm")}})
                .GetText();
        std::vector<TarFile> files{{File, "a"}, {Manifest, "mm"}};

        static inline const std::string File = "projects/p/releases/1.0.0.0/deploy/a";
        static inline const std::string Manifest = "projects/p/releases/1.0.0.0/releasemanifest";

        std::string Tar() const
        {
            std::vector<TarFile> all{{"bundle", head}, {"shiplist", list}};
            all.insert(all.end(), files.begin(), files.end());
            return MakeTar(all);
        }
    };
};

std::string Replaced(std::string text, const std::string &before, const std::string &after)
{
    const std::size_t place = text.find(before);
    EXPECT_NE(place, std::string::npos) << before;
    return text.replace(place, before.size(), after);
}

TEST_F(BundleTest, TheHeadOfTheManualIsWhatIsWrittenAndRead)
{
    const std::string text = ReadTextBlock("Docs/Formats/Bundle.md", "morv bundle 1");
    const auto head = BundleHead::Parse(text, "head");
    ASSERT_TRUE(head) << head.GetFault().GetMessage();
    EXPECT_EQ(head->target, GameSecond);
    EXPECT_EQ(head->base, GameFirst);
    EXPECT_EQ(head->bytes, 145U);
    EXPECT_EQ(head->files.size(), 2U);
    EXPECT_EQ(head->GetText(), text);
}

TEST_F(BundleTest, AReleaseGoesFromNothingAndTheNextOneFromThat)
{
    const std::string whole = Bundle(GameFirst);
    const std::string delta = Bundle(GameSecond, &GameFirst);
    EXPECT_LT(delta.size(), whole.size());
    EXPECT_EQ(Bundle(GameSecond, &GameFirst), delta);
    ExpectRefused(delta, "this bundle leads from game 1.0.0.0 to game 1.0.0.1, and the tree does not have that base: ");
    EXPECT_GT(Apply(whole).files, 0U);
    ExpectWhole(GameFirst);
    EXPECT_FALSE(IsSeen(GameSecond));
    EXPECT_GT(Apply(delta).files, 0U);
    ExpectWhole(GameFirst);
    ExpectWhole(GameSecond);
    EXPECT_TRUE(mTree.Exists("client/MORV/projects/game/releases/1.0.0.1/shiplist"));
    EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
}

TEST_F(BundleTest, ASolutionBringsItsProjects)
{
    const ReleaseName suite{true, "suite", 0x00000100};
    Apply(Bundle(suite));
    ExpectWhole(suite);
    ExpectWhole(GameSecond);
    EXPECT_FALSE(IsSeen(GameFirst));
}

TEST_F(BundleTest, ApplyingTwiceDoesNothing)
{
    const std::string bundle = Bundle(GameFirst);
    Apply(bundle);
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
    const ApplyReport again = Apply(bundle);
    EXPECT_EQ(again.files, 0U);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
}

TEST_F(BundleTest, ABaseWithOtherBytesIsRefusedAndSoIsAFileThatIsInTheWay)
{
    const std::string delta = Bundle(GameSecond, &GameFirst);
    Apply(Bundle(GameFirst));
    const std::string data = "client/" + GameArchives + "files-0001.vka.dat";
    const std::string bytes = mTree.Read(data);
    Flip(data, bytes.size() / 2);
    ExpectRefused(delta, "files-0001.vka.dat has other bytes");
    mTree.Write(data, bytes + "x");
    ExpectRefused(delta, "files-0001.vka.dat has other bytes");
    mTree.Write(data, bytes);
    mTree.Write("client/MORV/projects/game/releases/1.0.0.1/releasemanifest", "of somebody else");
    ExpectRefused(delta, "releasemanifest: is here already with other bytes than in the bundle, and is not replaced");
}

TEST_F(BundleTest, KilledAtAnyStepTheReleaseIsWholeOrAbsentAndTheNextApplyEndsIt)
{
    const std::string bundle = Bundle(GameFirst);
    int step = 1;
    for (bool killed = true; killed; ++step)
    {
        SCOPED_TRACE(step);
        ASSERT_LT(step, 40);
        std::filesystem::remove_all(mTree.Path("client"));
        killed = IsKilledDoing(
            [&]
            {
                Apply(bundle, KillAtCall(step - 1));
            });
        EXPECT_EQ(IsSeen(GameFirst), !killed);
        Apply(bundle);
        ExpectWhole(GameFirst);
        EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
    }
    EXPECT_GT(step, 6);
}

TEST_F(BundleTest, NothingIsTakenOfAFileWhoseSizeIsNotTheListedOne)
{
    Handmade longer;
    longer.files[0].bytes = std::string(std::size_t(1) << 20, 'a');
    uint64 taken = 0;
    EXPECT_THROW(Apply(
                     longer.Tar(), [] {},
                     [&taken](uint64 bytes)
                     {
                         taken += bytes;
                     }),
                 TreeError);
    EXPECT_EQ(taken, 0U);
}

TEST_F(BundleTest, AnyFlippedBitIsRefusedOrHarmsNothing)
{
    const std::string bundle = Bundle(GameFirst);
    for (std::size_t offset = 7; offset < bundle.size(); offset += 211)
    {
        SCOPED_TRACE(offset);
        std::string changed = bundle;
        changed[offset] = static_cast<char>(changed[offset] ^ 0x20);
        if (Refusal(changed).empty())
        {
            ExpectWhole(GameFirst); // a byte between the files, or one of a time or an owner
        }
        else
        {
            EXPECT_FALSE(IsSeen(GameFirst));
        }
        std::filesystem::remove_all(mTree.Path("client"));
    }
}

TEST_F(BundleTest, ABundleThatWasCutOffIsRefused)
{
    const std::string bundle = Bundle(GameFirst);
    const std::size_t lastFile = bundle.rfind("releasemanifest");
    ASSERT_NE(lastFile, std::string::npos);
    for (std::size_t length = 0; length < lastFile; length += 509)
    {
        SCOPED_TRACE(length);
        EXPECT_NE(Refusal(bundle.substr(0, length)), "");
        EXPECT_FALSE(IsSeen(GameFirst));
    }
    EXPECT_FALSE(mTree.Exists("client/MORV/projects"));
}

TEST_F(BundleTest, HostileBundlesAreRefusedByName)
{
    ExpectRefused("", "is no bundle");
    ExpectRefused(mTree.Read("source/Data/naked.txt"), "is no bundle, or is damaged");
    ExpectRefused(MakeTar({{"readme", "x"}}), "is no bundle: it should begin with \"bundle\"");

    Handmade made;
    made.head = Replaced(made.head, "bundle 1", "bundle 2");
    ExpectRefused(made.Tar(), "line 1 is no head of a bundle of this version: it should be \"morv bundle 1\"");
    made = {};
    made.head = Replaced(made.head, "target p", "target ..");
    ExpectRefused(made.Tar(), "line 2 names no release");
    made = {};
    made.head = Replaced(made.head, Handmade::File, "projects/p/releases/1.0.0.0/deploy/../../../../../a");
    ExpectRefused(made.Tar(), "would leave the tree, or holds a name that is none");
    made = {};
    made.head = Replaced(made.head, Handmade::Manifest, Handmade::File);
    ExpectRefused(made.Tar(), "for the second time");
    made = {};
    made.head = Replaced(made.head, "files 2 3", "files 3 3");
    ExpectRefused(made.Tar(), "does not name as many files as its fourth line says");
    made = {};
    made.head = Replaced(made.head, "files 2 3", "files 2 4");
    ExpectRefused(made.Tar(), "contradicts itself");
    made = {};
    made.head = Replaced(made.head, "target p", "target q");
    ExpectRefused(made.Tar(), "contradicts itself");
    made = {};
    made.head = Replaced(Replaced(made.head, "files 2 3", "files 1 1"), Handmade::Manifest + "\n", "");
    ExpectRefused(made.Tar(), "contradicts itself"); // it says that it needs no base
    made = {};
    made.head = Replaced(made.head, "deploy/a", "deploy/b");
    ExpectRefused(made.Tar(), "carries a file that the release does not need: ");
    made = {};
    made.files[0].name = "projects/p/releases/1.0.0.0/deploy/../a";
    ExpectRefused(made.Tar(), "where its head says " + Handmade::File);
    made = {};
    made.files.push_back({"projects/p/releases/1.0.0.0/deploy/more", "x"});
    ExpectRefused(made.Tar(), "carries a file that its head does not name: ");
    made = {};
    made.files.pop_back();
    ExpectRefused(made.Tar(), "ends early: it lacks " + Handmade::Manifest);
    for (const char *bytes : {"b", "", "aa"})
    {
        made = {};
        made.files[0].bytes = bytes;
        ExpectRefused(made.Tar(), "is damaged: it does not carry " + Handmade::File + " as it was sent");
    }
    EXPECT_EQ(Refusal(Handmade().Tar()), "");
}

TEST_F(BundleTest, AnEntryThatIsNoPlainFileIsRefused)
{
    const std::string tar = Handmade().Tar();
    constexpr std::size_t typePlace = 156; // in the header of an entry
    for (const char type : {'1', '2', '3', '5', '6'})
    {
        std::string changed = tar;
        changed[typePlace] = type;
        unsigned sum = 0;
        for (std::size_t index = 0; index < 512; ++index)
        {
            const bool isSum = index >= 148 && index < 156;
            sum += isSum ? 32U : static_cast<unsigned char>(changed[index]);
        }
        char digits[8];
        std::snprintf(digits, sizeof digits, "%06o", sum);
        changed.replace(148, 7, std::string(digits, 7));
        ExpectRefused(changed, "the bundle: ");
    }
}
} // namespace
} // namespace Keld::Test
