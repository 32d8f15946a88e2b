#include "Oracle/RandomSolution.h"

#include "Oracle/RandomNames.h"
#include "Support/TestTree.h"

#include <sstream>

namespace Keld::Test::Oracle
{
RandomSolution::RandomSolution(Dice &dice, const std::vector<Candidate> &candidates) : mDice(dice)
{
    std::vector<std::string> manifest = {"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.7",
                                         std::to_string(candidates.size())};
    std::vector<std::string> chosen;
    for (std::size_t left = candidates.size(); left > 0; --left)
    {
        const Candidate &candidate = candidates[left - 1];
        const std::uint32_t priorities[] = {0, 1, mDice.Below(4), mDice.Below(64), 0xFFFFFFFF};
        manifest.insert(manifest.end(),
                        {candidate.project, candidate.version, Number(mDice.Of(priorities)), Number(mDice.Below(9))});
        if (!mDice.OneIn(6))
        {
            chosen.push_back(mDice.OneIn(4) ? RandomNames::OtherCase(mDice, candidate.project) : candidate.project);
        }
    }
    if (!chosen.empty() && mDice.OneIn(12))
    {
        chosen.push_back(chosen[0]); // a project may be there twice
    }
    if (mDice.OneIn(40))
    {
        chosen.emplace_back("unknown");
    }
    const bool hasConfiguration = mDice.OneIn(2);
    manifest.emplace_back(hasConfiguration ? "1" : "0");
    if (hasConfiguration)
    {
        manifest.insert(manifest.end(), {"default", "0", Number(static_cast<std::uint32_t>(chosen.size()))});
        manifest.insert(manifest.end(), chosen.begin(), chosen.end());
    }
    mManifest = Text(manifest);

    std::vector<std::string> configuration = {"MORV Configuration Manifest", "1.0.0.0", "default",
                                              Number(static_cast<std::uint32_t>(chosen.size()))};
    configuration.insert(configuration.end(), chosen.begin(), chosen.end());
    mConfiguration = Text(configuration);
}

std::string RandomSolution::Number(std::uint32_t number)
{
    std::ostringstream text;
    switch (mDice.Below(6))
    {
    case 0:
        text << "0x" << std::hex << number;
        break;
    case 1:
        text << "0" << std::oct << number;
        break;
    case 2:
        text << " " << number << " and more";
        break;
    default:
        text << number;
    }
    return text.str();
}

std::string RandomSolution::Text(std::vector<std::string> lines)
{
    switch (mDice.Below(30))
    {
    case 0:
        lines[mDice.Below(2)] += "x"; // the version takes it
        break;
    case 1:
        lines[0] = RandomNames::OtherCase(mDice, lines[0]);
        break;
    case 2:
        lines[1] = "1.0.0.1";
        break;
    case 3:
        lines[2] = std::string(1022 + mDice.Below(3), 'n'); // the rest of it is the next line
        break;
    case 4:
        lines.resize(1 + mDice.Below(2));
        break;
    case 5:
        lines.emplace_back("what stands behind is not read");
        break;
    default:
        break;
    }
    return ManifestLines(lines, mDice.OneIn(4) ? "\r\n" : "\n");
}
} // namespace Keld::Test::Oracle
