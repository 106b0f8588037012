#include "control/usage.h"

#include <set>

#include "control/text.h"
#include "platform/base/strings.h"

namespace {

// One line an option, "--to DIR  Save it in this folder".
std::string OptionTable(const char* title, const std::vector<Option>& options, bool arguments) {
    TextTable table({"", ""}, 2);
    for (const Option& option : options) {
        const OptionWords words = WordsOf(option);
        if (words.isArgument == arguments)
            table.Add({words.name + (words.value.empty() ? "" : ' ' + words.value), option.help});
    }
    return table.IsEmpty() ? "" : '\n' + Toned(Tone::Strong, title) + '\n' + table.ToString();
}

// How bash completes what stands behind an option, or as an argument.
std::string CompletionOf(const std::string& value) {
    if (value == "DIR")
        return "compopt -o dirnames";
    if (value == "FILE" || value == "PATH")
        return "compopt -o default";
    if (value == "SNAPSHOT")
        return "_snapshots";
    std::string texts = value;
    for (size_t bar = 0; (bar = texts.find('|')) != std::string::npos;)
        texts[bar] = ' ';
    return texts == value ? "" : "words=\"" + texts + '"';
}

std::string NamesOf(const std::vector<Option>& options) {
    std::vector<std::string> names;
    for (const Option& option : options)
        if (const OptionWords words = WordsOf(option); !words.isArgument)
            names.push_back(words.name);
    return JoinStrings(names, " ");
}

// The branch of a case.
std::string Branch(const std::string& pattern, const std::string& what) {
    return "    " + pattern + ") " + what + " ;;\n";
}

// A branch for each option with a value, also where nothing completes that: then no option stands in its place.
void AddBranches(const std::vector<Option>& options, std::set<std::string>& known, std::string& branches) {
    for (const Option& option : options) {
        const OptionWords words = WordsOf(option);
        if (words.value.empty() || !known.insert(words.name).second)
            continue;
        const std::string what = CompletionOf(words.value);
        branches += Branch(words.name, what.empty() ? "words=" : what);
    }
}

}  // namespace

OptionWords WordsOf(const Option& option) {
    const std::string text = option.words;
    if (!text.starts_with('-')) {
        const bool optional = text.starts_with('[');
        const std::string name = optional ? text.substr(1, text.size() - 2) : text;
        return {.name = name, .value = "", .isArgument = true, .isRequired = !optional};
    }
    const size_t blank = text.find(' ');
    return {.name = text.substr(0, blank),
            .value = blank == std::string::npos ? "" : text.substr(blank + 1),
            .isArgument = false,
            .isRequired = false};
}

std::string HelpOfProgram(const std::string& program, const std::vector<Option>& general,
                          const Commands& commands) {
    TextTable table({"", ""}, 2);
    for (const auto& command : commands)
        table.Add({command->Name(), command->Help()});
    return Paragraph("Shows what an upgrade of the package would do and what one has done.") +
           "Usage: " + program + " [OPTIONS] COMMAND\n\n" + Toned(Tone::Strong, "Commands") + '\n' +
           table.ToString() + OptionTable("Options", general, false);
}

std::string HelpOfCommand(const std::string& program, const std::vector<Option>& general,
                          const Command& command) {
    std::string usage = "Usage: " + program + " [OPTIONS] " + command.Name();
    for (const Option& option : command.Options())
        if (WordsOf(option).isArgument)
            usage += std::string(" ") + option.words;
    return Paragraph(command.Help() + std::string(".")) + usage + '\n' +
           OptionTable("Arguments", command.Options(), true) +
           OptionTable("Options", command.Options(), false) +
           OptionTable("Options of every command", general, false);
}

std::string BashCompletion(const std::string& program, const std::vector<Option>& general,
                           const Commands& commands) {
    std::string names, branches, values;
    std::set<std::string> known;
    AddBranches(general, known, values);
    const std::string skipped = JoinStrings(known, " | ");
    for (const auto& command : commands) {
        names += (names.empty() ? "" : " ") + std::string(command->Name());
        AddBranches(command->Options(), known, values);
        std::string what = "words=\"" + NamesOf(command->Options()) + " $general\"";
        for (const Option& option : command->Options())
            if (const OptionWords words = WordsOf(option); words.isArgument)
                if (const std::string completion = CompletionOf(words.name); !completion.empty())
                    what += "\n        [[ $word == -* ]] || { words=; " + completion + "; }";
        branches += Branch(command->Name(), what);
    }
    const std::string function = '_' + program;
    return "# bash completion for " + program + ", printed by `" + program + " completion`\n" + function +
           "() {\n"
           "    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}\n"
           "    local command=\"\" words=\"\" general=\"" +
           NamesOf(general) +
           "\" i\n"
           "    local -a place=() names=()\n"
           "    _snapshots() {\n"
           "        mapfile -t names < <(" +
           program +
           " \"${place[@]}\" --json snapshots 2>/dev/null |\n"
           "            grep -o '\"name\":\"[^\"]*\"' | cut -d '\"' -f 4)\n"
           "    }\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        case ${COMP_WORDS[i]} in\n"
           "        --root | --to) place+=(\"${COMP_WORDS[i]}\" \"${COMP_WORDS[++i]}\") ;;\n"
           "        " +
           skipped +
           ") ((++i)) ;;\n"
           "        -*) ;;\n"
           "        *) command=${command:-${COMP_WORDS[i]}} ;;\n"
           "        esac\n"
           "    done\n"
           "    case $before in\n" +
           values +
           "    *)\n"
           "    case $command in\n"
           "    \"\") words=\"" +
           names + " $general\" ;;\n" + branches +
           "    *) words=$general ;;\n"
           "    esac\n"
           "    ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$word\")\n"
           "    for i in \"${names[@]}\"; do\n"
           "        [[ $i != \"$word\"* ]] || COMPREPLY+=(\"$(printf %q \"$i\")\")\n"
           "    done\n"
           "}\n"
           "complete -F " +
           function + ' ' + program + '\n';
}
