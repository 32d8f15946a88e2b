#include "Tools/Delivery/Sums/ShipList.h"

#include "Support/HexDump.h"

#include "Tools/Delivery/Text/TreePath.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using Delivery::FileRole;
using Delivery::ReadTreePath;
using Delivery::ShipList;
using Delivery::SumOf;
using TreeReader::ReleaseName;

const ReleaseName ListedRelease{false, "game", 0x01000001};
const std::string ListedArchives = "projects/game/filearchives/1.0.0.0/";

ShipList SampleList()
{
    return {ListedRelease,
            {{"projects/game/releases/1.0.0.1/releasemanifest", 142, SumOf("")},
             {ListedArchives + "files-0001.vka.dat", 3, SumOf("abc")},
             {ListedArchives + "files-0001.vka", 24, SumOf("index")}}};
}

/// The fault of a text that must be refused.
std::string Refusal(const std::string &text)
{
    const auto list = ShipList::Parse(text, "the list");
    return list ? "taken" : list.GetFault().GetMessage();
}

std::string WithReplaced(std::string text, const std::string &before, const std::string &after)
{
    const std::size_t place = text.find(before);
    EXPECT_NE(place, std::string::npos) << before;
    return text.replace(place, before.size(), after);
}

TEST(ShipListTest, TheSampleOfTheManualIsWhatIsWrittenAndRead)
{
    const std::string text = ReadTextBlock("Docs/Formats/ShipList.md", "morv shiplist 1");
    EXPECT_EQ(text, SampleList().GetText());
    const auto list = ShipList::Parse(text, "sample");
    ASSERT_TRUE(list) << list.GetFault().GetMessage();
    EXPECT_EQ(list->GetRelease(), ListedRelease);
    EXPECT_EQ(list->GetSize(), 169U);
    ASSERT_NE(list->Find(ListedArchives + "files-0001.vka.dat"), nullptr);
    EXPECT_EQ(list->Find(ListedArchives + "files-0001.vka.dat")->sum, SumOf("abc"));
    EXPECT_EQ(list->Find(ListedArchives + "files-0002.vka"), nullptr);
    EXPECT_EQ(list->GetText(), text);
}

TEST(ShipListTest, NamesOfAnyBytesComeBack)
{
    const ReleaseName odd{true, "50%\n\x7F\xFF", 0x00000100};
    const ShipList list(odd, {{"solutions/50%\n\x7F\xFF/releases/0.0.1.0/solutionmanifest", 1, SumOf("x")}});
    EXPECT_NE(list.GetText().find("release solution:50%25%0A%7F\xFF/0.0.1.0\n"), std::string::npos) << list.GetText();
    const auto read = ShipList::Parse(list.GetText(), "list");
    ASSERT_TRUE(read) << read.GetFault().GetMessage();
    EXPECT_EQ(read->GetRelease(), odd);
    EXPECT_EQ(read->GetFiles().front().path, list.GetFiles().front().path);
}

TEST(ShipListTest, AListThatWasCutOffOrGrewIsRefusedAtEveryByte)
{
    const std::string text = SampleList().GetText();
    for (std::size_t length = 0; length < text.size(); ++length)
    {
        EXPECT_NE(Refusal(text.substr(0, length)), "taken") << length;
    }
    EXPECT_EQ(Refusal(text + "\n"), "the list: line 7 is no line of a shiplist");
    EXPECT_EQ(Refusal(text + "x"), "the list: line 7 ends within a line");
}

TEST(ShipListTest, WhatTheWriterWouldNotWriteIsRefusedByItsLine)
{
    const std::string text = SampleList().GetText();
    const auto expect = [&text](const std::string &before, const std::string &after, const std::string &reason)
    {
        EXPECT_EQ(Refusal(WithReplaced(text, before, after)), "the list: line " + reason);
    };
    expect("shiplist 1", "shiplist 2",
           "1 is no shiplist of this version: the first line should be \"morv shiplist 1\"");
    expect("game/1.0.0.1", "game/01.0.0.1", "2 names no release");
    expect("game/1.0.0.1", "../1.0.0.1", "2 names no release");
    expect("files 3", "files +3", "3 does not say how many files and bytes it lists");
    expect("files 3 169", "files 3 168", "6 does not list as much as its third line says: it was cut short or changed");
    expect(" 24 ", " 024 ", "4 is no line of a shiplist");
    expect(" 24 ", " 99999999999999999999 ", "4 is no line of a shiplist");
    expect("ba78", "BA78", "5 is no line of a shiplist");
    expect("1.vka.dat", "1.vk%61.dat", "5 is no line of a shiplist");
    expect("1.vka.dat", "1.vka", "5 lists \"" + ListedArchives + "files-0001.vka\" twice or out of order");
    expect("1.0.0.1/releasemanifest", "1.0.0.1/shiplist", "6 lists a shiplist");
}

TEST(ShipListTest, PathsThatLeaveTheTreeOrAreNoPlaceOfAReleaseAreRefusedByName)
{
    const std::string text = SampleList().GetText();
    for (const std::string path :
         {"/etc/passwd", "../x", "projects/../projects/game/releases/1.0.0.1/releasemanifest",
          "projects/game/releases/1.0.0.1/deploy/../../../x", "projects//releases/1.0.0.1/releasemanifest",
          "projects/game/releases/1.0.0.1/deploy/", "projects/game/managedfiles/1.0.0.1/a/./b"})
    {
        EXPECT_EQ(Refusal(WithReplaced(text, "projects/game/releases/1.0.0.1/releasemanifest", path)),
                  "the list: line 6 lists " + path + ": would leave the tree, or holds a name that is none");
    }
    for (const std::string path :
         {"x", "projects/game", "projects/game/releases/1.0.0.1/other", "projects/game/releases/1.0.0/releasemanifest",
          "projects/game/filearchives/1.0.0.0/files.txt", "projects/game/filearchives/1.0.0.0/a/files.vka",
          "projects/game/packing-1.0.0.0-abcdef/new/releasemanifest", "solutions/s/releases/1.0.0.0/deploy/x",
          "solutions/s/managedfiles/1.0.0.0/x"})
    {
        EXPECT_EQ(Refusal(WithReplaced(text, "projects/game/releases/1.0.0.1/releasemanifest", path)),
                  "the list: line 6 lists " + path + ": is no place for a file of a release");
    }
    EXPECT_FALSE(ReadTreePath(std::string("projects/game/managedfiles/1.0.0.1/a\0b", 38)));
    EXPECT_FALSE(ReadTreePath("projects/game/managedfiles/1.0.0.1/" + std::string(1000, 'x')));
    EXPECT_TRUE(ReadTreePath("projects/game/managedfiles/1.0.0.1/" + std::string(900, 'x')));
}

TEST(ShipListTest, APlaceTellsWhatAFileIsFor)
{
    const std::pair<const char *, FileRole> places[] = {
        {"projects/game/filearchives/1.0.0.1/a.vka", FileRole::ArchiveIndex},
        {"projects/game/filearchives/1.0.0.1/a.vka.dat", FileRole::ArchiveData},
        {"projects/game/managedfiles/1.0.0.1/a", FileRole::ManagedFile},
        {"projects/game/releases/1.0.0.1/deploy/releasemanifest", FileRole::NakedFile},
        {"projects/game/releases/1.0.0.1/releasemanifest", FileRole::ReleaseManifest},
        {"projects/game/releases/1.0.0.1/shiplist", FileRole::ShipList},
        {"solutions/game/releases/1.0.0.1/shiplist.minisig", FileRole::ShipListSignature},
        {"solutions/game/releases/1.0.0.1/configurationmanifest", FileRole::ConfigurationManifest},
        {"solutions/game/releases/1.0.0.1/solutionmanifest", FileRole::SolutionManifest}};
    for (const auto &[path, role] : places)
    {
        const auto place = ReadTreePath(path);
        ASSERT_TRUE(place) << path;
        EXPECT_EQ(place->role, role) << path;
        EXPECT_EQ(place->name.name, "game");
        EXPECT_EQ(place->name.version, ListedRelease.version);
    }
}
} // namespace
} // namespace Keld::Test
