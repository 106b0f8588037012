// Reads the command line. What it is read with stands in one source file: it takes long to compile.
#pragma once

#include <string>

#include "control/command.h"

// What the command line asks for.
struct Request {
    Command* command = nullptr;  // its options are filled; null: it is answered already, or wrong
    General general;

    std::string answer;  // help, the version, the completion for bash: to be printed as it stands
    std::string error;   // what is wrong
};

Request ReadCommandLine(int argc, char* argv[], const std::string& program, const Commands& commands);
