#pragma once

#include "Support/TempTree.h"

#include <cstdio>
#include <memory>
#include <string>

namespace Keld::Test
{
struct CloseStream
{
    void operator()(FILE *file) const { std::fclose(file); }
};

using Stream = std::unique_ptr<FILE, CloseStream>;

/// Text files on disk, opened as the manifests are.
class TextFiles
{
public:
    std::string Write(const std::string &text) const { return mTree.Write("manifest", text); }

    /// A stream that stands at the start of `text`.
    Stream Open(const std::string &text) const { return Stream(std::fopen(Write(text).c_str(), "rt")); }

    /// A stream whose every read fails: Linux opens directories, but does not read them.
    Stream OpenUnreadable() const { return Stream(std::fopen(mTree.Root().c_str(), "rt")); }

    const TempTree &Disk() const { return mTree; }

private:
    TempTree mTree;
};
} // namespace Keld::Test
