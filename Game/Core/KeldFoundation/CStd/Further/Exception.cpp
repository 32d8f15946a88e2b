#include "KeldFoundation/CStd/Further/Exception.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld
{
std_exception::std_exception() : std_exception("unknown") {}

std_exception::std_exception(const char *what)
{
    std_strncpy(mWhat, sizeof mWhat, what, TRUNCATE);
}

std_exception::~std_exception() = default;

const char *std_exception::what() const noexcept
{
    return mWhat;
}
} // namespace Keld
