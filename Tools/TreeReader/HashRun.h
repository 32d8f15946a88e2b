#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <memory>
#include <string_view>

struct evp_md_ctx_st;

namespace Keld::TreeReader
{
/// One run of a cryptographic hash function over bytes that come in pieces, by libcrypto. For one thread at a time.
/// Every call throws std::runtime_error where libcrypto has no such function or no memory.
class HashRun
{
public:
    enum class Function : uint8
    {
        Md5,    ///< RFC 1321; 16 bytes
        Sha256, ///< FIPS 180-4; 32 bytes
    };

    explicit HashRun(Function function);
    ~HashRun();

    void Update(std::string_view bytes);

    /// The last call.
    /// \param result of the size that the function gives
    void Finish(unsigned char *result);

private:
    struct ContextCloser
    {
        void operator()(evp_md_ctx_st *context) const;
    };

    void Require(int result) const;

    std::unique_ptr<evp_md_ctx_st, ContextCloser> mContext;
    const char *mName; ///< of the function, for messages
};
} // namespace Keld::TreeReader
