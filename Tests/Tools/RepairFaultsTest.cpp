#include "Tools/FaultServer.h"
#include "Tools/RepairFixture.h"

#include <filesystem>
#include <functional>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::RepairReport;
using TreeReader::FaultKind;
using TreeReader::ReleaseName;

/// Where healing comes from. A directory tells all by itself; a server without lists does not tell which index is the
/// right one.
enum class Healer
{
    Directory,
    Server,
    ServerWithLists
};

/// Every kind of fault that a check can report, made in the client, and healed from the server.
class RepairFaultsTest : public RepairFixture, public testing::WithParamInterface<Healer>
{
protected:
    /// One way to damage a tree.
    struct Damage
    {
        FaultKind kind; ///< among those that a check reports then
        const char *what;
        std::function<void()> make;
        bool isInIndex = false; ///< which no manifest vouches for, so that a list is needed to heal it
    };

    void Cut(const std::string &path, std::size_t size) const { mTree.Write(path, mTree.Read(path).substr(0, size)); }

    std::vector<Damage> MakeDamages() const;
};

std::vector<RepairFaultsTest::Damage> RepairFaultsTest::MakeDamages() const
{
    const std::string managed = Place("game/managedfiles/1.0.0.0/Data/managed.bin");
    const std::string data = mArchives + "files-0001.vka.dat";
    return {
        {FaultKind::NotThere, "a managed file is lost",
         [=, this]
         {
             mTree.Remove(managed);
         }},
        {FaultKind::NotThere, "a data file is lost",
         [=, this]
         {
             mTree.Remove(data);
         }},
        {FaultKind::NotThere, "a manifest is lost",
         [this]
         {
             mTree.Remove(mFirst + "releasemanifest");
         }},
        {FaultKind::NotThere, "a directory is lost",
         [this]
         {
             mTree.Remove(mFirst + "deploy");
         }},
        {FaultKind::NotThere, "a link leads nowhere",
         [=, this]
         {
             mTree.Remove(managed);
             fs::create_symlink("nowhere", mTree.Path(managed));
         }},
        {FaultKind::WrongKind, "an empty directory in a file's place",
         [=, this]
         {
             mTree.Remove(managed);
             mTree.MakeDirectory(managed);
         }},
        {FaultKind::WrongKind, "a full directory in a file's place",
         [this]
         {
             mTree.Remove(mFirst + "deploy/Data/naked.txt");
             mTree.Write(mFirst + "deploy/Data/naked.txt/kept", "kept");
         }},
        {FaultKind::WrongKind, "a file in a directory's place",
         [this]
         {
             mTree.Remove(mFirst + "deploy/Data");
             mTree.Write(mFirst + "deploy/Data", "kept");
         }},
        {FaultKind::NoArchives, "a file in the place of all archives",
         [this]
         {
             mTree.Remove(Place("odd/filearchives/1.0.0.0"));
             mTree.Write(Place("odd/filearchives/1.0.0.0"), "kept");
         }},
        {FaultKind::BadManifest, "a manifest that was cut off",
         [this]
         {
             Cut(mFirst + "releasemanifest", 30);
         }},
        {FaultKind::BadSolution, "a solution without words",
         [this]
         {
             mTree.Write("client/" + Suite + "solutionmanifest", "nothing");
         }},
        {FaultKind::BadIndex, "an index that is none",
         [this]
         {
             Flip(mArchives + "files-0001.vka", 0);
         }},
        {FaultKind::EmptyIndex, "an index without bytes",
         [this]
         {
             WriteIndex(ArchiveImage().File("Aa", 0, 0).Image());
         }},
        {FaultKind::NotInArchives, "a directory in an index's place",
         [this]
         {
             mTree.Remove(mArchives + "lzma-0001.vka");
             mTree.MakeDirectory(mArchives + "lzma-0001.vka");
         }},
        {FaultKind::NoArchives, "no index at all",
         [this]
         {
             mTree.Remove(Place("odd/filearchives/1.0.0.0/files-0001.vka"));
         }},
        {FaultKind::NotInArchives, "an index less",
         [this]
         {
             mTree.Remove(mArchives + "lzma-0001.vka");
         }},
        {FaultKind::EndsEarly, "a data file that was cut off",
         [=, this]
         {
             Cut(data, 10);
         }},
        {FaultKind::WrongSize, "a naked file with more",
         [this]
         {
             const std::string naked = mFirst + "deploy/Data/naked.txt";
             mTree.Write(naked, mTree.Read(naked) + "more");
         }},
        {FaultKind::DamagedData, "no stream any more",
         [this]
         {
             const std::string lzma = mArchives + "lzma-0001.vka.dat";
             mTree.Write(lzma, std::string(mTree.Read(lzma).size(), '\xFF'));
         }},
        {FaultKind::WrongDigest, "a stored byte",
         [=, this]
         {
             Flip(data, PlaceOf(data, "Data/stored.raw line"));
         }},
        {FaultKind::WrongName, "another project's name",
         [this]
         {
             WriteManifest(OddManifest("other"));
         }},
        {FaultKind::UnsafeName, "a name that leaves the tree",
         [this]
         {
             WriteManifest(OddManifest().File("../x", Archived("con")));
         }},
        {FaultKind::DuplicateName, "two names that differ in case",
         [this]
         {
             WriteManifest(OddManifest().File("aA", Archived("con")));
         }},
        {FaultKind::Unreachable, "a root with a name",
         [this]
         {
             const std::string manifest = Place("odd/releases/1.0.0.0/releasemanifest");
             Flip(manifest, OddManifest().DirectoryOffset(0), 1); // the project's name
         }},
        {FaultKind::OtherSpelling, "an index that spells otherwise",
         [this]
         {
             WriteIndex(OddIndex("aa").Image());
         },
         true},
        {FaultKind::BadRecord, "a record without a path",
         [this]
         {
             WriteIndex(OddIndex().Image().Word(ArchiveImage::RecordOffset(0) + 12, 0xFFFFFFFF));
         },
         true},
        {FaultKind::Overlap, "records that share a part",
         [this]
         {
             WriteIndex(OddIndex("Aa", 2).Image());
         },
         true},
    };
}

/// Kinds of which no state of a tree is the cause, or none that a source could heal.
const std::set<FaultKind> KindsOfElsewhere{
    FaultKind::NoRelease,       // what a person named
    FaultKind::NotAllowed,      // in a test of its own, as the superuser is allowed everything
    FaultKind::UnreadableIndex, // in the same
    FaultKind::NoDescriptors,   // of the process
    FaultKind::ReadError,       // of the disk's hardware
    FaultKind::PathTooLong,     // of the place that the tree was put to
    FaultKind::UnusedData,      // a note
    FaultKind::NotReferred,     // a note
};

TEST_P(RepairFaultsTest, EveryKindOfFaultIsHealed)
{
    if (GetParam() == Healer::ServerWithLists)
    {
        Publish();
    }
    Split();
    const FaultServer server(mTree.Path("server/MORV"), [](const ServedRequest &, ServedAnswer &) {});
    const std::string source = GetParam() == Healer::Directory ? mTree.Path("server/MORV") : server.GetUrl();
    std::set<FaultKind> met = KindsOfElsewhere;
    for (const Damage &damage : MakeDamages())
    {
        SCOPED_TRACE(damage.what);
        Split();
        damage.make();
        const std::set<FaultKind> faults = FaultsOfClient();
        EXPECT_EQ(faults.count(damage.kind), 1U);
        met.insert(faults.begin(), faults.end());
        if (damage.isInIndex && GetParam() == Healer::Server)
        {
            continue;
        }
        const RepairReport report = Repair(source);
        for (const TreeReader::Fault &fault : report.remaining)
        {
            ADD_FAILURE() << fault.GetMessage();
        }
        ExpectSameFiles();
        EXPECT_EQ(FaultsOfClient(), std::set<FaultKind>());
    }
    for (int kind = 0; kind <= static_cast<int>(FaultKind::NotReferred); ++kind)
    {
        EXPECT_EQ(met.count(static_cast<FaultKind>(kind)), 1U) << NameOf(static_cast<FaultKind>(kind));
    }
}

INSTANTIATE_TEST_SUITE_P(EverySource, RepairFaultsTest,
                         testing::Values(Healer::Directory, Healer::Server, Healer::ServerWithLists));
} // namespace
} // namespace Keld::Test
