#pragma once

#include "Tools/morv/Manual/CommandFacts.h"

#include <map>
#include <string>
#include <vector>

namespace Keld::Morv
{
/// One way to go on with a word.
struct Candidate
{
    std::string word;        ///< the whole word, with what was typed of it
    std::string description; ///< may be empty

    bool operator==(const Candidate &) const = default;
};

/// What the shell has to do besides showing the candidates.
enum class Completion
{
    Words,       ///< nothing
    Paths,       ///< no space behind a candidate that ends in "/"
    Files,       ///< complete the names of files itself
    Directories, ///< the same for directories alone
};

struct Completions
{
    Completion kind = Completion::Words;
    std::vector<Candidate> candidates;
};

/// What may stand for a value or an operand.
enum class ValueKind
{
    Anything, ///< a number, a size, a pattern: nothing to offer
    File,
    Directory,
    Storage,
    Method,
    Project,   ///< a project of the tree
    Solution,  ///< a solution of the tree
    Version,   ///< a version of the project that --project names, or of the solution
    Reference, ///< "client/1.0.0.0", "solution:suite/0.0.1.0" or a directory
    Path,      ///< a virtual path of the release that the command works on
    Unknown    ///< a word that the table lacks; a test finds none
};

ValueKind KindOfValue(const OptionFacts &option);

/// What can stand behind the words typed so far.
/// \param words what stands behind the tool's name; the last one is being typed and may be empty.
Completions Complete(const ToolFacts &facts, const std::vector<std::string> &words);
} // namespace Keld::Morv
