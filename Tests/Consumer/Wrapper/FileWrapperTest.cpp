#include "Consumer/Wrapper/WrapperFixture.h"
#include "Support/InterruptingSignal.h"

#include <array>
#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>
#include <type_traits>

namespace Keld::Test
{
namespace
{
using MorvIO::Error;
using MorvIO::File;
using MorvIO::FileStream;
using MorvIO::Session;

template <class Object>
constexpr bool IsMoveOnly = std::is_nothrow_move_constructible_v<Object> &&std::is_nothrow_move_assignable_v<Object> &&
                            !std::is_copy_constructible_v<Object> && !std::is_copy_assignable_v<Object>;

static_assert(IsMoveOnly<Session> && IsMoveOnly<File> && IsMoveOnly<FileStream> && IsMoveOnly<MorvIO::Directory>);

// Larger than the buffer of a stream, and different in each place.
std::string LongText()
{
    std::string text;
    for (int line = 0; text.size() < 200'000; ++line)
    {
        text += "line " + std::to_string(line) + "\n";
    }
    return text;
}

class SessionWrapperTest : public WrapperFixture
{
};

TEST_F(SessionWrapperTest, EndsTheLibraryWithItsObject)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"a", "content"}});
    std::error_code error;
    {
        Session session = Session::Start(release, error);
        EXPECT_FALSE(error);
        EXPECT_TRUE(session);
        Session moved = std::move(session);
        EXPECT_TRUE(moved);
        EXPECT_TRUE(MorvIO::Exists("a"));
    }
    Session again = Session::Start(release, error);
    EXPECT_TRUE(again) << "the first one has ended: " << error.message();
    again.End();
    EXPECT_FALSE(again);
}

TEST_F(SessionWrapperTest, TakesARelativeDirectoryFromWhereTheProcessIs)
{
    mTree.Project("atlas", "1.0.0.0", {{"a", "content"}});
    const WorkingDirectory here(mTree.Path("projects"));
    std::error_code error;
    for (const char *const directory : {"atlas/releases/1.0.0.0", "./atlas/../atlas/releases/1.0.0.0/."})
    {
        const Session session = Session::Start(directory, error);
        EXPECT_TRUE(session) << directory;
        EXPECT_TRUE(MorvIO::Exists("a")) << directory;
    }
}

TEST_F(SessionWrapperTest, FailsOutsideOfAReleaseAndBesideARunningOne)
{
    std::error_code error;
    for (const std::string &directory : {mTree.Root(), std::string()})
    {
        EXPECT_FALSE(Session::Start(directory, error)) << directory;
        EXPECT_EQ(error, Error::StartFailed);
    }
    EXPECT_FALSE(Session::Start(std::string("a\0b", 3), error));
    EXPECT_EQ(error, std::errc::invalid_argument);

    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"a", "content"}});
    Start(release);
    {
        const Session second = Session::Start(release, error);
        EXPECT_FALSE(second);
        EXPECT_EQ(error, Error::StartFailed);
    }
    EXPECT_TRUE(MorvIO::Exists("a")) << "the first one goes on";
}

class FileWrapperTest : public WrapperFixture
{
};

TEST_F(FileWrapperTest, ReadsWholeFilesOfEveryStorage)
{
    const std::string text = LongText();
    StartInEveryStorage(text);
    for (const std::string &storage : Storages())
    {
        std::error_code error = Error::NotOpen;
        EXPECT_EQ(MorvIO::ReadText(storage + "/text", error), text) << storage;
        EXPECT_FALSE(error);
    }
}

TEST_F(FileWrapperTest, ReadsPiecesAndStopsAtTheEndOfTheContentInEveryStorage)
{
    StartInEveryStorage("0123456789");
    for (const std::string &storage : Storages())
    {
        SCOPED_TRACE(storage);
        std::error_code error = Error::NotOpen;
        const File file = File::Open(storage + "/text", error);
        ASSERT_TRUE(file) << error.message();
        EXPECT_EQ(file.GetSize(), 10u);
        std::array<char, 16> buffer{};
        EXPECT_EQ(file.ReadAt(3, buffer.data(), 4, error), 4u);
        EXPECT_EQ(std::string(buffer.data(), 5), std::string("3456\0", 5));
        EXPECT_EQ(file.ReadAt(8, buffer.data(), buffer.size(), error), 2u) << "what follows in the archive is not read";
        EXPECT_EQ(std::string(buffer.data(), 3), "895");
        EXPECT_EQ(file.ReadAt(10, buffer.data(), 1, error), 0u);
        EXPECT_EQ(file.ReadAt(0x1'0000'0000u, buffer.data(), 1, error), 0u) << "an offset does not wrap";
        EXPECT_FALSE(error);
    }
}

TEST_F(FileWrapperTest, TellsWhyAFileDoesNotOpen)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"data/a", "content"}, {"gone", "content"}}));
    mTree.Disk().Remove("MORV/projects/atlas/releases/1.0.0.0/deploy/gone");
    const std::vector<std::pair<std::string, Error>> expected = {
        {"data/b", Error::NotFound},  {std::string(2000, 'x'), Error::NotFound},
        {"data", Error::IsDirectory}, {"", Error::IsDirectory},
        {"gone", Error::CannotOpen},  {std::string("data\0/a", 7), Error::InvalidArgument},
        {"/data/a", Error::NotFound},
    };
    for (const auto &[path, reason] : expected)
    {
        std::error_code error;
        EXPECT_FALSE(File::Open(path, error)) << path;
        EXPECT_EQ(error, reason) << path << ": " << error.message();
    }
}

TEST_F(FileWrapperTest, TellsWhereTheStoredBytesEndTooEarly)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"a", std::string(3'000'000, 'x')}});
    Start(release);
    mTree.Disk().Write("MORV/projects/atlas/releases/1.0.0.0/deploy/a", "abc");
    std::error_code error;
    const File file = File::Open("a", error);
    ASSERT_TRUE(file);
    EXPECT_EQ(file.ReadText(error), "abc");
    EXPECT_EQ(error, Error::EndsEarly);
    EXPECT_EQ(error, std::errc::io_error);
    for (const std::streamsize size : {16, 100'000})
    {
        FileStream stream("a");
        std::string text(static_cast<std::size_t>(size), '\0');
        stream.read(text.data(), size);
        EXPECT_EQ(stream.gcount(), 3) << "what is there is delivered first";
        EXPECT_EQ(stream.GetError(), Error::EndsEarly);
        stream.clear();
        EXPECT_FALSE(stream.read(text.data(), size));
        EXPECT_EQ(stream.bad(), KELD_MORV_IO_EXCEPTIONS == 1);
    }
}

TEST_F(FileWrapperTest, ReadsNothingWithoutAnOpenFile)
{
    const File file;
    char byte = 0;
    std::error_code error;
    EXPECT_FALSE(file);
    EXPECT_EQ(file.GetSize(), 0u);
    EXPECT_EQ(file.ReadAt(0, &byte, 1, error), 0u);
    EXPECT_EQ(error, std::errc::bad_file_descriptor);
}

TEST_F(FileWrapperTest, MovesItsHandle)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", "content"}, {"b", ""}}));
    std::error_code error;
    File first = File::Open("a", error);
    OpenFileHandle *const handle = first.GetHandle();
    File second = std::move(first);
    EXPECT_EQ(second.GetHandle(), handle);
    EXPECT_EQ(second.ReadAll(error).size(), 7u);
    second.Close();
    EXPECT_FALSE(second);
    EXPECT_EQ(MorvIO::ReadAll("b", error), std::vector<std::byte>{});
    EXPECT_FALSE(error);
}

TEST_F(FileWrapperTest, ServesManyThreadsThroughOneFile)
{
    const std::string text = LongText();
    StartInEveryStorage(text);
    std::error_code error;
    const File file = File::Open("stored/text", error);
    ASSERT_TRUE(file);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::size_t thread = 0; thread < 4; ++thread)
    {
        threads.emplace_back(
            [&, thread]
            {
                std::array<char, 1000> piece{};
                for (std::size_t offset = thread * 1000; offset + piece.size() <= text.size(); offset += 4000)
                {
                    std::error_code mine;
                    const std::size_t count = file.ReadAt(offset, piece.data(), piece.size(), mine);
                    wrong += count != piece.size() || std::memcmp(piece.data(), &text[offset], count) != 0;
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

// More readers than the library has turns, so that some of them wait, where a signal finds them.
TEST_F(FileWrapperTest, IsNotEndedBySignals)
{
    const InterruptingSignal signal;
    const std::string text = LongText();
    StartInEveryStorage(text);
    std::error_code error;
    const File file = File::Open("stored/text", error);
    ASSERT_TRUE(file);
    std::atomic<int> wrong{0};
    std::atomic<std::size_t> finished{0};
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int thread = 0; thread < 8; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                std::vector<char> content(text.size());
                for (int round = 0; round < 200; ++round)
                {
                    std::error_code mine;
                    wrong += file.ReadAt(0, content.data(), content.size(), mine) != text.size() || mine;
                }
                ++finished;
            });
    }
    while (finished < threads.size())
    {
        for (std::thread &thread : threads)
        {
            pthread_kill(thread.native_handle(), SIGUSR1);
        }
        std::this_thread::yield();
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
}

#if defined(__cpp_lib_span)
TEST_F(FileWrapperTest, ReadsIntoASpan)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", "0123456789"}}));
    std::error_code error;
    const File file = File::Open("a", error);
    std::array<char, 4> letters{};
    EXPECT_EQ(file.ReadAt(6, std::as_writable_bytes(std::span(letters)), error), 4u);
    EXPECT_EQ(std::string(letters.data(), 4), "6789");
}
#endif

#if KELD_MORV_IO_EXCEPTIONS
TEST_F(FileWrapperTest, ThrowsWhereNobodyAsksForACode)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"data/a", "content"}}));
    EXPECT_EQ(MorvIO::ReadText("data/a"), "content");
    EXPECT_EQ(File::Open("data/a").ReadAll().size(), 7u);
    try
    {
        MorvIO::ReadText("data/b");
        FAIL() << "nothing was thrown";
    }
    catch (const std::system_error &error)
    {
        EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
        EXPECT_STREQ(error.what(), "data/b: no such file or directory");
    }
    EXPECT_THROW(Session::Start(mTree.Root()), std::system_error);
    EXPECT_THROW(MorvIO::Directory("data/a"), std::system_error);
    EXPECT_THROW(MorvIO::RecursiveDirectory("nowhere"), std::system_error);
    EXPECT_THROW(MorvIO::GetStatus("nowhere"), std::system_error);
}
#endif

class FileStreamWrapperTest : public WrapperFixture
{
};

TEST_F(FileStreamWrapperTest, GivesLinesAndTheWholeOfEveryStorage)
{
    const std::string text = LongText();
    StartInEveryStorage(text);
    for (const std::string &storage : Storages())
    {
        SCOPED_TRACE(storage);
        FileStream stream(storage + "/text");
        std::string line;
        for (int number = 0; number < 3; ++number)
        {
            ASSERT_TRUE(std::getline(stream, line));
            EXPECT_EQ(line, "line " + std::to_string(number));
        }
        stream.seekg(0);
        EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), text);
        EXPECT_FALSE(stream.GetError());
    }
}

TEST_F(FileStreamWrapperTest, SeeksAndTellsAsAFileOnDiskDoes)
{
    const std::string text = LongText();
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", text}}));
    std::ifstream disk(mTree.Path("projects/atlas/releases/1.0.0.0/deploy/a"), std::ios::binary);
    FileStream stream("a");
    const std::vector<std::pair<std::streamoff, std::ios::seekdir>> moves = {
        {100, std::ios::beg},      {50, std::ios::cur},     {-120, std::ios::cur}, {-10, std::ios::end},
        {-199'000, std::ios::end}, {70'000, std::ios::cur}, {0, std::ios::end},    {-1, std::ios::beg},
        {5, std::ios::end},        {0, std::ios::beg},
    };
    std::string expected(70'000, '\0');
    std::string given(70'000, '\0');
    for (const auto &[offset, from] : moves)
    {
        SCOPED_TRACE(offset);
        for (const std::streamsize size : {1, 20, 70'000})
        {
            disk.clear();
            stream.clear();
            disk.seekg(offset, from);
            stream.seekg(offset, from);
            EXPECT_EQ(stream.fail(), disk.fail());
            EXPECT_EQ(stream.tellg(), disk.tellg());
            disk.read(expected.data(), size);
            stream.read(given.data(), size);
            ASSERT_EQ(stream.gcount(), disk.gcount());
            EXPECT_EQ(given.compare(0, static_cast<std::size_t>(disk.gcount()), expected, 0,
                                    static_cast<std::size_t>(disk.gcount())),
                      0);
            EXPECT_EQ(stream.rdstate(), disk.rdstate());
        }
    }
}

TEST_F(FileStreamWrapperTest, GoesOnWhereItWasAfterAMove)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", "one two three"}, {"b", "four"}}));
    FileStream first("a");
    std::string word;
    first >> word;
    FileStream second(std::move(first));
    second >> word;
    EXPECT_EQ(word, "two");
    FileStream third("b");
    third = std::move(second);
    third >> word;
    EXPECT_EQ(word, "three");
}

TEST_F(FileStreamWrapperTest, FailsWhereNothingCanBeOpened)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a", "content"}}));
    FileStream stream("b");
    EXPECT_FALSE(stream);
    EXPECT_EQ(stream.GetError(), Error::NotFound);
    EXPECT_EQ(stream.get(), std::char_traits<char>::eof());
    FileStream empty{File()};
    EXPECT_FALSE(empty);
}
} // namespace
} // namespace Keld::Test
