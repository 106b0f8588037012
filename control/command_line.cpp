#include "control/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <charconv>
#include <climits>

#include "control/usage.h"

namespace {

std::string Quoted(const std::string& text) { return '\'' + text + '\''; }

[[noreturn]] void Refuse(const std::string& words) { throw CLI::ValidationError(words); }

bool IsOneOf(const std::string& text, const std::string& choices) {
    return ('|' + choices + '|').find('|' + text + '|') != std::string::npos && !text.empty();
}

unsigned NumberOf(const std::string& text, const std::string& name, unsigned least) {
    unsigned number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least)
        Refuse(name + " needs a number from " + std::to_string(least) + " to " + std::to_string(UINT_MAX) +
               ", not " + Quoted(text));
    return number;
}

void Read(const Option& option, const OptionWords& words, const std::string& text) {
    if (unsigned* const* const number = std::get_if<unsigned*>(&option.value)) {
        **number = NumberOf(text, words.name, option.least);
        return;
    }
    if (text.empty())
        Refuse(words.name + " is empty");
    if (words.value.find('|') != std::string::npos && !IsOneOf(text, words.value))
        Refuse(words.name + " is one of " + words.value + ", not " + Quoted(text));
    *std::get<std::string*>(option.value) = text;
}

void Add(CLI::App& app, const std::vector<Option>& options) {
    int arguments = 0;
    for (const Option& option : options) {
        const OptionWords words = WordsOf(option);
        if (bool* const* const flag = std::get_if<bool*>(&option.value)) {
            app.add_flag_callback(words.name, [flag = *flag] { *flag = true; })->disable_flag_override();
            continue;
        }
        const std::string name = words.isArgument ? "argument" + std::to_string(++arguments) : words.name;
        app.add_option_function<std::string>(
               name, [option, words](const std::string& text) { Read(option, words, text); })
            ->multi_option_policy(CLI::MultiOptionPolicy::Throw);
    }
}

// The first argument that is needed and was not given; ''.
std::string MissingArgument(const Command& command) {
    for (const Option& option : command.Options()) {
        const OptionWords words = WordsOf(option);
        const std::string* const* const text = std::get_if<std::string*>(&option.value);
        if (words.isRequired && text && (*text)->empty())
            return words.name;
    }
    return "";
}

// What the line has too much, or lacks.
std::string InWords(const CLI::App& app, const CLI::ParseError& error) {
    const std::string text = error.what();
    const auto is = [&error](CLI::ExitCodes code) { return error.get_exit_code() == static_cast<int>(code); };
    if (is(CLI::ExitCodes::ExtrasError)) {
        const std::string first = app.remaining(true).front();
        if (first.starts_with('-'))
            return "No such option: " + first;
        return (app.get_subcommands().empty() ? "No such command: " : "One word too many: ") + first;
    }
    if (!is(CLI::ExitCodes::ArgumentMismatch))
        return text;
    const std::string option = text.substr(0, text.find_first_of(": "));
    if (text.find("missing") != std::string::npos)
        return option + " needs a value";
    return text.find("override") != std::string::npos ? "--" + option + " takes no value"
                                                      : option + " stands twice";
}

}  // namespace

Request ReadCommandLine(int argc, char* argv[], const std::string& program, const Commands& commands) {
    Request request;
    bool help = false, version = false;
    const std::vector<Option> general = {
        {"--root DIR", &request.general.root, "Look every path of the package up below this folder"},
        {"--json", &request.general.json, "Print one JSON document"},
        {"--wait SECONDS", &request.general.wait, "Wait so long for an upgrade that runs (600)"},
        {"--version", &version, "Print the package version and exit"},
        {"--help", &help, "Print this and exit; after a command, its own help"}};
    CLI::App app("", program);
    app.set_help_flag();
    Add(app, general);
    app.require_subcommand(0, 1);
    app.fallthrough();
    for (const auto& command : commands)
        Add(*app.add_subcommand(command->Name())->fallthrough(), command->Options());
    const CLI::App* const completion = app.add_subcommand("completion");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (!help && !version)
            request.error = InWords(app, error);
    }
    for (const auto& command : commands)
        if (app.got_subcommand(command->Name()))
            request.command = command.get();

    if (version)
        request.answer = std::string(VG_PACKAGE_VERSION) + '\n';
    else if (help)
        request.answer = request.command ? HelpOfCommand(program, general, *request.command)
                                         : HelpOfProgram(program, general, commands);
    else if (completion->parsed())
        request.answer = BashCompletion(program, general, commands);
    else if (request.error.empty() && !request.command)
        request.error = "Which command?";
    else if (const std::string missing = request.command ? MissingArgument(*request.command) : "";
             request.error.empty() && !missing.empty())
        request.error = std::string(request.command->Name()) + " needs " + missing;
    if (!request.error.empty())
        request.error += " (see " + program +
                         (request.command ? ' ' + std::string(request.command->Name()) : "") + " --help)";
    if (!request.error.empty() || !request.answer.empty())
        request.command = nullptr;
    return request;
}
