#pragma once

#include "KeldMorvIO/ReaderTypes.h"

namespace Keld::MORV::Reader
{
/// The steps by which one function reads its part of a text manifest. A step that fails logs its own line in the name
/// of that function, and its code is the function's result. Steps are chained with &&, so that the first failure is the
/// last step:
///
///     const bool complete = steps.Take(ReadString(file, name, ManifestLineLimit), "%s: Failed to read name") &&
///                           steps.Require(!name.empty(), "%s: The name is empty");
class ManifestSteps
{
public:
    /// \param signature  of the function that reads, for the log; must outlive this object.
    explicit ManifestSteps(const char *signature) : mSignature(signature) {}

    ManifestSteps(const ManifestSteps &) = delete;
    ManifestSteps &operator=(const ManifestSteps &) = delete;

    /// The outcome of a call that has logged its own failure, if it has one.
    /// \param line  what to log for a failure: a format whose one argument is the signature.
    __attribute__((format(printf, 3, 0))) bool Take(HRESULT result, const char *line);

    /// A condition on what was read. A false one is E_FAIL.
    __attribute__((format(printf, 3, 0))) bool Require(bool holds, const char *line);

    /// S_OK, or the code of the step that failed.
    HRESULT GetResult() const { return mResult; }

private:
    const char *mSignature;
    HRESULT mResult = S_OK;
};
} // namespace Keld::MORV::Reader
