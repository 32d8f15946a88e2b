#include "Tools/CheckedTree.h"

#include "Support/ArchiveImage.h"
#include "Support/AsNobody.h"
#include "Support/ManifestImage.h"

#include "Tools/ArchiveListing.h"
#include "Tools/TreeReader/ContentDigest.h"

#include <filesystem>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeChecker::CheckReport;

constexpr const char *AllOfGame = "game 1.0.0.0, game 1.0.0.1, solution suite 0.0.1.0";
constexpr const char *SecondAndSuite = "game 1.0.0.1, solution suite 0.0.1.0";

class TreeCheckTest : public CheckedTree
{
protected:
    const std::string Index = GameArchives + "files-0001.vka";
    const std::string Data = Index + ".dat";
    const std::string LzmaIndex = GameArchives + "lzma-0001.vka";

    std::string TextOf(const CheckReport &report, std::size_t fault = 0) const
    {
        return fault < report.faults.size() ? report.faults[fault].fault.text : "";
    }

    TreeWriter::ArchivedFile EntryOf(const std::string &index, const std::string &path) const
    {
        for (const TreeWriter::ArchivedFile &entry : ReadArchiveIndex(mTree.Path(index)))
        {
            if (entry.path == path)
            {
                return entry;
            }
        }
        ADD_FAILURE() << path << " is not in the index";
        return {};
    }

    /// A release of the project "odd", whose manifest and archive are written by hand.
    void WriteOdd(const ManifestImage &manifest, const ByteImage &index, const std::string &data) const
    {
        mTree.Write("MORV/projects/odd/releases/1.0.0.0/releasemanifest", manifest.Bytes());
        mTree.Write("MORV/projects/odd/filearchives/1.0.0.0/a.vka", index.Bytes());
        mTree.Write("MORV/projects/odd/filearchives/1.0.0.0/a.vka.dat", data);
    }

    std::vector<std::string> OddFaults() const
    {
        const CheckReport report = CheckOnly({{false, "odd", First}});
        return Describe(report, report.faults);
    }

    std::vector<std::string> OddNotes() const
    {
        const CheckReport report = CheckOnly({{false, "odd", First}});
        return Describe(report, report.notes);
    }
};

TEST_F(TreeCheckTest, AWholeTreeHasNoFaultAndEachRangeIsMetOnce)
{
    const CheckReport report = Check();
    EXPECT_TRUE(report.IsWhole()) << Describe(report, report.faults).front();
    EXPECT_EQ(Describe(report, report.notes), std::vector<std::string>());
    EXPECT_EQ(report.releases.size(), 4U);
    EXPECT_EQ(report.files, 7U + 8U + 2U);
    // Of the second release only what is naked, what changed and what is new; the twins share one range.
    EXPECT_EQ(report.ranges, 6U + 3U + 2U);
    EXPECT_EQ(report.archives, 5U); // LZMA has archives of its own
    EXPECT_GT(report.contentBytes, report.storedBytes);
}

TEST_F(TreeCheckTest, TheNumberOfThreadsChangesNothing)
{
    Flip(Data, 5);
    Flip(GameReleases + "1.0.0.0/deploy/Data/naked.txt", 5);
    TreeReader::Tree tree(mTree.Path("MORV"));
    TreeChecker::CheckOptions options;
    options.threadCount = 4;
    const CheckReport report = TreeChecker::CheckWholeTree(tree, options);
    ExpectFaults(Describe(report, report.faults));
    EXPECT_EQ(report.faults.size(), 2U);
}

TEST_F(TreeCheckTest, AFaultNamesAllPathsAndReleasesThatUseTheBytes)
{
    const TreeWriter::ArchivedFile zlib = EntryOf(Index, "Data/deep/packed.z");
    Flip(Data, zlib.offset + zlib.size / 2);
    const TreeWriter::ArchivedFile lzma = EntryOf(LzmaIndex, "packed.l");
    Flip(LzmaIndex + ".dat", lzma.offset + lzma.size / 2);
    const CheckReport report = Check();
    const std::string archives = "game/filearchives/1.0.0.0/";
    EXPECT_EQ(Describe(report, report.faults),
              std::vector<std::string>(
                  {"damaged-data " + archives + "files-0001.vka.dat|Data/deep/packed.z twin.z |" + AllOfGame,
                   "damaged-data " + archives + "lzma-0001.vka.dat|packed.l |" + AllOfGame}));
    EXPECT_GT(report.faults[0].fault.size, 0U);
    EXPECT_EQ(report.faults[0].archive, mTree.Path(Index));
    EXPECT_EQ(report.faults[0].storage, TreeReader::Storage::Archive);
}

TEST_F(TreeCheckTest, StoredContentIsHeldAgainstItsDigestUnlessQuick)
{
    Flip(Data, PlaceOf(Data, "Data/stored.raw line"));
    Flip("MORV/projects/game/managedfiles/1.0.0.0/Data/managed.bin", 3);
    ExpectFaults({}, false);
    // The second release has a stored file of its own.
    ExpectFaults(
        {"wrong-digest game/filearchives/1.0.0.0/files-0001.vka.dat|Data/stored.raw |game 1.0.0.0",
         std::string("wrong-digest game/managedfiles/1.0.0.0/Data/managed.bin|Data/managed.bin |") + AllOfGame});
}

TEST_F(TreeCheckTest, QuickTellsManifestsThatContradictEachOther)
{
    const std::string manifest = GameReleases + "1.0.0.1/releasemanifest";
    const TreeReader::Digest digest = File("Data/managed.bin").digest;
    Flip(manifest, PlaceOf(manifest, std::string(digest.begin(), digest.end())));
    ASSERT_EQ(Check(false).faults.size(), 1U);
    EXPECT_NE(TextOf(Check(false)).find("is to be another content for these releases than for game 1.0.0."),
              std::string::npos);
    ExpectFaults(
        {std::string("wrong-digest game/managedfiles/1.0.0.0/Data/managed.bin|Data/managed.bin |") + SecondAndSuite});
}

TEST_F(TreeCheckTest, MissingFilesOfAllStoragesAreTold)
{
    mTree.Remove(GameReleases + "1.0.0.1/deploy/Data/naked.txt");
    mTree.Remove("MORV/projects/game/managedfiles/1.0.0.0/Data/managed.bin");
    mTree.Remove(Data);
    ExpectFaults(
        {std::string("not-there game/filearchives/1.0.0.0/files-0001.vka.dat|Data/deep/packed.z Data/stored.raw "
                     "nothing.raw twin.z |") +
             AllOfGame,
         std::string("not-there game/managedfiles/1.0.0.0/Data/managed.bin|Data/managed.bin |") + AllOfGame,
         std::string("not-there game/releases/1.0.0.1/deploy/Data/naked.txt|Data/naked.txt |") + SecondAndSuite},
        false);
}

TEST_F(TreeCheckTest, AnIndexThatTheLibraryWouldDeleteIsToldOnce)
{
    Flip(LzmaIndex, 0);
    const std::string directory = "game/filearchives/1.0.0.0";
    ExpectFaults({"not-in-archives " + directory + "|packed.l |" + AllOfGame,
                  "bad-index " + directory + "/lzma-0001.vka||" + AllOfGame});
    Flip(Index, 0);
    ExpectFaults(
        {"no-archives " + directory + "|Data/deep/packed.z Data/stored.raw nothing.raw packed.l twin.z |" + AllOfGame,
         "bad-index " + directory + "/files-0001.vka||" + AllOfGame,
         "bad-index " + directory + "/lzma-0001.vka||" + AllOfGame});
    EXPECT_TRUE(mTree.Exists(LzmaIndex));
    EXPECT_TRUE(mTree.Exists(Index));
}

TEST_F(TreeCheckTest, SizesOnDiskMustBeThoseOfTheManifest)
{
    const std::string naked = GameReleases + "1.0.0.0/deploy/Data/naked.txt";
    mTree.Write(naked, mTree.Read(naked) + "more");
    mTree.Write(Data, mTree.Read(Data).substr(0, 10));
    const CheckReport report = Check(false);
    const std::vector<std::string> faults = Describe(report, report.faults);
    EXPECT_EQ(faults.back(), "wrong-size game/releases/1.0.0.0/deploy/Data/naked.txt|Data/naked.txt |game 1.0.0.0");
    EXPECT_EQ(faults.front().find("ends-early game/filearchives/1.0.0.0/files-0001.vka.dat|"), 0U) << faults.front();
}

TEST_F(TreeCheckTest, AManifestThatNamesAnotherReleaseIsTold)
{
    fs::copy(mTree.Path("MORV/projects/extra"), mTree.Path("MORV/projects/copy"), fs::copy_options::recursive);
    fs::rename(mTree.Path("MORV/projects/copy/releases/1.0.0.0"), mTree.Path("MORV/projects/copy/releases/2.0.0.0"));
    ExpectFaults({"wrong-name copy/releases/2.0.0.0/releasemanifest||copy 2.0.0.0",
                  "wrong-name copy/releases/2.0.0.0/releasemanifest||copy 2.0.0.0"});
}

TEST_F(TreeCheckTest, ADamagedManifestIsAFaultOfAllThatNeedIt)
{
    mTree.Write("MORV/projects/extra/releases/1.0.0.0/releasemanifest", "QVMF");
    ExpectFaults({"bad-manifest extra/releases/1.0.0.0/releasemanifest||extra 1.0.0.0, solution suite 0.0.1.0"});
    mTree.Write(Suite + "configurationmanifest", "nothing");
    EXPECT_EQ(Check().faults.size(), 2U);
    EXPECT_EQ(CheckOnly({{true, "suite", 0x00000100}}).faults.size(), 1U);
}

TEST_F(TreeCheckTest, NamesThatLeaveTheTreeAreTold)
{
    mTree.Write("MORV/projects/odd/releases/1.0.0.0/releasemanifest",
                ManifestImage("odd").File("../x").File("a/b/../c").Bytes());
    mTree.Write("MORV/projects/odd/releases/1.0.0.0/x", "");
    const CheckReport report = CheckOnly({{false, "odd", First}});
    std::vector<std::string> texts;
    for (const auto &fault : report.faults)
    {
        if (fault.fault.kind == TreeReader::FaultKind::UnsafeName)
        {
            texts.push_back(fault.files.front() + ": " + fault.fault.text);
        }
    }
    EXPECT_EQ(texts, std::vector<std::string>({"..: holds a name that leads out of the tree: \"..\"",
                                               "a/b/..: holds a name that leads out of the tree: \"..\""}));
}

TEST_F(TreeCheckTest, NamesThatDifferInCaseAloneAreTold)
{
    const std::string content = "content";
    WriteOdd(ManifestImage("odd").File("a/Same", Archived(content)).File("a/same", Archived(content)),
             ArchiveImage().File("a/Same", 0, 7).Image(), content);
    EXPECT_EQ(OddFaults().back(), "duplicate-name odd/releases/1.0.0.0/releasemanifest|a/Same a/same |odd 1.0.0.0");
}

TEST_F(TreeCheckTest, AnIndexOutOfOrderIsTold)
{
    const std::string content = "content";
    const ByteImage good = ArchiveImage().File("a", 0, 3).File("b", 3, 4).Image();
    WriteOdd(ManifestImage("odd").File("a", Archived("con")).File("b", Archived("tent")), good, content);
    EXPECT_EQ(OddFaults(), std::vector<std::string>());

    std::string bytes = good.Bytes();
    std::swap_ranges(bytes.begin() + 24, bytes.begin() + 40, bytes.begin() + 40);
    mTree.Write("MORV/projects/odd/filearchives/1.0.0.0/a.vka", bytes);
    const std::vector<std::string> faults = OddFaults();
    EXPECT_NE(std::find(faults.begin(), faults.end(), "bad-record odd/filearchives/1.0.0.0/a.vka|a |odd 1.0.0.0"),
              faults.end());
}

TEST_F(TreeCheckTest, RangesMayBeSharedWholeButNotInPart)
{
    const std::string content = "content";
    WriteOdd(ManifestImage("odd").File("a", Archived("cont")).File("b", Archived("cont")),
             ArchiveImage().File("a", 0, 4).File("b", 0, 4).Image(), content);
    EXPECT_EQ(OddFaults(), std::vector<std::string>());
    WriteOdd(ManifestImage("odd").File("a", Archived("cont")).File("b", Archived("tent")),
             ArchiveImage().File("a", 0, 4).File("b", 3, 4).Image(), content);
    EXPECT_EQ(OddFaults(), std::vector<std::string>({"overlap odd/filearchives/1.0.0.0/a.vka.dat|a b |odd 1.0.0.0"}));
    WriteOdd(ManifestImage("odd").File("a", Archived("cont")), ArchiveImage().File("a", 4, 4).Image(), content);
    EXPECT_EQ(OddFaults(), std::vector<std::string>({"ends-early odd/filearchives/1.0.0.0/a.vka.dat|a |odd 1.0.0.0"}));
}

TEST_F(TreeCheckTest, ARecordWithoutAPathOrWithTheWrongHashIsTold)
{
    const std::string content = "content";
    ByteImage index = ArchiveImage().File("a", 0, 3).File("b", 3, 4).Image();
    index.Word(24 + 12, 0xFFFFFFFF); // matches every name of its hash
    WriteOdd(ManifestImage("odd").File("a", Archived("con")).File("b", Archived("tent")), index, content);
    EXPECT_EQ(OddFaults(), std::vector<std::string>({"bad-record odd/filearchives/1.0.0.0/a.vka||odd 1.0.0.0"}));
    index.Word(24 + 12, 0).Word(24, 5);
    WriteOdd(ManifestImage("odd").File("a", Archived("con")).File("b", Archived("tent")), index, content);
    EXPECT_EQ(OddFaults(), std::vector<std::string>({"not-in-archives odd/filearchives/1.0.0.0|a |odd 1.0.0.0",
                                                     "bad-record odd/filearchives/1.0.0.0/a.vka|a |odd 1.0.0.0"}));
}

TEST_F(TreeCheckTest, AnotherSpellingIsAFaultWhereItIsRareAndANoteWhereItIsAStyle)
{
    ManifestImage manifest("odd");
    ArchiveImage index;
    for (const std::string name : {"Aa", "Bb", "Cc", "Dd"})
    {
        manifest.File(name, Archived("x"));
        index.File(name == "Aa" ? "aa" : name, 0, 1);
    }
    WriteOdd(manifest, index.Image(), "x");
    EXPECT_EQ(OddFaults(), std::vector<std::string>({"other-spelling odd/filearchives/1.0.0.0/a.vka|Aa |odd 1.0.0.0"}));
    WriteOdd(ManifestImage("odd").File("Aa", Archived("x")), ArchiveImage().File("aa", 0, 1).Image(), "x");
    EXPECT_EQ(OddFaults(), std::vector<std::string>());
    EXPECT_EQ(OddNotes(), std::vector<std::string>({"other-spelling odd/filearchives/1.0.0.0/a.vka||"}));
}

TEST_F(TreeCheckTest, WhatNobodyLooksAtIsANote)
{
    ManifestFile file = Archived("x");
    file.flags |= 0x80;
    WriteOdd(ManifestImage("odd").File("a", file), ArchiveImage().File("a", 0, 1).Image(), "x");
    EXPECT_EQ(OddFaults(), std::vector<std::string>());
    EXPECT_EQ(OddNotes(),
              std::vector<std::string>({"unused-data odd/releases/1.0.0.0/releasemanifest|a |odd 1.0.0.0"}));

    Flip(LzmaIndex + ".dat", EntryOf(LzmaIndex, "packed.l").offset + 3);
    const CheckReport report = CheckOnly({{false, "game", First}});
    EXPECT_TRUE(report.IsWhole());
    EXPECT_EQ(
        Describe(report, report.notes),
        std::vector<std::string>({"unused-data game/filearchives/1.0.0.0/lzma-0001.vka.dat|packed.l |game 1.0.0.0"}));
}

TEST_F(TreeCheckTest, WhatNothingRefersToIsANote)
{
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/lost.vka.dat", "12345");
    mTree.Write("MORV/projects/game/managedfiles/0.9.0.0/a/b", "1");
    mTree.Write("MORV/projects/game/managedfiles/0.9.0.0/a/c", "22");
    mTree.MakeDirectory("MORV/projects/game/empty");
    fs::remove_all(mTree.Path("MORV/projects/game/releases/1.0.0.0"));
    const CheckReport report = Check();
    EXPECT_TRUE(report.IsWhole());
    EXPECT_EQ(Describe(report, report.notes),
              std::vector<std::string>({"not-referred game/filearchives/1.0.0.0/files-0001.vka|Data/stored.raw |",
                                        "not-referred game/filearchives/1.0.0.0/lost.vka.dat||",
                                        "not-referred game/managedfiles/0.9.0.0||"}));
    EXPECT_EQ(report.notes.back().fault.text, "nothing refers to this directory: 2 files, 3 bytes");
    // Asked for one release alone, nobody knows what the others need.
    EXPECT_TRUE(CheckOnly({{false, "game", Second}}).notes.empty());
}

TEST_F(TreeCheckTest, WhatCannotBeLookedAtIsAFaultAndTheRestIsChecked)
{
    const std::string extra = mTree.Path("MORV/projects/extra");
    const std::string release = mTree.Path(GameReleases + "1.0.0.0");
    mTree.Write("MORV/projects/game/managedfiles/0.9.0.0/a", "1");
    mTree.MakeDirectory("MORV/projects/game/managedfiles/0.9.0.0/closed");
    const std::string stray = mTree.Path("MORV/projects/game/managedfiles/0.9.0.0");
    fs::permissions(mTree.Root(), fs::perms(0755));
    for (const std::string &closed : {extra, release, stray + "/closed"})
    {
        fs::permissions(closed, fs::perms(0));
    }
    {
        const AsNobody nobody;
        const CheckReport report = Check();
        EXPECT_EQ(
            Describe(report, report.faults),
            std::vector<std::string>({"not-allowed extra/releases||",
                                      "not-allowed extra/releases/1.0.0.0/releasemanifest||solution suite 0.0.1.0",
                                      "not-allowed game/releases/1.0.0.0/releasemanifest||"}));
        EXPECT_GT(report.ranges, 0U);
        std::vector<std::string> notes;
        for (const TreeChecker::Finding &note : report.notes)
        {
            notes.push_back(note.fault.GetMessage());
        }
        const auto tells = [&notes](const std::string &text)
        {
            return std::find(notes.begin(), notes.end(), text) != notes.end();
        };
        EXPECT_TRUE(tells(stray + ": nothing refers to this directory: at least 1 file, 1 bytes"));
        EXPECT_TRUE(
            tells(stray + ": cannot be looked through: " + stray + "/closed: cannot be read: permission denied"));
        EXPECT_TRUE(tells(extra + ": cannot be looked through: " + extra + ": cannot be read: permission denied"));
    }
    for (const std::string &closed : {extra, release, stray + "/closed"})
    {
        fs::permissions(closed, fs::perms(0755));
    }
}

TEST_F(TreeCheckTest, RecordsThatShareOneHugePathAreNotToldAtThatLength)
{
    constexpr std::size_t records = 200;
    ArchiveImage index;
    index.File("a", 0, 1).File(std::string(5000, 'n'), 0, 1);
    for (std::size_t number = 2; number < records; ++number)
    {
        index.File("f" + std::to_string(number), 0, 1);
    }
    ByteImage image = index.Image();
    for (std::size_t record = 0; record < records; ++record)
    {
        const std::size_t pathIndex = ArchiveImage::RecordOffset(record) + 12;
        const bool isOwn = index.Bytes().compare(pathIndex, 4, std::string(4, '\0')) == 0; // the manifest needs "a"
        image.Word(pathIndex, isOwn ? 0 : 1);
    }
    WriteOdd(ManifestImage("odd").File("a", Archived("x")), image, "x");
    const CheckReport report = Check(false);
    EXPECT_EQ(report.faults.size(), 0U) << Describe(report, report.faults).front();
    ASSERT_EQ(report.notes.size(), 1U);
    std::size_t bytes = 0;
    for (const std::string &file : report.notes.front().files)
    {
        EXPECT_EQ(file, std::string(1024, 'n'));
        bytes += file.size();
    }
    EXPECT_GT(bytes, 0U);
    EXPECT_LT(bytes, image.Bytes().size() + 1024);
}

TEST(CheckReportTest, OneFaultOfSeveralReleasesIsToldOnceWithAllOfThem)
{
    CheckReport report;
    const TreeReader::Fault fault{TreeReader::FaultKind::OtherSpelling, "a.vka", "spelled otherwise"};
    report.AddFault({fault, {"one"}, {}, {}, {2}});
    report.AddFault({fault, {"two"}, {}, {}, {1}});
    report.AddFault({fault, {"one"}, {}, {}, {0}});
    report.Sort();
    report.AddFault({fault, {"three"}, {}, {}, {0}});
    ASSERT_EQ(report.faults.size(), 3U);
    EXPECT_EQ(report.faults[0].users, std::vector<uint32>({0, 2}));
    EXPECT_EQ(report.faults[1].users, std::vector<uint32>({1}));
    EXPECT_EQ(report.faults[2].files, std::vector<std::string>({"three"}));
}

TEST_F(TreeCheckTest, ASolutionThatSaysAnotherNameIsANote)
{
    fs::rename(mTree.Path("MORV/solutions/suite"), mTree.Path("MORV/solutions/renamed"));
    const CheckReport report = Check();
    EXPECT_TRUE(report.IsWhole());
    ASSERT_EQ(report.notes.size(), 1U);
    EXPECT_EQ(report.notes[0].fault.text, "says that it is suite 0.0.1.0, and its directory says renamed 0.0.1.0");
}
} // namespace
} // namespace Keld::Test
