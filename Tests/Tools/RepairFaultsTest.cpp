#include "Tools/CheckedTree.h"
#include "Tools/FaultServer.h"
#include "Tools/TreeSnapshot.h"

#include "Support/ArchiveImage.h"

#include "Tools/Delivery/OpenSource.h"
#include "Tools/Delivery/Publication.h"
#include "Tools/Delivery/Repair.h"

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <set>

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::RepairReport;
using TreeReader::FaultKind;
using TreeReader::ReleaseName;

ArchiveImage OddIndex(const std::string &first = "Aa", std::uint32_t second = 3)
{
    ArchiveImage index;
    index.File(first, 0, 3).File("Bb", second, 4).File("Cc", 0, 3).File("Dd", 3, 4);
    return index;
}

/// Every kind of fault that a check can report, made in "client", and healed from "server".
class RepairFaultsTest : public CheckedTree
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

    RepairFaultsTest()
    {
        setenv("no_proxy", "127.0.0.1", 1);
        mTree.Write("MORV/" + Odd + "releases/1.0.0.0/releasemanifest", OddManifest().Bytes());
        mTree.Write("MORV/" + Odd + "filearchives/1.0.0.0/files-0001.vka", OddIndex().Bytes());
        mTree.Write("MORV/" + Odd + "filearchives/1.0.0.0/files-0001.vka.dat", "content");
        mTree.MakeDirectory("MORV/" + Odd + "releases/1.0.0.0/deploy");
    }

    static ManifestImage OddManifest(const std::string &project = "odd")
    {
        ManifestImage manifest(project);
        manifest.File("Aa", Archived("con")).File("Bb", Archived("tent"));
        manifest.File("Cc", Archived("con")).File("Dd", Archived("tent"));
        return manifest;
    }

    void Publish() const
    {
        Delivery::PublishRequest request;
        request.root = mTree.Path("MORV");
        request.releases = mReleases;
        request.sync = false;
        Delivery::PublishShipLists(request);
    }

    void Split() const
    {
        for (const std::string place : {"server", "client"})
        {
            fs::remove_all(mTree.Path(place));
            mTree.MakeDirectory(place);
            fs::copy(mTree.Path("MORV"), mTree.Path(place + "/MORV"), fs::copy_options::recursive);
        }
    }

    std::set<FaultKind> FaultsOfClient() const
    {
        TreeReader::Tree tree(mTree.Path("client/MORV"));
        std::set<FaultKind> kinds;
        for (const TreeChecker::Finding &finding : TreeChecker::CheckTree(tree, mReleases, {}).faults)
        {
            kinds.insert(finding.fault.kind);
        }
        return kinds;
    }

    RepairReport Repair(const std::string &source) const
    {
        const auto opened = Delivery::OpenSource(source, "/", {});
        Delivery::RepairRequest request;
        request.root = mTree.Path("client/MORV");
        request.releases = mReleases;
        request.source = opened.get();
        request.sync = false;
        return Delivery::Repair(request);
    }

    /// Every file of the source is here, with the same bytes, but for what only one of both has a list of.
    void ExpectSameFiles() const
    {
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(mTree.Path("server/MORV")))
        {
            if (entry.is_regular_file())
            {
                const std::string path = fs::relative(entry.path(), mTree.Path("server"));
                EXPECT_EQ(mTree.Read("client/" + path), mTree.Read("server/" + path)) << path;
            }
        }
        EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
    }

    std::string Place(const std::string &path) const { return "client/MORV/projects/" + path; }

    void Cut(const std::string &path, std::size_t size) const { mTree.Write(path, mTree.Read(path).substr(0, size)); }

    void WriteManifest(const ManifestImage &manifest) const
    {
        mTree.Write(Place("odd/releases/1.0.0.0/releasemanifest"), manifest.Bytes());
    }

    void WriteIndex(const ByteImage &index) const
    {
        mTree.Write(Place("odd/filearchives/1.0.0.0/files-0001.vka"), index.Bytes());
    }

    std::vector<Damage> MakeDamages() const;

    static inline const std::string Odd = "projects/odd/";
    const std::string mFirst = Place("game/releases/1.0.0.0/");
    const std::string mArchives = Place("game/filearchives/1.0.0.0/");
    const std::vector<ReleaseName> mReleases{{false, "game", First},
                                             {false, "game", Second},
                                             {false, "extra", First},
                                             {false, "odd", First},
                                             {true, "suite", 0x00000100}};
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

TEST_F(RepairFaultsTest, EveryKindOfFaultIsHealedFromEverySourceThatCan)
{
    std::set<FaultKind> met = KindsOfElsewhere;
    for (const bool isPublished : {false, true})
    {
        if (isPublished)
        {
            Publish();
        }
        for (const Damage &damage : MakeDamages())
        {
            for (const bool isServed : {false, true})
            {
                // A directory tells all by itself; a server without lists does not tell which index is the right one.
                const bool canHeal = isServed ? isPublished || !damage.isInIndex : !isPublished;
                if (!canHeal)
                {
                    continue;
                }
                SCOPED_TRACE(std::string(damage.what) + (isPublished ? ", with lists" : "") +
                             (isServed ? ", from a server" : ""));
                Split();
                damage.make();
                const std::set<FaultKind> faults = FaultsOfClient();
                EXPECT_EQ(faults.count(damage.kind), 1U);
                met.insert(faults.begin(), faults.end());
                const FaultServer server(mTree.Path("server/MORV"), [](const ServedRequest &, ServedAnswer &) {});
                const RepairReport report = Repair(isServed ? server.GetUrl() : mTree.Path("server/MORV"));
                EXPECT_TRUE(report.IsWhole()) << report.remaining.front().GetMessage();
                ExpectSameFiles();
                EXPECT_EQ(FaultsOfClient(), std::set<FaultKind>());
            }
        }
    }
    for (int kind = 0; kind <= static_cast<int>(FaultKind::NotReferred); ++kind)
    {
        EXPECT_EQ(met.count(static_cast<FaultKind>(kind)), 1U) << NameOf(static_cast<FaultKind>(kind));
    }
}

TEST_F(RepairFaultsTest, WhatStoodInTheWayIsPutAsideAndTold)
{
    Split();
    mTree.Remove(mFirst + "deploy/Data/naked.txt");
    mTree.Write(mFirst + "deploy/Data/naked.txt/kept", "kept");
    mTree.Write(mFirst + "deploy/Data/naked.txt.aside", "of before");
    const RepairReport report = Repair(mTree.Path("server/MORV"));
    EXPECT_EQ(mTree.Read(mFirst + "deploy/Data/naked.txt.aside-2/kept"), "kept");
    EXPECT_EQ(mTree.Read(mFirst + "deploy/Data/naked.txt.aside"), "of before");
    ASSERT_EQ(report.notes.size(), 1U);
    EXPECT_NE(report.notes[0].find("projects/game/releases/1.0.0.0/deploy/Data/naked.txt was in the way"),
              std::string::npos)
        << report.notes[0];
}

TEST_F(RepairFaultsTest, AFileThatALinkLeadsToIsAsGoodAsAnyOther)
{
    Publish();
    Split();
    const std::string managed = Place("game/managedfiles/1.0.0.0/Data/managed.bin");
    fs::rename(mTree.Path(managed), mTree.Path("elsewhere"));
    fs::create_symlink(mTree.Path("elsewhere"), mTree.Path(managed));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
    EXPECT_EQ(Repair(mTree.Path("server/MORV")).broughtFiles, 0U);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
}

TEST_F(RepairFaultsTest, AReleaseThatIsWholeIsNotTakenForADamagedOneOfTheSameVersion)
{
    Split();
    WriteManifest(ManifestImage("odd").File("Aa", Archived("con")));
    ASSERT_EQ(FaultsOfClient(), std::set<FaultKind>());
    const FaultServer server(mTree.Path("server/MORV"), [](const ServedRequest &, ServedAnswer &) {});
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
    for (const std::string &source : {mTree.Path("server/MORV"), server.GetUrl()})
    {
        std::string refusal;
        try
        {
            Repair(source);
        }
        catch (const TreeReader::TreeError &error)
        {
            refusal = error.what();
        }
        EXPECT_NE(refusal.find("odd 1.0.0.0"), std::string::npos) << refusal;
        EXPECT_NE(refusal.find("another"), std::string::npos) << refusal;
        EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
    }
}

TEST_F(RepairFaultsTest, FilesThatCannotBeReadAreHealed)
{
    Split();
    const std::vector<std::string> closed{Place("game/managedfiles/1.0.0.0/Data/managed.bin"),
                                          mArchives + "files-0001.vka", mFirst + "releasemanifest"};
    for (const std::string &path : closed)
    {
        fs::permissions(mTree.Path(path), fs::perms::none);
    }
    const pid_t child = fork();
    if (child == 0)
    {
        // The superuser may read everything; somebody else may not.
        constexpr unsigned nobody = 65534;
        if (geteuid() == 0)
        {
            const std::string give = "chown -R 65534:65534 '" + mTree.Root() + "'";
            if (std::system(give.c_str()) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)
            {
                _exit(2);
            }
        }
        const std::set<FaultKind> faults = FaultsOfClient();
        const bool isMet = faults.count(FaultKind::NotAllowed) == 1 && faults.count(FaultKind::UnreadableIndex) == 1;
        _exit(isMet && Repair(mTree.Path("server/MORV")).IsWhole() && FaultsOfClient().empty() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ExpectSameFiles();
}
} // namespace
} // namespace Keld::Test
