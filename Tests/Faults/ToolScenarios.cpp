#include "Faults/ToolScenario.h"

#include "Tools/Delivery/Keys/SecretKey.h"

#include <cstdlib>
#include <filesystem>

// Small trees, so that a command makes few calls, but with a file in every storage.
namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

Words Together(Words words, const Words &more)
{
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

const Words Quietly = {"-q", "-j", "1"};

// Rules of pack, for the names of the files in the trees here.
const Words InEveryStorage =
    Together({"--compress-always", "--storage", "naked", "--rule", "*.bin=managed", "--rule", "*.raw=archive:none",
              "--rule", "*.z=archive:zlib", "--rule", "*.l=archive:lzma"},
             Quietly);
} // namespace

ToolScenario ToolScenarioTest::Pack()
{
    CopyTree("MORV", "before/MORV");
    mTree.Write("source/Data/stored.raw", "changed once more");
    mTree.Write("source/Data/new.z", std::string(300, 'n'));
    const Words words = Together({"pack", mTree.Path("source"), "--root", mTree.Path("work/MORV"), "--project", "game",
                                  "--release", "1.0.0.2", "--base", "1.0.0.1"},
                                 InEveryStorage);
    return {"pack", words, Together(words, {"--force"})};
}

ToolScenario ToolScenarioTest::PackByForce()
{
    CopyTree("MORV", "before/MORV");
    mTree.Write("source/Data/stored.raw", "changed in another way");
    mTree.Write("source/Data/managed.bin", "changed in another way, too");
    mTree.Remove("source/new.l");
    mTree.Write("source/newer.l", std::string(300, 'n'));
    return {"pack --force --protect",
            Together({"pack", mTree.Path("source"), "--root", mTree.Path("work/MORV"), "--project", "game", "--release",
                      "1.0.0.1", "--base", "1.0.0.0", "--force", "--protect"},
                     InEveryStorage)};
}

ToolScenario ToolScenarioTest::Fetch()
{
    mTree.MakeDirectory("before/MORV");
    MustRun(Together(
        {"fetch", mTree.Path("MORV"), "--root", mTree.Path("before/MORV"), "--project", "game", "--release", "1.0.0.0"},
        Quietly));
    ToolScenario scenario{"fetch", Together({"fetch", mTree.Path("MORV"), "--root", mTree.Path("work/MORV"),
                                             "--project", "game", "--release", "1.0.0.1"},
                                            Quietly)};
    scenario.goesOn = true;
    return scenario;
}

ToolScenario ToolScenarioTest::Prune()
{
    CopyTree("MORV", "before/MORV");
    return {
        "prune --apply",
        Together({"prune", "--root", mTree.Path("work/MORV"), "--keep", "solution:suite/0.0.1.0", "--apply"}, Quietly)};
}

ToolScenario ToolScenarioTest::Repair()
{
    mTree.MakeDirectory(Suite + "deploy"); // which comes along with a manifest
    MustRun(Together({"publish", "--root", mTree.Path("MORV")}, Quietly));
    CopyTree("MORV", "before/MORV");
    const std::string data = "before/" + GameArchives + "files-0001.vka.dat";
    Flip(data, PlaceOf(data, "Data/stored.raw line"));
    Flip("before/" + GameArchives + "files-0001.vka", 0);
    mTree.Remove("before/" + GameReleases + "1.0.0.0/deploy/Data/naked.txt");
    mTree.Remove("before/MORV/projects/extra/releases/1.0.0.0/releasemanifest");
    ToolScenario scenario{
        "repair", Together({"repair", "--root", mTree.Path("work/MORV"), "--from", mTree.Path("MORV")}, Quietly)};
    scenario.isDamaged = true;
    scenario.goesOn = true;
    return scenario;
}

ToolScenario ToolScenarioTest::Apply()
{
    mTree.MakeDirectory("before/MORV");
    const std::string bundle = mTree.Path("update.bundle");
    MustRun(Together(
        {"fetch", mTree.Path("MORV"), "--root", mTree.Path("before/MORV"), "--project", "game", "--release", "1.0.0.0"},
        Quietly));
    MustRun(Together({"bundle", "--root", mTree.Path("MORV"), "game/1.0.0.0", "game/1.0.0.1", "-o", bundle}, Quietly));
    ToolScenario scenario{"apply", Together({"apply", bundle, "--root", mTree.Path("work/MORV")}, Quietly)};
    scenario.goesOn = true;
    return scenario;
}

ToolScenario ToolScenarioTest::Publish()
{
    CopyTree("MORV", "before/MORV");
    return {"publish", Together({"publish", "--root", mTree.Path("work/MORV")}, Quietly)};
}

// Of one release there is a list already, which is another one and signed.
ToolScenario ToolScenarioTest::PublishSigned()
{
    const std::string make =
        "cd '" + mTree.Root() + "' && minisign -G -W -p key.pub -s key.secret >minisign.log 2>&1 </dev/null";
    EXPECT_EQ(std::system(make.c_str()), 0) << mTree.Read("minisign.log");
    const auto key = Delivery::SecretKey::Load(mTree.Path("key.secret"),
                                               []
                                               {
                                                   return std::string();
                                               });
    EXPECT_TRUE(key) << key.GetFault().GetMessage();
    CopyTree("MORV", "before/MORV");
    const std::string list = "before/" + GameReleases + "1.0.0.1/shiplist";
    mTree.Write(list, "of old");
    mTree.Write(list + ".minisig", key->Sign("of old", "of old"));
    return {"publish --sign",
            Together({"publish", "--root", mTree.Path("work/MORV"), "--sign", mTree.Path("key.secret")}, Quietly)};
}

ToolScenario ToolScenarioTest::Bundle()
{
    mTree.MakeDirectory("before/MORV");
    return {"bundle", Together({"bundle", "--root", mTree.Path("MORV"), "game/1.0.0.0", "game/1.0.0.1", "-o",
                                mTree.Path("work/update.bundle")},
                               Quietly)};
}

ToolScenario ToolScenarioTest::Solution()
{
    CopyTree("MORV", "before/MORV");
    return {"solution --force",
            {"solution", "--root", mTree.Path("work/MORV"), "--name", "suite", "--release", "0.0.1.0", "--project",
             "game=1.0.0.0:30", "--project", "extra=1.0.0.0:20", "--force", "-q"}};
}

ToolScenario ToolScenarioTest::NewSolution()
{
    CopyTree("MORV", "before/MORV");
    fs::remove_all(mTree.Path("before/MORV/solutions"));
    const Words words = {"solution", "--root",    mTree.Path("work/MORV"), "--name", "suite", "--release",
                         "0.0.1.0",  "--project", "game=1.0.0.0:30",       "-q"};
    return {"solution", words, Together(words, {"--force"})};
}

ToolScenario ToolScenarioTest::Verify()
{
    CopyTree("MORV", "before/MORV");
    ToolScenario scenario{"verify", Together({"verify", "--root", mTree.Path("work/MORV"), "game/1.0.0.1"}, Quietly)};
    scenario.onlyReads = true;
    return scenario;
}
} // namespace Keld::Test
