#include "Oracle/SolutionRules.h"

#include "Oracle/PathRules.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <set>

namespace Keld::Test::Oracle
{
namespace
{
constexpr std::uint32_t FormatVersion = 0x01000000;
constexpr std::size_t LongField = 1023;
constexpr std::size_t ShortField = 255;

// Reads one line after the other. A line that is longer than its field goes on in the next one.
class ManifestText
{
public:
    explicit ManifestText(const std::string &text) : mText(text) {}

    std::string Line(std::size_t most)
    {
        const std::size_t end = mText.find('\n', mAt);
        const std::size_t length = (end == std::string::npos ? mText.size() : end + 1) - mAt;
        const std::string line = mText.substr(mAt, std::min(length, most));
        mAt += line.size();
        return line;
    }

    std::string Text()
    {
        std::string line = Line(LongField);
        line.resize(line.find_last_not_of("\r\n") + 1);
        return line;
    }

    // Decimal, or hexadecimal behind 0x, or octal behind 0.
    std::uint32_t Number()
    {
        const std::string line = Line(ShortField);
        char *end = nullptr;
        const unsigned long number = std::strtoul(line.c_str(), &end, 0);
        mIsGood = mIsGood && end != line.c_str();
        return static_cast<std::uint32_t>(std::min(number, 0xFFFFFFFFUL));
    }

    std::uint32_t Version(std::size_t most)
    {
        const std::optional<std::uint32_t> version = ParsedVersion(Line(most));
        mIsGood = mIsGood && version;
        return version.value_or(0);
    }

    // Decimal alone; below 1 there is nothing to come.
    int Count() { return std::atoi(Line(LongField).c_str()); }

    void Require(bool isRight) { mIsGood = mIsGood && isRight; }
    bool IsGood() const { return mIsGood; }

private:
    const std::string &mText;
    std::size_t mAt = 0;
    bool mIsGood = true;
};

using Projects = std::map<std::string, BoundProject>; // by folded name

Projects ReadProjects(ManifestText &text)
{
    text.Require(Folded(text.Text()) == "morv solution manifest");
    text.Require(text.Version(LongField) == FormatVersion);
    text.Text();
    text.Version(LongField);
    Projects projects;
    for (int count = text.Count(); text.IsGood() && count > 0; --count)
    {
        BoundProject project;
        project.name = text.Text();
        project.version = text.Version(ShortField);
        project.priority = text.Number();
        text.Number();
        text.Require(projects.emplace(Folded(project.name), project).second);
    }
    return projects;
}

// The solution's own configurations choose nothing, but must be right.
void CheckConfigurations(ManifestText &text, const Projects &projects)
{
    std::set<std::string> configurations;
    for (int count = text.Count(); text.IsGood() && count > 0; --count)
    {
        const std::string configuration = Folded(text.Text());
        text.Number();
        std::set<std::string> names;
        for (std::uint32_t left = text.Number(); text.IsGood() && left > 0; --left)
        {
            const std::string name = Folded(text.Text());
            text.Require(names.insert(name).second && projects.contains(name));
        }
        text.Require(configurations.insert(configuration).second);
    }
}

std::optional<std::vector<std::string>> ReadConfiguration(const std::string &bytes)
{
    ManifestText text(bytes);
    text.Require(Folded(text.Text()) == "morv configuration manifest");
    text.Require(text.Version(ShortField) == FormatVersion);
    text.Text();
    std::vector<std::string> names;
    for (std::uint32_t count = text.Number(); text.IsGood() && count > 0; --count)
    {
        names.push_back(Folded(text.Text()));
    }
    return text.IsGood() ? std::optional(names) : std::nullopt;
}
} // namespace

std::optional<std::vector<BoundProject>> ReadSolution(const std::string &solution, const std::string &configuration)
{
    ManifestText text(solution);
    const Projects projects = ReadProjects(text);
    if (text.IsGood())
    {
        CheckConfigurations(text, projects);
    }
    std::optional<std::vector<std::string>> names = ReadConfiguration(configuration);
    if (!text.IsGood() || !names)
    {
        return std::nullopt;
    }
    std::sort(names->begin(), names->end());
    std::vector<BoundProject> chosen;
    for (const std::string &name : *names)
    {
        const auto project = projects.find(name);
        if (project == projects.end())
        {
            return std::nullopt;
        }
        chosen.push_back(project->second);
    }
    std::stable_sort(chosen.begin(), chosen.end(),
                     [](const BoundProject &left, const BoundProject &right)
                     {
                         return left.priority > right.priority;
                     });
    return chosen;
}
} // namespace Keld::Test::Oracle
