#pragma once

#include "Support/ReleaseFixture.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

namespace Keld::Test
{
/// A start that fails logs a chain of lines, from the cause to the consequence, and its ends are always the same.
class StartFailureTest : public ReleaseFixture
{
protected:
    using Lines = std::vector<ExpectedLine>;

    static constexpr const char *CreateSignature =
        "static Keld::MORV::Reader::RuntimeEnvironment *Keld::MORV::Reader::RuntimeEnvironment::Create(const char *)";
    static constexpr const char *KindSignature =
        "static bool Keld::MORV::Reader::RuntimeEnvironment::GetProjectTypeNameAndVersion(const char *, "
        "RuntimeEnvironment::RuntimeType &, std::string &, MorvVersion &)";
    static constexpr const char *DetectSignature =
        "bool Keld::MORV::Reader::DetectNameAndRelease(const char *, const char *, std::string &, MorvVersion &)";
    static constexpr const char *CollectSignature =
        "static bool Keld::MORV::Reader::RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeType, "
        "const char *, const char *, const char *, std::string &, std::vector<class ProjectListing *> &)";
    static constexpr const char *LoadSolutionSignature =
        "bool Keld::MORV::Reader::LoadSolution(const char *, const char *, std::vector<class ProjectListing *> &)";
    static constexpr const char *ListingSignature =
        "Keld::MORV::Reader::ProjectListing *Keld::MORV::Reader::CreateListing(const char *, const char *)";
    static constexpr const char *SolutionSignature =
        "HRESULT Keld::MORV::Reader::SolutionManifest::Load(const std::string &)";
    static constexpr const char *ConfigurationSignature =
        "HRESULT Keld::MORV::Reader::ConfigurationManifest::Load(const std::string &)";

    static void ExpectStart(const std::string &directory, const std::string &root, const Lines &middle,
                            const Lines &end = {})
    {
        Lines lines = {
            Progress("MORV library initializing with specified working directory \"" + directory + "\".",
                     InitializeSignature),
            Trace("", CreateSignature),
            Progress("Creating MORV runtime environment: MORV root directory = \"" + root + "\"", CreateSignature)};
        lines.insert(lines.end(), middle.begin(), middle.end());
        lines.insert(lines.end(), end.begin(), end.end());
        ExpectAll(lines);
    }

    static Lines Unknown()
    {
        return {Error("MORV runtime environment creation failed because it was unable to get the project information.",
                      CreateSignature),
                Error("MORV library initialization failed to create the runtime environment.", InitializeSignature)};
    }

    static Lines NotCollected()
    {
        return {Error("MORV runtime environment creation failed because it was unable to collect the projects.",
                      CreateSignature),
                Error("MORV library initialization failed to create the runtime environment.", InitializeSignature)};
    }

    static Lines NotLoaded()
    {
        Lines lines = NotCollected();
        lines.insert(
            lines.begin(),
            Error("MORV solution runtime environment project collection failed to load solution.", CollectSignature));
        return lines;
    }

    static void ExpectUnknown(const std::string &directory, const std::string &root, const Lines &middle)
    {
        SCOPED_TRACE(directory);
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, root, middle, Unknown());
        EXPECT_EQ(Initialize(directory), E_FAIL);
        LogRecorder::Clear();
    }

    static Lines Undetermined(const std::string &directory)
    {
        return {Error("Failed to determine name and version from the path " + directory, KindSignature)};
    }

    static Lines InvalidRelease(const std::string &directory, const std::string &version)
    {
        return {Error("Invalid release format \"" + version + "\".", DetectSignature),
                Error("Failed to determine name and version from the path " + directory, KindSignature)};
    }

    void ExpectFailedSolution(const std::string &directory, const Lines &middle)
    {
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, mTree.Root(), middle, NotLoaded());
    }

    /// The lines of a manifest that cannot be opened.
    static Lines NoSolutionManifest(const std::string &directory, int error)
    {
        const std::string manifest = directory + "/solutionmanifest";
        return {Progress("(\"" + manifest + "\")", SolutionSignature), Error(Text(error), SolutionSignature),
                Error("Failed to open \"" + manifest + "\".", SolutionSignature),
                Error("Failure to load solution manifest \"" + manifest + "\".", LoadSolutionSignature)};
    }

    static Lines NoConfigurationManifest(const std::string &directory, int error)
    {
        const std::string configuration = directory + "/configurationmanifest";
        return {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                Progress("(\"" + configuration + "\")", ConfigurationSignature),
                Error(Text(error)),
                Error("(\"" + configuration + "\", \"rt\") failed: " + Text(error)),
                Error(Text(error), ConfigurationSignature),
                Error(Text(error), ConfigurationSignature),
                Error("Failed to open configuration file \"" + configuration + "\".", ConfigurationSignature),
                Error("Failure to load configuration manifest \"" + configuration + "\".", LoadSolutionSignature)};
    }

    static std::string Text(int error) { return std::strerror(error); }

    /// A directory of exactly `length` characters below a root named "MORV" that is not there.
    static std::string LongDirectory(const std::string &belowRoot, std::size_t length)
    {
        const std::string end = "/MORV/" + belowRoot;
        return "/" + std::string(length - 1 - end.size(), 'd') + end;
    }

    static std::string RootOf(const std::string &directory)
    {
        return directory.substr(0, directory.rfind("MORV/") + 4);
    }
};

} // namespace Keld::Test
