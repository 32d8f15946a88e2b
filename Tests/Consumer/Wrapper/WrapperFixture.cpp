#include "Consumer/Wrapper/WrapperFixture.h"

#include "KeldLogger.h"

#include <cstdlib>

namespace Keld::Test
{
namespace
{
KeldGroupMask RegisterNoGroup(const char *)
{
    return {0, 0};
}

void DropMessage(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list) {}

// Never destroyed: the library may log until the process ends.
const IKeldLogger *SilentLogger()
{
    static const IKeldLogger table = []
    {
        IKeldLogger logger{};
        logger.RegisterGroup = RegisterNoGroup;
        logger.Log = DropMessage;
        return logger;
    }();
    return &table;
}
} // namespace

WrapperFixture::WrapperFixture()
{
    MorvSetLogger(SilentLogger());
}

WrapperFixture::~WrapperFixture()
{
    MorvShutdown(); // a test may have started the library by a path call
}

void WrapperFixture::Start(const std::string &directory)
{
    std::error_code error;
    mSession = MorvIO::Session::Start(directory, error);
    ASSERT_FALSE(error) << error.message() << ": " << directory;
}

void WrapperFixture::StartInEveryStorage(const std::string &content)
{
    for (const std::string &storage : Storages())
    {
        mTree.Disk().Write("source/" + storage + "/text", content);
    }
    const std::string command = "cd '" + mTree.Disk().Root() +
                                "' && " KELD_MORV_PROGRAM
                                " pack source --root MORV --project atlas --release 1.0.0.0 -q --storage archive"
                                " --rule 'naked/**=naked' --rule 'managed/**=managed' --rule 'stored/**=archive:none'"
                                " --rule 'zlib/**=archive:zlib' --rule 'lzma/**=archive:lzma'";
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
    Start(mTree.Path("projects/atlas/releases/1.0.0.0"));
}

const std::vector<std::string> &WrapperFixture::Storages()
{
    static const std::vector<std::string> *const storages =
        new std::vector<std::string>{"naked", "managed", "stored", "zlib", "lzma"};
    return *storages;
}
} // namespace Keld::Test
