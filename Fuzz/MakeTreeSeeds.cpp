#include "MakeTreeSeeds.h"

#include "SeedTree.h"

#include "Tools/Delivery/Keys/Base64.h"
#include "Tools/Delivery/Sums/ShipList.h"

#include <algorithm>

namespace Keld::Fuzz
{
namespace
{
const std::string First = "MORV/projects/atlas/releases/1.0.0.0/";
const std::string Second = "MORV/projects/atlas/releases/1.0.0.1/";
const std::string Suite = "MORV/solutions/suite/releases/0.0.1.0/";

std::string WithScript(TreeInput input, const std::string &script)
{
    input.script = script;
    return input.Bytes();
}

/// With all entries below another directory.
TreeInput Moved(TreeInput input, const std::string &prefix, std::size_t dropped = 0)
{
    for (TreeEntry &entry : input.entries)
    {
        entry.path = prefix + entry.path.substr(dropped);
    }
    return input;
}

TreeInput Only(TreeInput input, bool (*isWanted)(const std::string &))
{
    std::erase_if(input.entries,
                  [&](const TreeEntry &entry)
                  {
                      return !isWanted(entry.path);
                  });
    return input;
}

void Append(TreeInput &input, const TreeInput &more)
{
    input.entries.insert(input.entries.end(), more.entries.begin(), more.entries.end());
}

bool BelongsToAtlas(const std::string &path)
{
    return path.starts_with("MORV/projects/atlas/");
}

bool IsOfSecond(const std::string &path)
{
    const bool isOwn = path.find("1.0.0.1") != std::string::npos;
    return BelongsToAtlas(path) &&
           (isOwn || path.find("managed") != std::string::npos || path.find("filearchives") != std::string::npos);
}

TreeInput MakeLoneFile()
{
    TreeInput input;
    SeedRelease(input, "a", "1.0.0.0").Add("f", SeedRelease::Storage::Naked, "x").Finish();
    return input;
}

/// Names that differ in case alone, lead elsewhere, or are none.
TreeInput MakeOddNames()
{
    using enum SeedRelease::Storage;
    TreeInput input;
    SeedRelease release(input, "atlas", "1.0.0.0");
    for (const char *name : {"a", "A", "a/b", "x/../y", "./z", "back\\slash", "x/\xC3\xA4"})
    {
        release.Add(name, Stored, name);
    }
    release.Finish();
    return input;
}

void WriteReaders(const SeedSink &write)
{
    const std::string asked = "data/stored.bin\nDATA\\PACKED.TXT\nreadme.txt/\ndata/*.t?t\n*\nshared/both.txt\nno\n";
    for (const char *fuzzer : {"TreeFuzzer", "MergedListingFuzzer"})
    {
        write(fuzzer, "seed-project", WithScript(MakeSeedProject(), First + "deploy\n" + asked));
        write(fuzzer, "seed-delta", WithScript(Only(MakeSeedTree(), BelongsToAtlas), Second + "\n" + asked));
        write(fuzzer, "seed-solution", WithScript(MakeSeedTree(), Suite + "deploy\n" + asked));
        write(fuzzer, "seed-lone-file", WithScript(MakeLoneFile(), "MORV/projects/a/releases/1.0.0.0\nf\n"));
        write(fuzzer, "seed-odd-names", WithScript(MakeOddNames(), First + "\na/b\n../y\n/a\n"));
    }
    write("ListingFuzzer", "seed-project", WithScript(MakeSeedProject(), First.substr(5) + "\n"));
    write("ListingFuzzer", "seed-delta", WithScript(Only(MakeSeedTree(), BelongsToAtlas), Second.substr(5) + "\n"));
    write("ListingFuzzer", "seed-odd-names", WithScript(MakeOddNames(), First.substr(5) + "\n"));
    write("ReadingCoreFuzzer", "seed-project", WithScript(MakeSeedProject(), ""));
    write("ReadingCoreFuzzer", "seed-solution", WithScript(MakeSeedTree(), ""));
    write("ReadingCoreFuzzer", "seed-odd-names", WithScript(MakeOddNames(), ""));
}

void WriteArchiveDirectories(const SeedSink &write)
{
    Test::ArchiveImage first;
    first.File("maps/a.dds", 0, 10).File("maps/B.dds", 10, 5).File("c", 15, 0);
    Test::ArchiveImage second;
    second.File("maps/A.DDS", 0, 3).File("d", 3, 4);
    const Test::ArchiveImage none;
    TreeInput input;
    input.entries = {{TreeEntry::File, "archives/first.vka", first.Bytes()},
                     {TreeEntry::File, "archives/first.vka.dat", "fifteen bytes.."},
                     {TreeEntry::File, "archives/second.vka", second.Bytes()},
                     {TreeEntry::File, "archives/empty.vka", none.Bytes()},
                     {TreeEntry::File, "archives/other.vka", second.Image().Word(0, 0x12345678).Bytes()},
                     {TreeEntry::File, "archives/short.vka", first.Bytes().substr(0, 40)},
                     {TreeEntry::Directory, "archives/directory.vka", ""},
                     {TreeEntry::Fifo, "archives/fifo.vka", ""},
                     {TreeEntry::Link, "archives/link.vka", "first.vka"},
                     {TreeEntry::File, "archives/readme.txt", "no archive"}};
    write("ArchiveLoaderFuzzer", "seed-every-state", input.Bytes());
    input.entries.resize(3);
    write("ArchiveLoaderFuzzer", "seed-two-archives", input.Bytes());
    write("ArchiveLoaderFuzzer", "seed-none", WithScript({}, ""));
}

TreeInput MakeSource()
{
    TreeInput input;
    input.entries = {{TreeEntry::File, "source/readme.txt", "read me"},
                     {TreeEntry::File, "source/data/packed.txt", "changed"},
                     {TreeEntry::File, "source/new/file.bin", std::string(50, 'n')},
                     {TreeEntry::Directory, "source/empty", ""}};
    return input;
}

void WriteWriters(const SeedSink &write)
{
    TreeInput packed = MakeSource();
    Append(packed, MakeSeedProject());
    write("PackBaseFuzzer", "seed-inherit", WithScript(packed, "1.0.0.0\n58\n"));
    write("PackBaseFuzzer", "seed-zlib", WithScript(packed, "1.0.0.0\n6\n"));
    write("PackBaseFuzzer", "seed-dry", WithScript(packed, "1.0.0.0\n257\n"));
    TreeInput delta = MakeSource();
    Append(delta, Only(MakeSeedTree(), BelongsToAtlas));
    write("PackBaseFuzzer", "seed-on-delta", WithScript(delta, "1.0.0.1\n57\n"));

    TreeInput out;
    out.entries = {{TreeEntry::Directory, "outside", ""},
                   {TreeEntry::WayOut, "out/data", ""},
                   {TreeEntry::WayOut, "out/readme.txt", ""},
                   {TreeEntry::File, "out/empty", "not empty"}};
    TreeInput project = out;
    Append(project, MakeSeedProject());
    write("ExtractFuzzer", "seed-project", WithScript(project, First + "\n0\n"));
    write("ExtractFuzzer", "seed-stripped", WithScript(project, First + "\n1\n*.txt\ndata/\n"));
    TreeInput odd = out;
    Append(odd, MakeOddNames());
    write("ExtractFuzzer", "seed-odd-names", WithScript(odd, First + "\n0\n"));
    TreeInput solution = out;
    Append(solution, MakeSeedTree());
    write("ExtractFuzzer", "seed-solution", WithScript(solution, Suite + "\n2\n**\n"));

    write("MountFuzzer", "seed-solution", WithScript(MakeSeedTree(), Suite + "\n\ndata\nDATA2\n..\n"));
    write("MountFuzzer", "seed-subdirectory", WithScript(MakeSeedTree(), Second + "\ndata\nstored.bin\n"));
    write("MountFuzzer", "seed-odd-names", WithScript(MakeOddNames(), First + "\n\na\nA\n"));
}

void WriteFetches(const SeedSink &write)
{
    const auto seed = [&](const char *name, const TreeInput &there, const TreeInput &here, const std::string &script)
    {
        TreeInput input = Moved(there, "there/");
        Append(input, Moved(here, "here/"));
        input.entries.push_back({TreeEntry::Directory, "outside", ""});
        write("FetchFuzzer", name, WithScript(input, script));
    };
    seed("seed-first", MakeSeedProject(), {}, "atlas/1.0.0.0\n0\n");
    seed("seed-delta", Only(MakeSeedTree(), BelongsToAtlas), MakeSeedProject(), "atlas/1.0.0.1\n32\n");
    seed("seed-solution", MakeSeedTree(), {}, "solution:suite/0.0.1.0\n0\n");
    TreeInput listed = Only(MakeSeedTree(), IsOfSecond);
    listed.entries.push_back({TreeEntry::File, Second + "shiplist", MakeShipList(listed, "MORV/", "atlas/1.0.0.1")});
    seed("seed-listed", listed, {}, "atlas/1.0.0.1\n0\n");
    seed("seed-without-names", listed, {}, "atlas/1.0.0.1\n4\n");
}

void WriteBundles(const SeedSink &write)
{
    const auto seed = [&](const char *name, const TreeInput &carried, const TreeInput &all, const std::string &base,
                          const TreeInput &here)
    {
        TreeInput input;
        input.entries.push_back(
            {TreeEntry::File, "bundle/bundle", MakeBundleHead(carried, "MORV/", "atlas/1.0.0.1", base)});
        input.entries.push_back({TreeEntry::File, "bundle/shiplist", MakeShipList(all, "MORV/", "atlas/1.0.0.1")});
        Append(input, Moved(carried, "bundle/", std::string("MORV/").size()));
        Append(input, Moved(here, "here/"));
        input.entries.push_back({TreeEntry::Directory, "outside", ""});
        input.entries.push_back({TreeEntry::WayOut, "here/MORV/projects/boreas", ""});
        write("BundleFuzzer", name, WithScript(input, ""));
    };
    const TreeInput all = Only(MakeSeedTree(), IsOfSecond);
    seed("seed-whole", all, all, "", {});
    const TreeInput carried = Only(all,
                                   [](const std::string &path)
                                   {
                                       return path.find("1.0.0.1") != std::string::npos;
                                   });
    seed("seed-delta", carried, all, "atlas/1.0.0.0", MakeSeedProject());
}

void WriteTexts(const SeedSink &write)
{
    const char *fuzzer = "DeliveryTextFuzzer";
    const TreeInput tree = MakeSeedProject();
    write(fuzzer, "seed-shiplist", std::string(1, '\0') + MakeShipList(tree, "MORV/", "atlas/1.0.0.0"));
    write(fuzzer, "seed-head",
          std::string(1, '\0') + MakeBundleHead(tree, "MORV/", "solution:suite/0.0.1.0", "atlas/1.0.0.0"));
    write(fuzzer, "seed-tree-path", "\1projects/a%25b/releases/1.0.0.0/deploy/x/y%0A");
    write(fuzzer, "seed-tag",
          "\1"
          "123 W/\"abc\"");
    write(fuzzer, "seed-answer",
          "\2HTTP/1.1 206 Partial Content\r\nContent-Length: 10\r\nContent-Range: bytes 5-14/100\r\n"
          "ETag: \"abc\"\r\nRetry-After: 3\r\nContent-Type: text/html\r\n\r\n");
    write(fuzzer, "seed-page",
          "\2<a href=\"../\">up</a><a href=\"./a%20b.vka\">x</a><a href=\"d/\">d</a>"
          "<a href=\"a&amp;b\">y</a><a href=\"http://x/\">z</a>");
    const std::string key = std::string("Ed") + std::string(8, 'i') + std::string(32, 'p');
    const std::string signature = std::string("ED") + std::string(8, 'i') + std::string(64, 's');
    write(fuzzer, "seed-signature",
          "\3untrusted comment: key\n" + Delivery::EncodeBase64(key) + "\n--\nuntrusted comment: x\n" +
              Delivery::EncodeBase64(signature) + "\ntrusted comment: y\n" +
              Delivery::EncodeBase64(std::string(64, 'g')) + "\n--\ncontent");

    const std::string line = std::string("\x40\x00\x02\x07\x00", 5);
    write("LineFormatFuzzer", "seed-every-token", line + "#D #E #G #H #L #M #T #x ##\nmessage");
    write("LineFormatFuzzer", "seed-no-room", std::string("\x05\x00\xFF\x00\x80", 5) + "#M\nlong message");
}
} // namespace

void MakeTreeSeeds(const SeedSink &write)
{
    WriteReaders(write);
    WriteArchiveDirectories(write);
    WriteWriters(write);
    WriteFetches(write);
    WriteBundles(write);
    WriteTexts(write);
}
} // namespace Keld::Fuzz
