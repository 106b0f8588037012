// Completion for bash.
#pragma once

#include <string>

namespace CLI {
class App;
}

// A script that completes the commands of the program and their options.
std::string BashCompletion(const CLI::App& app);
