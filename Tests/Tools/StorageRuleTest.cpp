#include "Tools/PackFixture.h"

#include "Tools/TreeWriter/PackPlan.h"
#include "Tools/TreeWriter/RuleBook.h"

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::BaseRelease;
using TreeWriter::PackReport;
using TreeWriter::PackRequest;
using TreeWriter::RuleBook;
using TreeWriter::StorageChoice;
using TreeWriter::StorageChooser;

constexpr StorageChoice Plain{Storage::Archive, Compression::None};
constexpr StorageChoice Zlib{Storage::Archive, Compression::Zlib};
constexpr StorageChoice Lzma{Storage::Archive, Compression::Lzma};

class StorageRuleTest : public PackFixture
{
protected:
    StorageChoice Choose(const PackRequest &request, const std::string &path) const
    {
        RuleBook rules(request.rules);
        const BaseRelease base(request, TreeReader::TreePlaces(mTree.Path("MORV")));
        return StorageChooser(request, base, rules).Choose(path);
    }

    /// A first release with a file of each kind, most of them zlib.
    void PackBase()
    {
        for (const char *name : {"source/a.z", "source/b.z", "source/c.l", "source/m", "source/n", "source/raw"})
        {
            mTree.Write(name, std::string(1000, 'x') + name);
        }
        mTree.Write("source/empty", "");
        PackRequest request = Request(Storage::Archive, Compression::Zlib);
        request.rules = {{"*.l", Lzma}, {"m", {Storage::Managed}}, {"n", {Storage::Naked}}, {"raw", Plain}};
        TreeWriter::PackRelease(request);
    }

    PackRequest Delta() const
    {
        PackRequest request = Request(Storage::Naked, Compression::None, Second);
        request.base = First;
        request.inheritStorage = true;
        request.inheritCompression = true;
        return request;
    }
};

TEST_F(StorageRuleTest, TheFirstRuleThatMatchesDecides)
{
    PackRequest request;
    request.rules = {{"data/**.bin", {Storage::Managed, Compression::None}},
                     {"*.BIN", Zlib},
                     {"data/*.txt", Lzma},
                     {"?.txt", Plain}};
    EXPECT_EQ(Choose(request, "data/deep/x.bin").storage, Storage::Managed);
    EXPECT_EQ(Choose(request, "other/x.bin"), Zlib);
    EXPECT_EQ(Choose(request, "data/ab.txt"), Lzma);
    EXPECT_EQ(Choose(request, "data/deep/a.txt"), Plain); // one star stays within a name
    EXPECT_EQ(Choose(request, "other/ab.txt").storage, Storage::Naked);
}

TEST_F(StorageRuleTest, ADeltaKeepsWhatEachPathHasInItsBase)
{
    PackBase();
    const PackRequest delta = Delta();
    EXPECT_EQ(Choose(delta, "a.z"), Zlib);
    EXPECT_EQ(Choose(delta, "c.l"), Lzma);
    EXPECT_EQ(Choose(delta, "raw"), Plain);
    EXPECT_EQ(Choose(delta, "m"), (StorageChoice{Storage::Managed, Compression::None}));
    EXPECT_EQ(Choose(delta, "n"), (StorageChoice{Storage::Naked, Compression::None}));
}

TEST_F(StorageRuleTest, WhatTheBaseHasNotOrHasEmptyGetsWhatMostHave)
{
    PackBase();
    EXPECT_EQ(Choose(Delta(), "new"), Zlib);
    EXPECT_EQ(Choose(Delta(), "empty"), Zlib);
}

TEST_F(StorageRuleTest, WhatIsSaidGoesBeforeWhatTheBaseHas)
{
    PackBase();
    PackRequest delta = Delta();
    delta.inheritStorage = false;
    delta.choice = Plain;
    EXPECT_EQ(Choose(delta, "c.l"), Lzma); // of the compression nothing was said
    EXPECT_EQ(Choose(delta, "m"), Plain);  // and the base has none for it
    delta.inheritCompression = false;
    delta.choice = Zlib;
    EXPECT_EQ(Choose(delta, "c.l"), Zlib);
    delta.rules = {{"c.*", {Storage::Managed}}, {"a.*", Plain, true}, {"b.*", Plain}};
    EXPECT_EQ(Choose(delta, "c.l").storage, Storage::Managed);
    EXPECT_EQ(Choose(delta, "a.z"), Zlib);
    EXPECT_EQ(Choose(delta, "b.z"), Plain);
}

TEST_F(StorageRuleTest, AChangedFileOfADeltaIsStoredAsItsBaseStoredIt)
{
    PackBase();
    mTree.Write("source/a.z", std::string(2000, 'y'));
    mTree.Write("source/m", "changed");
    const PackReport report = TreeWriter::PackRelease(Delta());
    EXPECT_EQ(report.changed, 2u);
    EXPECT_EQ(report.kept, 4u); // but for the naked one
    EXPECT_EQ(report.nakedAgain, 1u);
    EXPECT_EQ(File("a.z", Second).flags, 0x16u);
    EXPECT_EQ(File("m", Second).flags, 0x01u);
    EXPECT_EQ(File("n", Second).flags, 0u);
}

TEST_F(StorageRuleTest, RulesThatDecideNothingAreNamedWithTheReason)
{
    mTree.Write("source/a.txt", "x");
    PackRequest request = Request(Storage::Naked);
    request.rules = {{"*.t?t", Plain}, {"*.dds", Plain}, {"a.*", {Storage::Managed}}};
    std::vector<std::string> notes;
    request.note = [&notes](const std::string &note)
    {
        notes.push_back(note);
    };
    TreeWriter::PackRelease(request);
    EXPECT_EQ(notes, (std::vector<std::string>{
                         "the rule \"*.dds\" matches no file",
                         "the rule \"a.*\" decides nothing: earlier rules, as \"*.t?t\", match all that it does"}));
}

TEST_F(StorageRuleTest, APatternThatCannotBeMeantIsRefused)
{
    mTree.Write("source/a.txt", "x");
    PackRequest request = Request(Storage::Naked);
    request.rules = {{"a[", Plain}};
    ExpectRefusal(request, "has a [ without its ]");
}
} // namespace
} // namespace Keld::Test
