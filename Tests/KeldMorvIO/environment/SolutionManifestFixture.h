#pragma once

#include "KeldMorvIO/environment/SolutionManifest.h"

#include "KeldMorvIO/environment/TextFile.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

namespace Keld::Test
{
/// Solution manifests from lists of lines, what is made of them, and the lines that a refusal logs.
class SolutionManifestFixture : public testing::Test
{
protected:
    using SolutionManifest = MORV::Reader::SolutionManifest;
    using Texts = std::vector<std::string>;

    static inline const std::string LoadSignature =
        "HRESULT Keld::MORV::Reader::SolutionManifest::Load(const std::string &)";
    static inline const std::string HeaderSignature =
        "HRESULT Keld::MORV::Reader::SolutionManifest::LoadHeader(FILE *const)";
    static inline const std::string ProjectsSignature =
        "HRESULT Keld::MORV::Reader::SolutionManifest::LoadProjects(FILE *const)";
    static inline const std::string ConfigurationsSignature =
        "HRESULT Keld::MORV::Reader::SolutionManifest::LoadConfigurations(FILE *const)";
    static inline const std::string AddSignature =
        "HRESULT Keld::MORV::Reader::SolutionManifest::AddConfiguration("
        "const std::string &, const std::vector<std::string> &, const DWORD)";

    SolutionManifestFixture() { errno = 0; }

    static Texts Header() { return {"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.7"}; }

    static Texts Sample()
    {
        return With({"2", "client", "0.0.0.25", "10", "0", "data", "1.2.0.3", "20", "0", "1", "default", "0", "2",
                     "client", "data"});
    }

    static Texts With(const Texts &lines)
    {
        Texts all = Header();
        all.insert(all.end(), lines.begin(), lines.end());
        return all;
    }

    MORV::Reader::HRESULT Load(const Texts &lines, const std::string &lineEnd = "\n")
    {
        return mManifest.Load(mFiles.Write(ManifestLines(lines, lineEnd)));
    }

    // Loads, and holds the lines between the first, which names the file, and the last, which names the section.
    void ExpectRefusal(const Texts &lines, const std::string &section, std::vector<ExpectedLine> middle)
    {
        EXPECT_EQ(Load(lines), MORV::Reader::E_FAIL);
        middle.insert(middle.begin(), Progress("(\"" + mFiles.Disk().Path("manifest") + "\")", LoadSignature));
        middle.push_back(Error("Failed to load " + section, LoadSignature));
        mLog.ExpectAll(middle);
    }

    Texts ProjectNames() const
    {
        Texts names;
        for (const SolutionManifest::PROJECT &project : mManifest.GetProjects())
        {
            names.push_back(project.name);
        }
        return names;
    }

    static std::string Text(int error) { return std::strerror(error); }

    TextFiles mFiles;
    ReaderLogCapture mLog;
    SolutionManifest mManifest;
};
} // namespace Keld::Test
