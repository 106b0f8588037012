// The help and the completion for bash, made from the options of the commands.
#pragma once

#include <string>
#include <vector>

#include "control/command.h"

// The parts of an option's words.
struct OptionWords {
    std::string name;   // "--to", "-n", "NAME"
    std::string value;  // "DIR"; '' for a flag or an argument
    bool isArgument;
    bool isRequired;
};
OptionWords WordsOf(const Option& option);

std::string HelpOfProgram(const std::string& program, const std::vector<Option>& general,
                          const Commands& commands);
std::string HelpOfCommand(const std::string& program, const std::vector<Option>& general,
                          const Command& command);

// A script that completes the commands of a program, their options, and what stands behind these.
std::string BashCompletion(const std::string& program, const std::vector<Option>& general,
                           const Commands& commands);
