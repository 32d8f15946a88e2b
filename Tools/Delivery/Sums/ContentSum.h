#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <array>
#include <memory>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace Keld::Delivery
{
/// SHA-256 over all bytes of a file on disk: what shiplists and bundles tell of a file, and what nobody can forge. (The
/// digest in a manifest is over the content, uncompressed, and guards against accidents alone.)
using ContentSum = std::array<unsigned char, 32>;

class ContentSummer
{
public:
    ContentSummer();
    ~ContentSummer();

    void Update(std::string_view bytes);
    ContentSum Finish();

private:
    struct ContextCloser
    {
        void operator()(evp_md_ctx_st *context) const;
    };

    std::unique_ptr<evp_md_ctx_st, ContextCloser> mContext;
};

ContentSum SumOf(std::string_view bytes);

/// Two hexadecimal digits for each byte, in lower case.
std::string FormatSum(const ContentSum &sum);

/// False for anything but that form.
bool ReadSum(std::string_view text, ContentSum &sum);
} // namespace Keld::Delivery
