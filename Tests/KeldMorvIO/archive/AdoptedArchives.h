#pragma once

#include "KeldMorvIO/archive/ArchiveFile.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// Archives of one version, without files on disk, and what asking one after the other answers.
class AdoptedArchives : public ::testing::Test
{
protected:
    void Adopt(const std::string &bytes)
    {
        LargeVector<char> image(bytes.begin(), bytes.end());
        ASSERT_TRUE(mArchives.emplace_back().Adopt(image));
        mAsked.push_back(&mArchives.back());
    }

    void Forget()
    {
        mArchives.clear();
        mAsked.clear();
    }

    struct Answer
    {
        const ArchiveFile *archive = nullptr;
        uint32 offset = 0;
        uint32 size = 0;

        bool operator==(const Answer &) const = default;
    };

    Answer AskEach(const std::string &path) const
    {
        for (const ArchiveFile *const archive : mAsked)
        {
            Answer answer{archive};
            if (archive->Search(path, answer.offset, answer.size))
            {
                return answer;
            }
        }
        return {};
    }

    std::deque<ArchiveFile> mArchives;
    std::vector<const ArchiveFile *> mAsked;
};
} // namespace Keld::MORV::Reader
