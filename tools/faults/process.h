// Runs a program and waits for its end, however it comes.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

struct ProcessEnd {
    enum class How { Exited, Killed, Hung, NotStarted };
    How how = How::NotStarted;
    int code = 0;  // exit status, or the signal

    bool operator==(const ProcessEnd&) const = default;
};

std::string ToText(const ProcessEnd& end);

// `environment` is added to this process's own, as NAME=VALUE. The program's output is thrown away. One that
// runs longer than the limit is killed and reported as hung. One that stops itself goes on after `onStop`.
ProcessEnd RunProcess(const std::vector<std::string>& command,
                      const std::vector<std::string>& environment = {},
                      const std::function<void()>& onStop = {},
                      std::chrono::seconds limit = std::chrono::seconds(60));

// Ctrl-C and its kin: from the first on programs are killed, and IsInterrupted() is true.
void CatchInterrupts();
bool IsInterrupted();
