#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace Keld::TreeReader
{
/// What is wrong, for a program. The text of a fault tells a person.
enum class FaultKind
{
    NoRelease,       ///< the place or the words name no release
    NotThere,        ///< a file or directory is missing
    WrongKind,       ///< something else stands where a file or a directory should
    NotAllowed,      ///< a file cannot be read, or a directory on the way cannot be entered, for lack of permission
    NoDescriptors,   ///< this process or the system can open no more files
    ReadError,       ///< the system could not read
    PathTooLong,     ///< a path on disk would have 1,024 bytes or more, and the library refuses it
    BadManifest,     ///< a release manifest that is none, or is damaged
    BadSolution,     ///< a manifest of a solution that cannot be used
    BadIndex,        ///< an archive index that is none, or is damaged; the library deletes it
    EmptyIndex,      ///< an archive index whose files have no bytes; the library deletes it
    UnreadableIndex, ///< an archive index that cannot be read; the library deletes it where it may
    NoArchives,      ///< a version has no usable archive index
    NotInArchives,   ///< no archive of the version knows the path
    EndsEarly,       ///< a file ends before its content does
    WrongSize,       ///< the sizes of manifest and archive differ for a file that is not compressed
    DamagedData,     ///< compressed bytes that the library refuses
    WrongDigest,     ///< the content is not the one that was packed
    WrongName,       ///< a manifest that names another project, solution or version than its directory
    UnsafeName,      ///< a name that is none: "..", one with a '/' in it, an empty one
    DuplicateName,   ///< names of one directory that differ in case alone or not at all
    Unreachable,     ///< what no path leads to, in the eyes of the library
    OtherSpelling,   ///< a path that manifest and archive index spell differently
    BadRecord,       ///< a record of an archive index whose hash, place or path is wrong
    Overlap,         ///< records of an archive index that share a part of their bytes
    UnusedData,      ///< bytes that are not what they were written as, but that nobody looks at
    NotReferred,     ///< something that no release refers to
};

/// A short word for a kind, as "damaged-data", which does not change between versions of the tool.
const char *NameOf(FaultKind kind);

/// Whether a fault leaves open what stands at its path: the next look may find a good file there.
bool IsDoubt(FaultKind kind);

/// One thing that is wrong, as a value. `path` is where, on disk or virtual; `text` goes on behind it.
struct Fault
{
    FaultKind kind;
    std::string path;
    std::string text;
    uint64 offset = 0; ///< of the bytes concerned in the file at `path`, where `size` is not 0
    uint64 size = 0;

    /// "path: text".
    std::string GetMessage() const { return path + ": " + text; }
};

/// A value, or why there is none. Functions of the reading core throw nothing of their own.
template <class Value>
class [[nodiscard]] Result
{
public:
    // Not explicit, so that a function can return either.
    Result(Value value) : mState(std::in_place_index<0>, std::move(value)) {}
    Result(Fault fault) : mState(std::in_place_index<1>, std::move(fault)) {}

    explicit operator bool() const { return mState.index() == 0; }

    /// Only of a result that has one.
    Value &operator*() { return *std::get_if<0>(&mState); }
    const Value &operator*() const { return *std::get_if<0>(&mState); }
    Value *operator->() { return std::get_if<0>(&mState); }
    const Value *operator->() const { return std::get_if<0>(&mState); }

    /// Only of a result without a value.
    const Fault &GetFault() const { return *std::get_if<1>(&mState); }

private:
    std::variant<Value, Fault> mState;
};

/// Nothing, or what went wrong.
using Failure = std::optional<Fault>;
} // namespace Keld::TreeReader
