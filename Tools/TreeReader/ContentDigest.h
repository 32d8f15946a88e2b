#pragma once

#include "Tools/TreeReader/ReleaseContents.h"

#include <memory>
#include <string_view>

struct evp_md_ctx_st;

namespace Keld::TreeReader
{
/// The digest that the writer gives a file: MD5 over its content. The reader never interprets it; delta releases
/// compare by it.
class ContentDigest
{
public:
    ContentDigest();
    ~ContentDigest();

    void Update(std::string_view bytes);
    Digest Finish();

private:
    struct ContextCloser
    {
        void operator()(evp_md_ctx_st *context) const;
    };

    std::unique_ptr<evp_md_ctx_st, ContextCloser> mContext;
};

Digest DigestOf(std::string_view content);
} // namespace Keld::TreeReader
