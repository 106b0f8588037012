#include "control/completion.h"

std::string BashCompletion(const std::string& program, const std::string& options,
                           const std::vector<CommandWords>& commands) {
    std::string names, cases;
    for (const CommandWords& command : commands) {
        names += (names.empty() ? "" : " ") + command.name;
        cases += "        " + command.name + ") words=\"" + command.options + " $global\" ;;\n";
    }
    return "# bash completion for " + program + ", printed by `" + program +
           " completion`\n"
           "_" +
           program +
           "() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command=\"\" words i global=\"" +
           options +
           "\"\n"
           "    if [[ $before == --root || $before == --to ]]; then\n"
           "        compopt -o dirnames\n"
           "        return\n"
           "    fi\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        case ${COMP_WORDS[i]} in\n"
           "        --root | --wait) ((++i)) ;;\n"
           "        -*) ;;\n"
           "        *)\n"
           "            command=${COMP_WORDS[i]}\n"
           "            break\n"
           "            ;;\n"
           "        esac\n"
           "    done\n"
           "    case $command in\n"
           "        \"\") words=\"" +
           names + " $global\" ;;\n" + cases +
           "        *) words=$global ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "}\n"
           "complete -F _" +
           program + " " + program + "\n";
}
