#include "Tools/Delivery/Keys/SignatureText.h"

#include "Tools/Delivery/Keys/Forgotten.h"
#include "Tools/TreeReader/DiskFile.h"

#include <cinttypes>
#include <cstdio>

namespace Keld::Delivery
{
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Result;

std::string FormatIdentity(const KeyIdentity &identity)
{
    uint64 number = 0;
    for (auto byte = identity.rbegin(); byte != identity.rend(); ++byte)
    {
        number = number << 8 | *byte;
    }
    char digits[17];
    std::snprintf(digits, sizeof digits, "%" PRIX64, number); // without zeros in front
    return digits;
}

std::vector<std::string_view> LinesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty())
    {
        const uint_size end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        if (line.ends_with('\r'))
        {
            line.remove_suffix(1);
        }
        lines.push_back(line);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

std::string_view KeyLineOf(std::string_view text)
{
    const std::vector<std::string_view> lines = LinesOf(text);
    const bool hasComment = lines.size() == 2 && lines[0].starts_with(CommentPrefix);
    return hasComment ? lines[1] : lines.size() == 1 ? lines[0] : std::string_view();
}

Result<std::string> ReadKeyFile(const std::string &path)
{
    Result<LargeVector<char>> image = TreeReader::ReadFileImage(path, SignatureSizeLimit);
    if (!image)
    {
        return image.GetFault();
    }
    const Forgotten forgotten(*image); // it may be a secret key
    return std::string(image->begin(), image->end());
}

Fault RefuseKey(const std::string &where, const std::string &why)
{
    return {FaultKind::BadManifest, where, why};
}

std::string_view TakeFront(std::string_view &bytes, uint_size size)
{
    const std::string_view front = bytes.substr(0, size);
    bytes.remove_prefix(size);
    return front;
}
} // namespace Keld::Delivery
