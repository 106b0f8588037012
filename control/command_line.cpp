#include "control/command_line.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <sstream>

#include "control/completion.h"
#include "control/snapshot/snapshot.h"

namespace {

void AddOldBuild(CLI::App& app, Arguments& arguments) {
    app.add_option("OLD-BUILD", arguments.oldBuild,
                   "The build that was installed before, a number; the last upgrade's without it")
        ->type_name("");
}

void AddPlaceOption(CLI::App& app, Arguments& arguments, const char* help) {
    app.add_option("--to", arguments.folder, help)->type_name("DIR");
}

// The options of a command that are shown in its help, in their long form where they have one.
std::string OptionsOf(const CLI::App& app) {
    std::string names;
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional() || option->get_group().empty())
            continue;
        for (const std::string& name : option->get_lnames())
            names += (names.empty() ? "--" : " --") + name;
        for (const std::string& name : option->get_snames())
            if (option->get_lnames().empty())
                names += (names.empty() ? "-" : " -") + name;
    }
    return names;
}

void AddGlobalOptions(CLI::App& app, Request& request) {
    app.set_version_flag("--version", VG_PACKAGE_VERSION, "Print the package version and exit");
    app.get_help_ptr()->description("Print this and exit; after a command, its own help");
    app.add_option("--root", request.root, "Look every path of the package up below this folder")
        ->type_name("DIR");
    app.add_flag("--json", request.arguments.json, "Print one JSON document");
    app.add_option_function<unsigned>(
           "--wait",
           [&arguments = request.arguments](unsigned seconds) {
               arguments.wait = std::chrono::seconds(seconds);
           },
           "Wait so long for an upgrade that runs (600)")
        ->type_name("SECONDS");
}

std::string Completion(const CLI::App& app) {
    std::vector<CommandWords> commands;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
        if (!command->get_group().empty())
            commands.push_back({command->get_name(), OptionsOf(*command)});
    return BashCompletion(app.get_name(), OptionsOf(app), commands);
}

// Help and version are asked for by an exception too.
void AnswerUsage(const CLI::App& app, const CLI::ParseError& error, Request& request) {
    if (error.get_exit_code() == 0) {
        std::ostringstream answer;
        app.exit(error, answer);
        request.answer = answer.str();
        return;
    }
    const std::vector<std::string> unknown = app.remaining();
    if (!app.get_subcommands().empty() || error.get_name() != "RequiredError")
        request.error = error.what();
    else if (unknown.empty())
        request.error = "Which command?";
    else
        request.error =
            (unknown.front().starts_with('-') ? "No such option: " : "No such command: ") + unknown.front();
    request.error += " (see " + app.get_name() + " --help)";
}

}  // namespace

void AddPlanOptions(CLI::App& app, Arguments& arguments) {
    AddOldBuild(app, arguments);
    app.add_flag("--sql", arguments.sql, "Print the statements of the schema repair alone");
}

void AddRehearseOptions(CLI::App& app, Arguments& arguments) {
    AddOldBuild(app, arguments);
    app.add_option("--samples", arguments.samples, "Show so many rows of a table (3)")->type_name("N");
    app.add_option("--html", arguments.page, "Write it as a page, too")->type_name("FILE");
    app.add_option("--work", arguments.work, "Make the copy in this folder (beside the snapshots)")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory);
    app.add_flag("--keep", arguments.keep, "Leave the copy there");
    app.add_option("--upgrader", arguments.upgrader, "Run this program (the vgupgrader beside this one)")
        ->type_name("PATH");
}

void AddHistoryOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("-n", arguments.newest, "The newest N alone")->type_name("N")->check(CLI::PositiveNumber);
}

void AddCheckOptions(CLI::App& app, Arguments& arguments) {
    app.add_flag("--full", arguments.full, "Read every index too (PRAGMA integrity_check)");
}

void AddSnapshotOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("NAME", arguments.name, "What it is to be called (the time)")
        ->check([](const std::string& name) { return WhatIsWrongWithName(name); });
    AddPlaceOption(app, arguments, "Save it in this folder");
}

void AddSnapshotsOptions(CLI::App& app, Arguments& arguments) {
    AddPlaceOption(app, arguments, "Those in this folder");
}

void AddVerifyOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("NAME", arguments.name, "The snapshot, or a path to it")->required();
    AddPlaceOption(app, arguments, "The folder that it was saved in");
}

void AddRestoreOptions(CLI::App& app, Arguments& arguments) {
    AddVerifyOptions(app, arguments);
    app.add_flag("--yes", arguments.yes, "Do not ask");
}

void AddForgetOptions(CLI::App& app, Arguments& arguments) { AddVerifyOptions(app, arguments); }

Request ReadCommandLine(int argc, char* argv[], const std::string& program,
                        std::span<const Command> commands) {
    Request request;
    CLI::App app("Shows what an upgrade of the package would do and what one has done.", program);
    AddGlobalOptions(app, request);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    app.require_subcommand(1);
    app.fallthrough();
    for (const Command& command : commands) {
        CLI::App* const subcommand = app.add_subcommand(command.name, command.help)->group("Commands");
        if (command.addOptions)
            command.addOptions(*subcommand, request.arguments);
    }
    const CLI::App* const completion = app.add_subcommand("completion", "Completion for bash")->group("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        AnswerUsage(app, error, request);
        return request;
    }
    if (completion->parsed())
        request.answer = Completion(app);
    else
        request.command = &*std::find_if(commands.begin(), commands.end(),
                                         [&app](const Command& one) { return app.got_subcommand(one.name); });
    return request;
}
