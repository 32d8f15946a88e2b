#pragma once

#include "Tools/RandomTree.h"
#include "Tools/ReleaseReader.h"

#include "Support/KilledChild.h"
#include "Support/TempTree.h"

#include "Tools/Delivery/Fetch/Fetch.h"
#include "Tools/Delivery/Sources/OpenSource.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Test
{
/// A tree that somebody gives out, "server/MORV", and one that releases are fetched into, "client/MORV".
class FetchFixture : public testing::Test
{
protected:
    static constexpr MorvVersion First = 0x01000000;
    static constexpr MorvVersion Second = 0x01000001;

    std::string Server() const { return mTree.Path("server/MORV"); }
    std::string Client() const { return mTree.Path("client/MORV"); }

    /// Packs files into the server's tree: by the last letter of their names into archives ('a' stored, 'z' and 'l'
    /// compressed), managed ('m'), or naked.
    void Pack(const FileContents &files, MorvVersion release, std::optional<MorvVersion> base = {},
              const std::string &project = "game") const
    {
        using TreeReader::Compression;
        using TreeReader::Storage;
        std::filesystem::remove_all(mTree.Path("source"));
        for (const auto &[path, content] : files)
        {
            mTree.Write("source/" + path, content);
        }
        TreeWriter::PackRequest request;
        request.source = mTree.Path("source");
        request.root = Server();
        request.project = project;
        request.release = release;
        request.choice = {Storage::Naked, Compression::None};
        request.rules = {{"*a", {Storage::Archive, Compression::None}},
                         {"*z", {Storage::Archive, Compression::Zlib}},
                         {"*l", {Storage::Archive, Compression::Lzma}},
                         {"*m", {Storage::Managed, Compression::None}}};
        if (base)
        {
            request.base = *base;
        }
        request.sync = false; // no test loses power
        TreeWriter::PackRelease(request);
    }

    /// Files of every storage, some of them large enough to come in several pieces.
    static FileContents SomeFiles()
    {
        FileContents files;
        RandomTree random(7);
        for (const char *name : {"data/a", "data/z", "data/l", "data/m", "data/n", "b.a", "b.z", "b.l", "b.m", "b.n"})
        {
            files[name] = "begin of " + std::string(name) + random.MakeContent();
        }
        files["large.a"] = std::string(300'000, 'a') + "end";
        files["large.n"] = std::string(200'000, 'n') + "end";
        files["odd name, 100%#?.n"] = "odd";
        files["empty.n"] = "";
        return files;
    }

    Delivery::FetchRequest Request(MorvVersion release = First) const
    {
        Delivery::FetchRequest request;
        request.wanted = {false, "game", release};
        request.root = Client();
        request.threadCount = 2;
        request.sync = false;
        return request;
    }

    Delivery::FetchReport FetchFrom(const std::string &source, const Delivery::FetchRequest &request) const
    {
        Delivery::SourceOptions options;
        options.retries = 2;
        options.patienceSeconds = 60; // more than a loaded machine takes to answer
        return Delivery::Fetch(*Delivery::OpenSource(source, mTree.Root(), options), request);
    }

    Delivery::FetchReport FetchRelease(MorvVersion release = First) const
    {
        return FetchFrom(Server(), Request(release));
    }

    /// What a fetch is refused with; empty where it goes well.
    std::string Refusal(const std::string &source, const Delivery::FetchRequest &request) const
    {
        try
        {
            FetchFrom(source, request);
        }
        catch (const std::exception &error)
        {
            return error.what();
        }
        return "";
    }

    /// Kills the process at a piece of a file that comes, the first being 0: for FetchRequest::advance.
    static std::function<void(uint64)> KillAtPiece(int number)
    {
        return [killer = KillAtCall(number)](uint64)
        {
            killer();
        };
    }

    void ExpectRefusal(const std::string &source, const Delivery::FetchRequest &request,
                       const std::string &reason) const
    {
        const std::string refusal = Refusal(source, request);
        EXPECT_NE(refusal.find(reason), std::string::npos) << refusal;
    }

    std::string ReleaseDirectory(MorvVersion release, const std::string &project = "game") const
    {
        return TreeReader::TreePlaces(Client()).Release(project, release).string();
    }

    bool IsHere(MorvVersion release) const
    {
        return std::filesystem::exists(ReleaseDirectory(release) + "/releasemanifest");
    }

    /// Reads every file of a release here through the library.
    void ExpectServes(MorvVersion release, const FileContents &files) const
    {
        const ReleaseReader reader(ReleaseDirectory(release));
        ASSERT_TRUE(reader.IsStarted());
        EXPECT_EQ(reader.FindAll().size(), files.size());
        for (const auto &[path, content] : files)
        {
            EXPECT_EQ(reader.Read(path) == content, true) << path;
        }
    }

    bool HasStaging() const { return mTree.Exists("client/MORV/arriving"); }

    TempTree mTree;
};
} // namespace Keld::Test
