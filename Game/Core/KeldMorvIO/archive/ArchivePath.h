#pragma once

#include <string>

namespace Keld::MORV::Reader
{
/// A path to be looked up in archives. Its text is made when somebody wants to see it: a hash tells most archives from
/// each other, and traces that nobody wants need none either. The text of a deep path is much longer than its name.
class ArchivePath
{
public:
    virtual const std::string &GetPath() = 0;

protected:
    ~ArchivePath() = default;
};

/// A path whose text is there.
class GivenPath final : public ArchivePath
{
public:
    /// \param path borrowed.
    explicit GivenPath(const std::string &path) : mPath(path) {}
    const std::string &GetPath() override { return mPath; }

private:
    const std::string &mPath;
};
} // namespace Keld::MORV::Reader
