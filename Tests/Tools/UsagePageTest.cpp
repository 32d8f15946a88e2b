#include "Tools/Browser.h"
#include "Tools/ToolRun.h"

#include <gtest/gtest.h>

#include <utility>

namespace Keld::Test
{
namespace
{
constexpr int EnterCode = 13;
constexpr int BackspaceCode = 8;
constexpr int EscapeCode = 27;
constexpr int RightCode = 39;
constexpr int LeftCode = 37;
constexpr int LetterMCode = 77;

/// The page of a release, in a browser.
class UsagePageTest : public testing::Test
{
protected:
    void Show(const std::vector<std::string> &storage = {"--storage", "archive", "--compression", "zlib"})
    {
        std::vector<std::string> pack{"pack", "source",    "--root",  "MORV",      "--project",
                                      "game", "--release", "1.0.0.0", "--no-sync", "-q"};
        pack.insert(pack.end(), storage.begin(), storage.end());
        const ToolResult packed = RunMorv(mTree.Root(), pack);
        ASSERT_EQ(packed.exitCode, 0) << packed.error;
        const ToolResult made =
            RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.0"), {"du", "--html", mTree.Path("page.html")});
        ASSERT_EQ(made.exitCode, 0) << made.error;
        EXPECT_EQ(made.out, mTree.Path("page.html") + "\n");
        mBrowser.Open(mTree.Path("page.html"));
    }

    /// The middle of a tile's upper part, where its own name stands.
    std::pair<int, int> PlaceOf(const std::string &name)
    {
        const auto box = mBrowser.Evaluate("(box => [box.x + box.width / 2, box.y + 9])([...document.querySelectorAll("
                                           "'.tile')].find(tile => tile.dataset.name === " +
                                           nlohmann::json(name).dump() + ").getBoundingClientRect())");
        return {static_cast<int>(box[0].get<double>()), static_cast<int>(box[1].get<double>())};
    }

    void Click(const std::string &name)
    {
        const auto [x, y] = PlaceOf(name);
        mBrowser.Click(x, y);
    }

    void ExpectAt(const std::string &crumbs)
    {
        EXPECT_TRUE(
            mBrowser.Becomes("document.getElementById('crumbs').textContent === " + nlohmann::json(crumbs).dump()))
            << mBrowser.Evaluate("document.getElementById('crumbs').textContent");
    }

    std::string Names()
    {
        return mBrowser.Evaluate(
            "[...document.querySelectorAll('.tile')].map(tile => tile.dataset.name).sort().join(' ')");
    }

    std::string FocusedName() { return mBrowser.Evaluate("document.activeElement.dataset.name || ''"); }

    std::string Background() { return mBrowser.Evaluate("getComputedStyle(document.body).backgroundColor"); }

    TempTree mTree;
    Browser mBrowser;
};

TEST_F(UsagePageTest, AClickOpensADirectoryAHoverTellsItsNumbersAndKeysDoBoth)
{
    mTree.Write("source/left/inner/deep.txt", std::string(4096, 'd'));
    mTree.Write("source/left/flat.bin", std::string(4096, 'f'));
    mTree.Write("source/right.dat", std::string(2048, 'r'));
    Show();
    ExpectAt("root");
    EXPECT_EQ(Names(), "left right.dat");
    EXPECT_EQ(FocusedName(), "left");

    const auto [x, y] = PlaceOf("left");
    EXPECT_TRUE(mBrowser.Evaluate("document.getElementById('tip').hidden"));
    mBrowser.MoveTo(x, y);
    ASSERT_TRUE(mBrowser.Becomes("!document.getElementById('tip').hidden"));
    const std::string tip = mBrowser.Evaluate("document.getElementById('tip').innerText");
    EXPECT_NE(tip.find("8.00 KiB"), std::string::npos) << tip;
    EXPECT_NE(tip.find("80.0 %"), std::string::npos) << tip;

    Click("left");
    ExpectAt("root/left");
    EXPECT_EQ(Names(), "flat.bin inner");
    Click("inner");
    ExpectAt("root/left/inner");
    EXPECT_EQ(Names(), "deep.txt");
    mBrowser.Press("Backspace", BackspaceCode);
    ExpectAt("root/left");
    EXPECT_EQ(FocusedName(), "inner"); // where it came from
    mBrowser.Press("Escape", EscapeCode);
    ExpectAt("root");
    mBrowser.Press("ArrowRight", RightCode);
    EXPECT_EQ(FocusedName(), "right.dat");
    mBrowser.Press("Enter", EnterCode); // a file has nothing to open
    ExpectAt("root");
    mBrowser.Press("ArrowLeft", LeftCode);
    mBrowser.Press("Enter", EnterCode);
    ExpectAt("root/left");
    mBrowser.Evaluate("history.back()");
    ExpectAt("root");
    mBrowser.Press("M", LetterMCode);
    EXPECT_TRUE(mBrowser.Becomes("document.getElementById('measure').textContent === 'By room on disk'"));

    mBrowser.PreferScheme("light");
    const std::string light = Background();
    mBrowser.PreferScheme("dark");
    EXPECT_NE(Background(), light);
}

TEST_F(UsagePageTest, HostileNamesAreTextAndNothingElse)
{
    const std::string script = "</script><script>document.title = 'taken'<";
    mTree.Write("source/" + script + "x", "content"); // the name holds a slash: three directories
    mTree.Write("source/<img src=x onerror=\"document.title='taken'\">", "content");
    mTree.Write("source/a%2Fb & #c/\xFF", "content");
    mTree.Write("source/__proto__/constructor", "content");
    Show({});
    EXPECT_EQ(mBrowser.Evaluate("document.title"), "game 1.0.0.0 \u2013 usage");
    EXPECT_EQ(mBrowser.Evaluate("document.querySelectorAll('img').length"), 0);
    Click("a%2Fb & #c");
    ExpectAt("root/a%2Fb & #c");
    EXPECT_EQ(Names(), "\\xff");
    mBrowser.Press("Escape", EscapeCode);
    ExpectAt("root");
    Click("__proto__");
    ExpectAt("root/__proto__");
    mBrowser.Press("Escape", EscapeCode);
    ExpectAt("root");
    Click("<");
    ExpectAt("root/<");
    EXPECT_EQ(mBrowser.Evaluate("document.title"), "game 1.0.0.0 \u2013 usage");
}

TEST_F(UsagePageTest, ManySmallFilesBecomeFewTiles)
{
    for (int number = 0; number < 3000; ++number)
    {
        mTree.Write("source/many/" + std::to_string(number), "tiny");
    }
    for (int number = 0; number < 900; ++number)
    {
        mTree.Write("source/directories/d" + std::to_string(number) + "/f", "tiny");
    }
    Show({"--storage", "archive"});
    Click("many");
    ExpectAt("root/many");
    EXPECT_EQ(mBrowser.Evaluate("document.querySelectorAll('.tile').length"), 31);
    EXPECT_NE(Names().find("2970 smaller files"), std::string::npos) << Names();
    mBrowser.Press("Escape", EscapeCode);
    ExpectAt("root");
    mBrowser.Evaluate(
        "document.getElementById('map').style.cssText = 'flex: none; height: 80px; width: 300px'; draw()");
    Click("directories");
    ExpectAt("root/directories");
    const int shown = mBrowser.Evaluate("document.querySelectorAll('.tile').length");
    EXPECT_LT(shown, 300);
    const std::string rest = mBrowser.Evaluate("document.querySelector('.tile.more').dataset.name");
    EXPECT_EQ(rest, std::to_string(900 - shown + 1) + " smaller items");
    Click(rest);
    ExpectAt("root/directories/" + rest);
    mBrowser.Press("Escape", EscapeCode);
    ExpectAt("root/directories");
}
} // namespace
} // namespace Keld::Test
