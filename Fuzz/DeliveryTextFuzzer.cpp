// The texts that come from servers and in bundles. Input: 8 bits that choose the kind of text, and the text. Whatever
// is taken must be what is written again.

#include "FuzzSupport.h"

#include "Tools/Delivery/Bundles/BundleHead.h"
#include "Tools/Delivery/Keys/Base64.h"
#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/Delivery/Sources/BroughtFile.h"
#include "Tools/Delivery/Sources/HttpHead.h"
#include "Tools/Delivery/Sources/NamePage.h"
#include "Tools/Delivery/Sources/UrlText.h"
#include "Tools/Delivery/Sums/ShipList.h"
#include "Tools/Delivery/Text/PathText.h"
#include "Tools/Delivery/Text/TextLines.h"
#include "Tools/Delivery/Text/TreePath.h"

namespace
{
using namespace Keld;
using namespace Delivery;
using Fuzz::Require;

void ReadList(const std::string &text)
{
    if (const auto list = ShipList::Parse(text, "text"))
    {
        Require(list->GetText() == text, "a shiplist has one text");
    }
    if (const auto head = BundleHead::Parse(text, "text"))
    {
        Require(head->GetText() == text, "a bundle's head has one text");
    }
}

void ReadPath(const std::string &text)
{
    std::string path;
    if (ReadEscapedPath(text, path))
    {
        Require(EscapePath(path) == text, "a path has one text");
    }
    Require(ReadEscapedPath(EscapePath(text), path) && path == text, "every path has a text");
    Require(DecodeUrlText(EncodeUrlPath(text)) == text, "every path has a URL");
    DecodeUrlText(text);
    if (ReadTreePath(text))
    {
        const std::string framed = "/" + text + "/";
        Require(framed.find("/../") == framed.npos && framed.find("/./") == framed.npos &&
                    framed.find("//") == framed.npos,
                "no path of a tree leads out of it");
    }
    TreeReader::ReleaseName release;
    if (ReadRelease(text, release))
    {
        Require(FormatRelease(release) == text, "a release has one text");
    }
    uint64 number = 0;
    Require(!ReadNumber(text, number) || std::to_string(number) == text, "a number has one text");
    ReadTag(text);
}

void ReadAnswer(const std::string &text)
{
    HttpHead head;
    TextLines lines(text);
    for (std::string_view line; lines.Next(line);)
    {
        ReadHeaderLine(line, head);
    }
    for (const std::string &name : ReadNamePage(text))
    {
        Require(!name.empty() && name.find('/') == name.npos && name != "." && name != "..",
                "a page tells plain names");
    }
}

/// A key, a signature and what it is over, with lines of "--" between.
void ReadSignature(const std::string &text)
{
    const std::size_t first = text.find("--\n");
    const std::size_t second = first == text.npos ? text.npos : text.find("--\n", first + 3);
    if (second != text.npos)
    {
        if (const auto key = PublicKey::Parse(std::string_view(text).substr(0, first), "key"))
        {
            FormatIdentity(key->GetIdentity());
            const auto comment = key->Check(std::string_view(text).substr(second + 3),
                                            std::string_view(text).substr(first + 3, second - first - 3), "signature");
            Require(!comment || comment->find('\n') == text.npos, "what was signed along is one line");
        }
    }
    std::string bytes;
    if (DecodeBase64(text, bytes))
    {
        Require(EncodeBase64(bytes) == text, "bytes have one text");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    Fuzz::InputReader input(data, size);
    static constexpr void (*readers[])(const std::string &) = {ReadList, ReadPath, ReadAnswer, ReadSignature};
    readers[input.Byte() & 3](std::string(input.Rest()));
    return 0;
}
