#pragma once

#include "Benchmarks/Comparison/Neighbour.h"

#include <functional>

namespace Keld::Benchmarks
{
/// The neighbours that hold a set of files, each written below a workplace and opened. What cannot be had here is left
/// out with a note.
class Neighbours
{
public:
    struct Member
    {
        NeighbourKind kind;
        std::unique_ptr<Neighbour> neighbour;
    };

    using Filter = std::function<bool(const NeighbourKind &)>;

    Neighbours(
        const Workplace &place, const std::vector<ContentFile> &files, bool compressed,
        const Filter &wanted =
            [](const NeighbourKind &)
        {
            return true;
        });

    const std::vector<Member> &Members() const { return mMembers; }

private:
    std::vector<Member> mMembers;
};

/// Where a kind's files are, below a workplace. Makes the directory and writes them.
std::string WriteNeighbour(const NeighbourKind &kind, const Workplace &place, const std::vector<ContentFile> &files,
                           bool compressed);
} // namespace Keld::Benchmarks
