#pragma once

#include "Tools/TreeReader/TreeError.h"

#include <string>

namespace Keld::Delivery
{
/// Why a source does not give what it is asked for, for a program. The text tells a person.
enum class SourceTrouble
{
    NotThere,    ///< it has no such file
    NotAllowed,  ///< it has, or may have, but does not give it to us
    Unreachable, ///< it did not answer, or not to the end, however often it was asked
    Untrue,      ///< it gives something else than it should: another length, a web page, too much
    NoRanges,    ///< it gives whole files alone
    Failed       ///< anything else
};

class SourceError : public TreeReader::TreeError
{
public:
    SourceError(SourceTrouble trouble, const std::string &text) : TreeError(text), mTrouble(trouble) {}

    SourceTrouble GetTrouble() const { return mTrouble; }

private:
    SourceTrouble mTrouble;
};
} // namespace Keld::Delivery
