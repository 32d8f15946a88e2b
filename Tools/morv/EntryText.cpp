#include "Tools/morv/EntryText.h"

#include "Tools/TreeReader/ReleaseContents.h"

#include <fmt/format.h>

#include <algorithm>

namespace Keld::Morv
{
using TreeReader::Hit;
using TreeReader::Layer;
using TreeReader::Storage;
using TreeReader::View;

namespace
{
const MORV::Reader::FileTableFields &FieldsOf(const View &view, const Hit &hit)
{
    return view.GetRelease(hit.layer).GetTree().GetFields(hit.entry);
}

// A format string for each of a hundred thousand lines would cost more than finding what they tell.
void AppendNumber(uint64 number, std::string &text)
{
    const fmt::format_int digits(number);
    text.append(digits.data(), digits.size());
}

void AppendBytes(uint64 count, std::string &text)
{
    AppendNumber(count, text);
    text.append(count == 1 ? " byte" : " bytes");
}

std::string DigestOf(const MORV::Reader::FileTableFields &fields)
{
    TreeReader::Digest digest;
    std::copy(std::begin(fields.digest), std::end(fields.digest), digest.begin());
    return TreeReader::DigestText(digest);
}
} // namespace

std::string LayerText(const Layer &layer)
{
    return layer.project + " " + FormatVersion(layer.version);
}

void AppendEntryText(const View &view, const Hit &hit, std::string &text)
{
    if (view.IsDirectory(hit))
    {
        text += "directory";
        return;
    }
    const auto &fields = FieldsOf(view, hit);
    const auto stored = view.Locate(hit);
    text.append("version ").append(FormatVersion(fields.version)).append(", ");
    AppendBytes(fields.size, text);
    text.append(", ");
    if (!stored)
    {
        text += stored.GetFault().GetMessage();
        return;
    }
    text.append(TreeReader::NameOf(stored->storage));
    if (stored->storage != Storage::Archive)
    {
        text.append(", ").append(stored->path);
        return;
    }
    text.append(" ").append(TreeReader::NameOf(stored->compression)).append(", ").append(stored->path).append(" at ");
    AppendNumber(stored->offset, text);
    text.append(", ");
    AppendBytes(stored->storedSize, text);
    text.append(" stored");
}

Json ViewValue(const View &view)
{
    const TreeReader::ReleaseName &name = view.GetName();
    return {{"kind", name.isSolution ? "solution" : "project"},
            {"name", TextValue(name.name)},
            {"version", FormatVersion(name.version)}};
}

Json EntryValue(const View &view, const Hit &hit)
{
    const Layer &layer = view.GetLayers()[hit.layer];
    Json value{{"project", TextValue(layer.project)}, {"release", FormatVersion(layer.version)}};
    if (view.IsDirectory(hit))
    {
        value["type"] = "directory";
        return value;
    }
    const auto &fields = FieldsOf(view, hit);
    value["type"] = "file";
    value["size"] = uint32{fields.size};
    value["version"] = FormatVersion(fields.version);
    value["digest"] = DigestOf(fields);
    value["storage"] = TreeReader::NameOf(TreeReader::StorageOf(fields.flags));
    const auto stored = view.Locate(hit);
    if (!stored)
    {
        const TreeReader::Fault &fault = stored.GetFault();
        value["fault"] = {{"kind", TreeReader::NameOf(fault.kind)}, {"message", TextValue(fault.GetMessage())}};
        return value;
    }
    if (stored->storage == Storage::Archive)
    {
        value["compression"] = TreeReader::NameOf(stored->compression);
    }
    value["place"] = TextValue(stored->path);
    value["offset"] = stored->offset;
    value["storedSize"] = stored->storedSize;
    return value;
}
} // namespace Keld::Morv
