#pragma once

#include "Tools/TreeReader/ReleaseContents.h"

#include <memory>
#include <string_view>

struct evp_md_ctx_st;

namespace Keld::TreeWriter
{
/// The digest that the writer gives a file: MD5 over its content. The reader never interprets it; delta releases
/// compare by it.
class ContentDigest
{
public:
    ContentDigest();
    ~ContentDigest();

    void Update(std::string_view bytes);
    TreeReader::Digest Finish();

private:
    struct ContextCloser
    {
        void operator()(evp_md_ctx_st *context) const;
    };

    std::unique_ptr<evp_md_ctx_st, ContextCloser> mContext;
};

TreeReader::Digest DigestOf(std::string_view content);
} // namespace Keld::TreeWriter
