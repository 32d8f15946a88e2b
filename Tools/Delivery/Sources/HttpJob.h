#pragma once

#include "Tools/Delivery/Sources/HttpHead.h"
#include "Tools/Delivery/Sources/SourceError.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <exception>
#include <optional>
#include <string>
#include <string_view>

namespace Keld::Delivery
{
/// What one attempt asks of a server.
struct HttpAsk
{
    std::string path; ///< below the root of the source
    bool headOnly = false;
    uint64 offset = 0;
    std::optional<uint64> end = {}; ///< of the range; without one, and with offset 0, the whole file is meant
    std::string ifRange = {};       ///< the range is wanted only of the file that this identifies
};

/// Something that may go well when it is tried again.
class PassingTrouble : public std::exception
{
public:
    explicit PassingTrouble(std::string text) : mText(std::move(text)) {}

    const char *what() const noexcept override { return mText.c_str(); }

private:
    std::string mText;
};

/// One thing that is wanted of a server, through as many attempts as that takes. What a call throws ends the job, but
/// for PassingTrouble, after which there is another attempt.
class HttpJob
{
public:
    virtual ~HttpJob() = default;

    /// An attempt begins.
    virtual HttpAsk Begin() = 0;

    /// The server gives the file (status 200) or a part of it (206).
    virtual void TakeHead(const HttpHead &head) = 0;
    virtual void TakeBytes(std::string_view bytes) = 0;

    /// The answer ended as the server meant it to.
    virtual void TakeEnd() = 0;

    /// The server has no such file.
    /// \param name what to call it in a message
    virtual void TakeLack(const std::string &name) = 0;

    /// The server does not give the file to us. Some say so of any file that is not there.
    virtual void TakeRefusal(const std::string &name)
    {
        throw SourceError(SourceTrouble::NotAllowed, name + ": the server does not allow us to read it");
    }

    /// The server has no such range of the file.
    virtual void TakeBadRange() { throw PassingTrouble("the server has no such range of bytes"); }

protected:
    HttpJob() = default;
    HttpJob(const HttpJob &) = default;
    HttpJob &operator=(const HttpJob &) = default;
};
} // namespace Keld::Delivery
