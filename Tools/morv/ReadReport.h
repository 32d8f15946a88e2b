#pragma once

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Json.h"

#include <string>

namespace Keld::Morv
{
class FileSystem;

/// What a command could not do. Each failure is printed at once, and kept for the command's document.
class FailureList
{
public:
    /// \param message "path: what is wrong", for a person.
    void Add(const std::string &path, const std::string &message);

    bool IsEmpty() const { return mDocument.empty(); }

    /// An array of {"path", "message"}.
    const Json &GetDocument() const { return mDocument; }

private:
    Json mDocument = Json::array();
};

/// {"kind": "project" or "solution", "name", "version", "root"}.
Json ReleaseValue(const TreeReader::Reference &release);

/// The document of a command that looks into one release.
Json NewReadDocument(const std::string &command, const TreeReader::Reference &release);

/// {"files", "missing", "examples", "indexes"}, or null when all is whole.
Json DamageValue(const TreeReader::Census &census);

/// Adds "whole" and "damage".
void AddDamage(Json &document, const FileSystem &files);

/// ExitNo when something failed, or when not all could be served.
ExitCode ResultOf(const FailureList &failures, bool isDamaged);
} // namespace Keld::Morv
