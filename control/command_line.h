// Reads the command line. What it is read with stands in one source file: it takes long to compile.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "control/command.h"

// What the command line asks for.
struct Request {
    const Command* command = nullptr;  // null: it is answered already, or wrong
    Arguments arguments;
    std::optional<std::string> root;  // --root, as it was given

    std::string answer;  // help, the version, the completion for bash: to be printed as it stands
    std::string error;   // what is wrong
};

Request ReadCommandLine(int argc, char* argv[], const std::string& program,
                        std::span<const Command> commands);

// What each command takes beside the options of the program.
void AddPlanOptions(CLI::App& app, Arguments& arguments);
void AddRehearseOptions(CLI::App& app, Arguments& arguments);
void AddHistoryOptions(CLI::App& app, Arguments& arguments);
void AddCheckOptions(CLI::App& app, Arguments& arguments);
void AddSnapshotOptions(CLI::App& app, Arguments& arguments);
void AddSnapshotsOptions(CLI::App& app, Arguments& arguments);
void AddVerifyOptions(CLI::App& app, Arguments& arguments);
void AddRestoreOptions(CLI::App& app, Arguments& arguments);
void AddForgetOptions(CLI::App& app, Arguments& arguments);
