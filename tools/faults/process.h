// Runs a program and waits for its end, however it comes.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

struct ProcessEnd {
    enum class How { Exited, Killed, Hung };
    How how = How::Hung;
    int code = 0;  // exit status, or the signal

    bool operator==(const ProcessEnd&) const = default;
};

std::string ToText(const ProcessEnd& end);

// `environment` is added to this process's own, as NAME=VALUE. What the program prints goes to the file `output`; empty:
// nowhere. One that runs longer than a minute is killed, and has hung. One that stops itself goes on after `onStop`,
// which gets its id.
ProcessEnd RunProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                      const std::string& output = "", const std::function<void(int)>& onStop = {});

// Ctrl-C and its kin: from the first on programs are killed, and IsInterrupted() is true.
void CatchInterrupts();
bool IsInterrupted();
