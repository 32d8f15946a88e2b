#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Keld::Common
{
/// An open file or directory, closed at its end.
class Descriptor
{
public:
    explicit Descriptor(int number = -1) : mNumber(number) {}
    ~Descriptor() { Close(); }

    Descriptor(Descriptor &&other) noexcept : mNumber(other.Release()) {}
    Descriptor &operator=(Descriptor &&other) noexcept
    {
        if (this != &other)
        {
            Close();
            mNumber = other.Release();
        }
        return *this;
    }

    int Get() const { return mNumber; }
    bool IsOpen() const { return mNumber >= 0; }

    /// False, with errno set, where what was written did not all arrive. Closed it is in any case.
    bool Close();

    int Release();

private:
    int mNumber;
};

/// A directory that files are written into by relative paths. Whatever symbolic links stand in it, nothing is made
/// outside: none of them is followed. Any thread may use it. All calls throw std::system_error.
class OutputDirectory
{
public:
    /// How a path below is opened: by one call of a kernel that can hold it below the directory (openat2), or name by
    /// name, which gives the same.
    enum class Way
    {
        KernelElseWalk,
        Walk
    };

    /// Opens a directory; it is made where it is missing, with those above it.
    explicit OutputDirectory(const std::string &path, Way way = Way::KernelElseWalk);

    /// A directory below, made where it is missing. The empty path is the directory itself.
    /// \param relative names with '/' between, none of them empty, "." or ".."
    Descriptor OpenBelow(const std::string &relative) const;

private:
    int OpenExisting(const std::string &relative) const;
    int OpenByWalk(const std::string &relative) const;
    void Make(const std::string &relative) const;
    [[noreturn]] void Refuse(const std::string &relative, int error) const;

    Descriptor mDirectory;
    Way mWay;
};

/// A file in the making. It stands under a temporary name in its directory until it is whole; where it is destroyed
/// before, nothing of it stays. All calls throw std::system_error.
class NewFile
{
public:
    /// Under which temporary name it stands.
    enum class Temporary
    {
        Unforeseen, ///< one that nobody can foresee; what a killed process left is for RemoveLeftovers
        Known       ///< one for each name: who is next to make it takes over what a killed process left
    };

    /// \param directory open, and stays so as long as this
    /// \param name      what it will be called; a name, not a path
    NewFile(int directory, std::string name, Temporary temporary = Temporary::Unforeseen);
    ~NewFile();

    NewFile(const NewFile &) = delete;
    NewFile &operator=(const NewFile &) = delete;

    void Write(std::string_view bytes);

    /// Gives the file its name. A file or symbolic link of that name is replaced; a directory is refused.
    void Publish();

private:
    void OpenUnforeseen();
    bool IsHeld() const;
    void OpenKnown();
    bool TryOpenKnown();

    int mDirectory;
    std::string mName;
    std::string mTemporaryName; ///< empty once it is published
    Descriptor mFile;
};

/// Removes the temporary files of unforeseen names that killed processes left in a directory. A process that lives
/// holds a lock on each of its own, and those stay; so do all where the file system knows no locks. \param directory
/// open \returns how many were removed
std::size_t RemoveLeftovers(int directory);
} // namespace Keld::Common
