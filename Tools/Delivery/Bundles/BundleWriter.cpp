#include "Tools/Delivery/Bundles/BundleWriter.h"

#include "Tools/Delivery/Keys/SignatureText.h"
#include "Tools/Delivery/Sums/FileSums.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/ShippingList.h"
#include "Tools/TreeReader/TreeError.h"

#include <algorithm>

namespace Keld::Delivery
{
using TreeReader::Reference;
using TreeReader::Result;
using TreeReader::TreeError;
using TreeReader::View;

namespace
{
constexpr uint_size CopyReadSize = uint_size(1) << 20; // bytes

View OpenReference(TreeReader::TreeSet &trees, const Reference &reference)
{
    Result<View> view = trees.Open(reference);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    return std::move(*view);
}

/// The files that lack, in the order in which they may appear.
std::vector<std::string> PathsOf(const TreeReader::ShippingList &shipping)
{
    std::vector<std::string> paths;
    for (const TreeReader::ReleasePart &part : shipping.GetParts())
    {
        paths.push_back(part.path);
    }
    const auto roleOf = [](const std::string &path)
    {
        return ReadTreePath(path)->role; // ListRelease has refused all others
    };
    std::stable_sort(paths.begin(), paths.end(),
                     [&roleOf](const std::string &left, const std::string &right)
                     {
                         return roleOf(left) < roleOf(right);
                     });
    return paths;
}

/// The signature that was published, where it is over this very list.
std::string ReadSignature(const Reference &target, const std::string &listText)
{
    const auto read = [&target](const std::string &path, uint64 limit)
    {
        const auto image = TreeReader::ReadFileImage(target.root + "/" + path, limit);
        return image ? std::string(image->begin(), image->end()) : std::string();
    };
    return read(PathOfShipList(target.name), ShipList::SizeLimit) == listText
               ? read(PathOfShipListSignature(target.name), SignatureSizeLimit)
               : std::string();
}

void WriteText(BundleOutput &output, const char *name, const std::string &text)
{
    output.Begin(name, text.size());
    output.Write(text);
}

/// Copies a file, which must be the one that was listed.
void CopyShipped(BundleOutput &output, const std::string &root, const ShippedFile &file, const WorkCalls &calls)
{
    const Result<TreeReader::DiskFile> disk = TreeReader::DiskFile::Open(root + "/" + file.path);
    if (!disk)
    {
        throw TreeError(disk.GetFault().GetMessage());
    }
    output.Begin(file.path, file.size);
    ContentSummer summer;
    std::vector<char> buffer(std::min<uint64>(CopyReadSize, file.size));
    for (uint64 offset = 0; offset < file.size;)
    {
        calls.checkpoint();
        const uint64 wanted = std::min<uint64>(buffer.size(), file.size - offset);
        const Result<uint_size> count = disk->ReadAt(offset, buffer.data(), wanted);
        if (!count)
        {
            throw TreeError(count.GetFault().GetMessage());
        }
        if (*count == 0)
        {
            break;
        }
        summer.Update({buffer.data(), *count});
        output.Write({buffer.data(), *count});
        offset += *count;
        calls.advance(*count);
    }
    if (summer.Finish() != file.sum)
    {
        throw TreeError(disk->GetPath() + ": was changed meanwhile: try again");
    }
}
} // namespace

BundleReport WriteBundle(const BundleRequest &request, const BundleSink &sink)
{
    const Reference &target = request.target;
    if (request.check)
    {
        RequireUndamaged(target.root, {target.name}, request.threadCount, request.calls);
    }
    TreeReader::TreeSet trees;
    const View view = OpenReference(trees, target);
    request.calls.begin("summing", SizeOf(GatherParts(view, target.root, request.threadCount).parts));
    FileSums sums(target.root, request.threadCount, request.calls);
    const ShipList list = ListRelease(view, sums, target.root, request.threadCount);
    const std::string listText = list.GetText();

    std::vector<TreeReader::HeldRelease> held;
    std::optional<View> base;
    BundleReport report;
    if (request.base)
    {
        base = OpenReference(trees, *request.base);
        held.push_back({&*base, request.base->root});
        report.head.base = base->GetName();
    }
    const TreeReader::ShippingList shipping(held, {&view, target.root}, request.threadCount);
    if (!shipping.GetDoubts().empty())
    {
        throw TreeError(shipping.GetDoubts().front().GetMessage());
    }
    report.head.target = target.name;
    report.head.files = PathsOf(shipping);
    for (const std::string &path : report.head.files)
    {
        report.sizes.push_back(sums.Get(path).size);
        report.head.bytes += report.sizes.back();
    }
    const std::string signature = ReadSignature(target, listText);
    report.isSigned = !signature.empty();

    request.calls.begin("writing", report.head.bytes);
    BundleOutput output(sink);
    WriteText(output, BundleHead::HeadEntry, report.head.GetText());
    WriteText(output, BundleHead::ListEntry, listText);
    if (report.isSigned)
    {
        WriteText(output, BundleHead::SignatureEntry, signature);
    }
    for (const std::string &path : report.head.files)
    {
        CopyShipped(output, target.root, sums.Get(path), request.calls);
    }
    output.Close();
    return report;
}
} // namespace Keld::Delivery
