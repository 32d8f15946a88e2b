#include "Tools/TreeReader/DirectoryVisit.h"

#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"

#include <cerrno>

namespace Keld::TreeReader
{
namespace
{
class Visit
{
public:
    Visit(const DirectoryVisitor &visitor, bool isDeep) : mVisitor(visitor), mIsDeep(isDeep) {}

    Failure ShowDirectory(const std::string &directory)
    {
        const Result<std::vector<std::string>> names = ReadNames(directory);
        if (!names)
        {
            return names.GetFault();
        }
        for (const std::string &name : *names)
        {
            if (Failure failure = Show(directory + "/" + name); failure || mIsEnded)
            {
                return failure;
            }
        }
        return std::nullopt;
    }

private:
    Failure Show(const std::string &path)
    {
        struct stat status = {};
        if (lstat(path.c_str(), &status) != 0)
        {
            return LeaveOutVanished(ExplainSystemError(path, errno));
        }
        mIsEnded = !mVisitor(path, status);
        const bool isEntered = !mIsEnded && mIsDeep && S_ISDIR(status.st_mode);
        return isEntered ? LeaveOutVanished(ShowDirectory(path)) : std::nullopt;
    }

    static Failure LeaveOutVanished(Failure failure)
    {
        return failure && failure->kind == FaultKind::NotThere ? std::nullopt : std::move(failure);
    }

    const DirectoryVisitor &mVisitor;
    const bool mIsDeep;
    bool mIsEnded = false;
};
} // namespace

Failure VisitDirectory(const std::string &directory, const DirectoryVisitor &visitor)
{
    return Visit(visitor, false).ShowDirectory(directory);
}

Failure VisitTree(const std::string &directory, const DirectoryVisitor &visitor)
{
    return Visit(visitor, true).ShowDirectory(directory);
}

void RequireNoDoubt(const Failure &failure)
{
    if (failure && IsDoubt(failure->kind))
    {
        throw TreeError(failure->GetMessage());
    }
}

std::vector<std::string> RequireNames(const std::string &directory)
{
    Result<std::vector<std::string>> names = ReadNames(directory);
    if (!names)
    {
        RequireNoDoubt(names.GetFault());
        return {};
    }
    return std::move(*names);
}
} // namespace Keld::TreeReader
