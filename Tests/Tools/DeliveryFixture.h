#pragma once

#include "Tools/FetchFixture.h"

namespace Keld::Test
{
/// Every way in which a release or a solution comes to a tree, or is mended there.
enum class Delivering
{
    FetchRelease,
    FetchSolution,
    ApplyRelease,
    ApplySolution,
    RepairRelease,
    RepairSolution
};

/// How whoever delivers is followed, and stopped.
struct DeliveryHooks
{
    std::function<void()> step = [] {};
    std::function<void(uint64)> advance = [](uint64) {};
};

/// A client that has an old release and an old solution, and is on the way to new ones: by fetching, by applying a
/// bundle, or by mending the new ones, which are damaged then.
class DeliveryFixture : public FetchFixture, public testing::WithParamInterface<Delivering>
{
protected:
    DeliveryFixture();

    static bool IsApplied();
    static bool IsRepaired();
    static bool IsOfSolution();

    /// The client as it is before.
    void BeginAnew() const;

    /// Throws what ends it.
    void Deliver(const std::string &source, const DeliveryHooks &hooks) const;

    /// What delivering is refused with; empty where it goes well.
    std::string DeliveryRefusal(const std::string &source, const DeliveryHooks &hooks = {}) const;

    void ExpectOldServes() const;
    void ExpectNewServes() const;

    /// Whether a program could start in what is delivered.
    bool IsTargetSeen() const;

private:
    static inline const TreeReader::ReleaseName OldGame{false, "game", First};
    static inline const TreeReader::ReleaseName NewGame{false, "game", Second};
    static inline const TreeReader::ReleaseName OldSuite{true, "suite", 0x00000100};
    static inline const TreeReader::ReleaseName NewSuite{true, "suite", 0x00000200};

    static const TreeReader::ReleaseName &Target() { return IsOfSolution() ? NewSuite : NewGame; }

    void WriteSolution(MorvVersion version, MorvVersion game) const;
    void WriteBundle() const;
    void Apply(const DeliveryHooks &hooks) const;
    void Repair(Delivery::Source &source, const DeliveryHooks &hooks) const;
    void FetchNamed(const TreeReader::ReleaseName &name) const;

    /// What the old ones are served from stays as it is.
    void DamageTheNew() const;

    std::string DirectoryOf(const TreeReader::ReleaseName &name) const;
    FileContents WithTop(FileContents files) const;

    /// Every byte, through the library.
    void ExpectReads(const TreeReader::ReleaseName &name, const FileContents &files) const;

    const FileContents mOldFiles{{"x.a", "old stored"},  {"x.z", "old packed"}, {"x.l", "old lzma"},
                                 {"x.m", "old managed"}, {"x.n", "old naked"},  {"d/same.z", "the same"}};
    const FileContents mNewFiles{{"x.a", "new stored"},  {"x.z", "new packed"}, {"x.l", "new lzma"},
                                 {"x.m", "new managed"}, {"x.n", "new naked"},  {"d/same.z", "the same"}};
    const FileContents mTopFiles{{"x.n", "of the project on top"}, {"t.z", "only there"}};
};
} // namespace Keld::Test
