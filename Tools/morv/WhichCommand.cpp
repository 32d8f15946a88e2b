#include "Tools/morv/Absence.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/EntryText.h"
#include "Tools/morv/OpenView.h"
#include "Tools/morv/PathAnswer.h"
#include "Tools/morv/PathInput.h"
#include "Tools/morv/Terminal.h"

#include "Tools/Common/ParallelWork.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

#include <unistd.h>

namespace Keld::Morv
{
using TreeReader::Hit;
using TreeReader::View;

namespace
{
constexpr const char *WhichFooter = R"(
Tells which project release answers a path, where the bytes lie, and what that entry hides:

  wins     what a program gets that asks for the path
  merged   a directory of a later project: its content shows in the one that wins
  hidden   what the winner stands before. Of a hidden directory only the name is hidden: what lies
           in it is still found by its own path
  missing  a file that a manifest lists, but that is missing on disk, so that the library looks on

"version" is the release that stored the bytes. Case does not count in a path. The status is 1 when
a path is not there; the message tells how far it leads, or what is missing on disk.

Examples:
  morv which textures/sky.dds
  morv which --release solution:suite/0.0.1.0 maps/harbour.map
  morv find --type f | morv which -              every file
  morv which --json textures/sky.dds | jq -r '.paths[].winner.place')";

constexpr std::size_t PathsAtOnce = 256; // that a thread answers before it asks for more
constexpr std::size_t NotesShown = 3;

struct WhichOptions
{
    PathInput input;
    std::string release;
};

/// What is to be printed of some paths.
struct Piece
{
    std::string text;
    std::vector<std::string> errors;
    std::vector<std::string> notes;
    std::vector<Json> values;
};

class Which
{
public:
    Which(const View &view, bool writesJson)
        : mView(view), mWritesJson(writesJson), mEscapes(!writesJson && IsTerminal(STDOUT_FILENO))
    {
        for (const TreeReader::Layer &layer : view.GetLayers())
        {
            mLayerTexts.push_back(LayerText(layer));
        }
    }

    void AnswerOne(const std::string &typed, Piece &piece) const
    {
        TreeReader::TypedPath path = mView.ResolveTyped(typed);
        const PathAnswer answer = AnswerPath(mView, path.path);
        if (!answer.winner)
        {
            piece.errors.push_back(AbsenceText(typed, ExplainAbsence(mView, path.path)));
        }
        if (mWritesJson)
        {
            piece.values.push_back(ValueOf(typed, path, answer));
        }
        else if (answer.winner)
        {
            AppendText(answer, piece.text);
        }
        if (!path.note.empty())
        {
            piece.notes.push_back(std::move(path.note));
        }
    }

private:
    void AppendText(const PathAnswer &answer, std::string &text) const
    {
        const std::size_t begin = text.size();
        mView.AppendPath(answer.winner, text);
        EndLine(begin, text.size() == begin ? "/\n" : "\n", text);
        AppendHit("  wins     ", answer.winner, text);
        AppendHits("  merged   ", answer.merged, text);
        AppendHits("  hidden   ", answer.hidden, text);
        AppendHits("  missing  ", answer.missing, text);
    }

    void AppendHits(const char *word, const std::vector<Hit> &hits, std::string &text) const
    {
        for (const Hit &hit : hits)
        {
            AppendHit(word, hit, text);
        }
    }

    void AppendHit(const char *word, const Hit &hit, std::string &text) const
    {
        const std::size_t begin = text.size();
        text.append(word).append(mLayerTexts[hit.layer]).append(": ");
        AppendEntryText(mView, hit, text);
        EndLine(begin, "\n", text);
    }

    /// \param begin of the line in `text`.
    void EndLine(std::size_t begin, const char *end, std::string &text) const
    {
        if (mEscapes)
        {
            text.replace(begin, std::string::npos, EscapeForTerminal(std::string_view(text).substr(begin)));
        }
        text += end;
    }

    Json ValueOf(const std::string &typed, const TreeReader::TypedPath &path, const PathAnswer &answer) const
    {
        Json value{{"asked", TextValue(typed)}, {"found", static_cast<bool>(answer.winner)}};
        value["path"] = TextValue(answer.winner ? mView.GetPath(answer.winner) : path.path);
        value["winner"] = answer.winner ? EntryValue(mView, answer.winner) : Json();
        value["merged"] = ValuesOf(answer.merged);
        value["hidden"] = ValuesOf(answer.hidden);
        value["missing"] = ValuesOf(answer.missing);
        return value;
    }

    Json ValuesOf(const std::vector<Hit> &hits) const
    {
        Json values = Json::array();
        for (const Hit &hit : hits)
        {
            values.push_back(EntryValue(mView, hit));
        }
        return values;
    }

    const View &mView;
    const bool mWritesJson;
    const bool mEscapes;
    std::vector<std::string> mLayerTexts;
};

/// Finds out about all files of all releases at once where so many are asked for that this costs less.
void SettleForMany(const View &view, std::size_t pathCount, unsigned threadCount)
{
    for (const TreeReader::Layer &layer : view.GetLayers())
    {
        if (pathCount >= layer.release->GetTree().GetFileCount() / 4)
        {
            layer.release->SettleAll(threadCount);
        }
    }
}

void PrintNotes(const std::vector<std::string> &notes)
{
    for (std::size_t index = 0; index < std::min(notes.size(), NotesShown); ++index)
    {
        PrintNote(notes[index]);
    }
    if (notes.size() > NotesShown)
    {
        PrintNote("and so for " + std::to_string(notes.size() - NotesShown) + " more");
    }
}

ExitCode RunWhich(const WhichOptions &options, const CommonOptions &common)
{
    TreeReader::TreeSet trees;
    const OpenedView opened = OpenView(trees, options.release, common);
    const std::vector<std::string> paths = options.input.ReadAll();
    SettleForMany(opened.view, paths.size(), common.GetThreadCount());

    const Which which(opened.view, common.json);
    Json document = NewDocument("which");
    document["release"] = ViewValue(opened.view);
    document["paths"] = Json::array();
    std::vector<std::string> notes;
    bool isGood = true;
    const auto weigh = [](std::size_t)
    {
        return uint64{1};
    };
    const auto produce = [&](std::size_t group)
    {
        Piece piece;
        const std::size_t end = std::min((group + 1) * PathsAtOnce, paths.size());
        for (std::size_t index = group * PathsAtOnce; index < end; ++index)
        {
            which.AnswerOne(paths[index], piece);
        }
        return piece;
    };
    const auto consume = [&](std::size_t, Piece &&piece)
    {
        WriteOutput(piece.text);
        std::move(piece.values.begin(), piece.values.end(), std::back_inserter(document["paths"]));
        std::move(piece.notes.begin(), piece.notes.end(), std::back_inserter(notes));
        std::for_each(piece.errors.begin(), piece.errors.end(), PrintError);
        isGood = isGood && piece.errors.empty();
    };
    const std::size_t groups = (paths.size() + PathsAtOnce - 1) / PathsAtOnce;
    const auto threads = static_cast<unsigned>(std::min<std::size_t>(common.GetThreadCount(), groups));
    Common::OrderedWork<Piece>(threads, uint64{4} * threads).Run(groups, weigh, produce, consume);
    if (common.json)
    {
        PrintDocument(document);
    }
    PrintNotes(notes);
    return isGood ? ExitDone : ExitNo;
}
} // namespace

void AddWhichCommand(CommandSet &commands)
{
    const auto options = std::make_shared<WhichOptions>();
    CommandWords words{"which", "Tell which project release answers a path, and what it hides", WhichFooter, true,
                       true};
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return RunWhich(*options, commands.GetCommon());
                                     });
    AddPathInput(command, options->input);
    AddReleaseOption(command, options->release);
}
} // namespace Keld::Morv
