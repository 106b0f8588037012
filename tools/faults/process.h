// Runs a program and waits for its end, however it comes.
#pragma once

#include <chrono>
#include <string>
#include <vector>

struct ProcessEnd {
    enum class How { Exited, Killed, Hung, NotStarted };
    How how = How::NotStarted;
    int code = 0;  // exit status, or the signal
};

std::string ToText(const ProcessEnd& end);

// `environment` is added to this process's own, as NAME=VALUE. The program's output is thrown away. One that
// runs longer than the limit is killed and reported as hung.
ProcessEnd RunProcess(const std::vector<std::string>& command,
                      const std::vector<std::string>& environment = {},
                      std::chrono::seconds limit = std::chrono::seconds(60));
