#include "control/completion.h"

#include <CLI/App.hpp>

namespace {

// The options of a command that are shown in its help, in their long form where they have one.
std::string OptionsOf(const CLI::App& app, bool thatTakeAValue) {
    std::string names;
    for (const CLI::Option* option : app.get_options()) {
        const bool takesValue = option->get_items_expected_max() > 0;
        if (option->get_positional() || option->get_group().empty() || (thatTakeAValue && !takesValue))
            continue;
        for (const std::string& name : option->get_lnames())
            names += (names.empty() ? "--" : " --") + name;
        for (const std::string& name : option->get_snames())
            if (option->get_lnames().empty())
                names += (names.empty() ? "-" : " -") + name;
    }
    return names;
}

}  // namespace

std::string BashCompletion(const CLI::App& app) {
    std::string commands, cases;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_group().empty())
            continue;
        commands += (commands.empty() ? "" : " ") + command->get_name();
        cases +=
            "        " + command->get_name() + ") words=\"" + OptionsOf(*command, false) + " $global\" ;;\n";
    }
    const std::string& name = app.get_name();
    return "# bash completion for " + name + ", printed by `" + name +
           " completion`\n"
           "_" +
           name +
           "() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command=\"\" words i global=\"" +
           OptionsOf(app, false) +
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
           commands + " $global\" ;;\n" + cases +
           "        *) words=$global ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "}\n"
           "complete -F _" +
           name + " " + name + "\n";
}
