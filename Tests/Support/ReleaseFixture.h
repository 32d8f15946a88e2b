#pragma once

#include "KeldMorvIO.h"
#include "Support/LogRecorder.h"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Keld::Test
{
/// One release from the consumer's side: a tree on disk, a start, calls, results, and the lines that were logged. It
/// sees the exported calls alone. A test reads like this:
///
///     Start(mTree.Project("atlas", "1.0.0.0", {{"data/a.txt", "content"}}));
///     EXPECT_EQ(Content("data/a.txt"), "content");
///     EXPECT_EQ(List("*"), Names({"data/"}));
///     ExpectFailures({});
///
/// The library is stopped before the tree goes.
class ReleaseFixture : public testing::Test
{
protected:
    using Names = std::vector<std::string>;

    static constexpr const char *InitializeSignature =
        "HRESULT Keld::MORV::Reader::MorvExportsMain::Initialize(const char *)";

    ReleaseFixture()
    {
        MorvShutdown();
        MorvSetLogger(LogRecorder::Table());
        LogRecorder::Clear();
    }

    ~ReleaseFixture() override
    {
        MorvShutdown();
        LogRecorder::Clear();
    }

    static HRESULT Initialize(const std::string &directory) { return MorvInitialize(0, 0, 0, directory.c_str()); }

    /// Starts, or fails the test.
    static void Start(const std::string &directory) { ASSERT_EQ(Initialize(directory), S_OK) << directory; }

    /// All of a file, or "<not opened>".
    static std::string Content(const std::string &path)
    {
        OpenFileHandle *const handle = MorvOpenFile(path.c_str());
        if (handle == nullptr)
        {
            return "<not opened>";
        }
        std::string content(static_cast<std::size_t>(MorvGetFileSize(handle)), '\0');
        std::uint32_t bytesRead = 0;
        EXPECT_EQ(MorvRead(handle, 0, static_cast<std::uint32_t>(content.size()), &bytesRead, content.data()), S_OK);
        EXPECT_EQ(bytesRead, content.size());
        MorvCloseFile(handle);
        return content;
    }

    /// Opens a file that is still open when the library stops. Nobody can close it then, so it is kept for good.
    static void OpenAndAbandon(const std::string &path)
    {
        static std::vector<OpenFileHandle *> *const abandoned = new std::vector<OpenFileHandle *>;
        abandoned->push_back(MorvOpenFile(path.c_str()));
        ASSERT_NE(abandoned->back(), nullptr) << path;
    }

    /// The names of an enumeration, directories with a '/' behind them; {"<null>"} when there is no handle.
    static Names List(const std::string &path)
    {
        FindHandle *const handle = MorvFindFirstFile(path.c_str());
        if (handle == nullptr)
        {
            return {"<null>"};
        }
        Names names;
        std::uint32_t isDirectory = 0;
        char name[1024];
        while (MorvFindNextFile(handle, &isDirectory, nullptr, sizeof name, name) == S_OK)
        {
            names.push_back(isDirectory != 0 ? name + std::string("/") : name);
        }
        MorvFindClose(handle);
        return names;
    }

    /// Holds every line since the last look against `expected`, and forgets them.
    static void ExpectAll(const std::vector<ExpectedLine> &expected)
    {
        ExpectLines(LogRecorder::Lines(), expected);
        LogRecorder::Clear();
    }

    /// The same for warnings and errors alone.
    static void ExpectFailures(const std::vector<ExpectedLine> &expected)
    {
        ExpectLines(LogRecorder::Failures(), expected);
        LogRecorder::Clear();
    }

    TestTree mTree;
};
} // namespace Keld::Test
