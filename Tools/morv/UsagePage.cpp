#include "Tools/morv/UsagePage.h"

#include "Tools/morv/Json.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/UsagePageText.h"

#include <algorithm>

namespace Keld::Morv
{
using TreeReader::ContentUsage;
using TreeReader::UsageTotal;

namespace
{
// Of a directory's files so many are told one by one, and those that are a good part of the whole.
constexpr std::size_t FilesTold = 30;
constexpr uint64 GoodPart = 500;

constexpr int File = 0; // as the page's script takes it
constexpr int SeveralFiles = 1;

/// The name of an item, as text: what is no UTF-8 or a control character stands escaped.
std::string NameOf(const ContentUsage &usage, uint32 index)
{
    const std::string_view path = usage.GetList().GetPath(usage.GetList().GetItems()[index]);
    return EscapeForTerminal(path.substr(path.rfind('/') + 1)); // npos + 1 is 0
}

Json Node(const std::string &name, const UsageTotal &total, Json children)
{
    return Json::array({name, total.bytes, total.storedBytes, total.files, std::move(children)});
}

/// Puts the tree together from the leaves on.
class PageTree
{
public:
    explicit PageTree(const ContentUsage &usage)
        : mUsage(usage), mDirectories(usage.GetList().GetItems().size() + 1), mNodes(usage.GetList().GetItems().size())
    {
        const auto count = static_cast<uint32>(usage.GetList().GetItems().size());
        for (uint32 index = 0; index < count; ++index)
        {
            const bool isDirectory = usage.GetList().GetItems()[index].isDirectory;
            Directory &parent = At(usage.GetParent(index));
            (isDirectory ? parent.directories : parent.files).push_back(index);
        }
    }

    Json Make()
    {
        // Directories stand in front of what they hold.
        for (auto index = static_cast<uint32>(mDirectories.size() - 1); index > 0; --index)
        {
            if (mUsage.GetList().GetItems()[index - 1].isDirectory)
            {
                MakeNode(index - 1);
            }
        }
        return Node("root", mUsage.GetTotal(ContentUsage::Root), ChildrenOf(ContentUsage::Root));
    }

private:
    struct Directory
    {
        std::vector<uint32> directories;
        std::vector<uint32> files;
    };

    Directory &At(uint32 index) { return mDirectories[index == ContentUsage::Root ? mDirectories.size() - 1 : index]; }

    void MakeNode(uint32 index)
    {
        mNodes[index] = Node(NameOf(mUsage, index), mUsage.GetTotal(index), ChildrenOf(index));
    }

    Json ChildrenOf(uint32 index)
    {
        Directory &directory = At(index);
        Json children = Json::array();
        for (const uint32 child : directory.directories)
        {
            children.push_back(std::move(mNodes[child]));
        }
        std::stable_sort(directory.files.begin(), directory.files.end(),
                         [this](uint32 left, uint32 right)
                         {
                             return SizeOf(left) > SizeOf(right);
                         });
        UsageTotal rest;
        const uint64 least = SizeOf(ContentUsage::Root) / GoodPart;
        for (std::size_t place = 0; place < directory.files.size(); ++place)
        {
            const uint32 file = directory.files[place];
            if (place < FilesTold || SizeOf(file) > least)
            {
                children.push_back(Node(NameOf(mUsage, file), mUsage.GetTotal(file), File));
            }
            else
            {
                rest.Add(mUsage.GetTotal(file));
            }
        }
        if (rest.files > 0)
        {
            children.push_back(Node(CountText(rest.files, "smaller file"), rest, SeveralFiles));
        }
        return children;
    }

    uint64 SizeOf(uint32 index) const
    {
        const UsageTotal total = mUsage.GetTotal(index);
        return std::max(total.bytes, total.storedBytes);
    }

    const ContentUsage &mUsage;
    std::vector<Directory> mDirectories; // by index of the list; the root's behind them all
    std::vector<Json> mNodes;            // of directories, by index of the list
};

/// JSON that can stand in a page: without the one character that could end the element around it.
std::string ForPage(const Json &document)
{
    std::string text;
    for (const char character : document.dump())
    {
        if (character == '<')
        {
            text += "\\u003c";
        }
        else
        {
            text += character;
        }
    }
    return text;
}
} // namespace

std::string MakeUsagePage(const ContentUsage &usage, const std::string &title)
{
    constexpr std::string_view mark = "@DATA@";
    std::string page = UsagePageText;
    const std::size_t place = page.find(mark);
    Json data = {{"title", EscapeForTerminal(title)}};
    data["root"] = PageTree(usage).Make();
    return page.replace(place, mark.size(), ForPage(data));
}
} // namespace Keld::Morv
