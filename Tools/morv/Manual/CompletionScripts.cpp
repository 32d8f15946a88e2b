#include "Tools/morv/Manual/CompletionScripts.h"

#include <stdexcept>

namespace Keld::Morv
{
namespace
{
// bash splits words at ":" and "=", too, and replaces only what stands behind the last of them. So it hands over the
// line as it was typed, and gets the candidates without what stands before.
constexpr const char *BashScript = R"(# Completion of morv for bash.
_morv()
{
    local IFS=$'\n'
    local -a answer
    answer=($("${COMP_WORDS[0]}" complete --breaks "$COMP_WORDBREAKS" --line "${COMP_LINE:0:COMP_POINT}" 2>/dev/null))
    COMPREPLY=("${answer[@]:1}")
    COMPREPLY=("${COMPREPLY[@]%%$'\t'*}")
    case "${answer[0]}" in
        :paths)
            compopt -o filenames
            if [ ${#COMPREPLY[@]} -eq 1 ] && [ "${COMPREPLY[0]%/}" != "${COMPREPLY[0]}" ]; then
                compopt -o nospace
            fi
            ;;
        :files)
            compopt -o filenames -o default
            ;;
        :directories)
            compopt -o filenames
            COMPREPLY+=($(compgen -d -- "${COMP_WORDS[COMP_CWORD]}"))
            ;;
    esac
}
complete -F _morv morv
)";

constexpr const char *ZshScript = R"(#compdef morv
# Completion of morv for zsh.
_morv()
{
    local -a answer names shown directories
    local line name
    answer=("${(@f)$(${(Q)words[1]} complete -- "${(@Q)words[2,CURRENT]}" 2>/dev/null)}")
    for line in "${(@)answer[2,-1]}"; do
        name=${line%%$'\t'*}
        if [[ $answer[1] == :paths && $name == */ ]]; then
            directories+=("$name")
        else
            names+=("$name")
            shown+=("${line/$'\t'/  -- }")
        fi
    done
    compadd -l -M 'm:{a-zA-Z}={A-Za-z}' -d shown -a names
    compadd -S '' -M 'm:{a-zA-Z}={A-Za-z}' -a directories
    case $answer[1] in
        :files) _files ;;
        :directories) _files -/ ;;
    esac
}
if [ "${funcstack[1]}" = _morv ]; then
    _morv "$@"
else
    compdef _morv morv
fi
)";

constexpr const char *FishScript = R"(# Completion of morv for fish.
function __morv_complete
    set -l words (commandline -opc) (commandline -ct)
    set -l answer ($words[1] complete -- $words[2..-1] 2>/dev/null)
    switch "$answer[1]"
        case :files
            __fish_complete_path (commandline -ct)
        case :directories
            __fish_complete_directories (commandline -ct)
    end
    for line in $answer[2..-1]
        echo $line
    end
end
complete -c morv -f -a '(__morv_complete)'
)";
} // namespace

std::string GetCompletionScript(const std::string &shell)
{
    if (shell == "bash")
    {
        return BashScript;
    }
    if (shell == "zsh")
    {
        return ZshScript;
    }
    if (shell == "fish")
    {
        return FishScript;
    }
    throw std::invalid_argument("no completion for " + shell);
}
} // namespace Keld::Morv
