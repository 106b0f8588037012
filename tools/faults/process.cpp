#include "tools/faults/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

namespace {

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    return pointers;
}

pid_t Start(const std::vector<std::string>& command, const std::vector<std::string>& environment) {
    std::vector<char*> arguments = Pointers(command);
    arguments.push_back(nullptr);
    std::vector<char*> variables = Pointers(environment);
    for (char** variable = environ; *variable; ++variable)
        variables.push_back(*variable);
    variables.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", O_RDWR, 0);
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, arguments[0], &actions, nullptr, arguments.data(), variables.data());
    posix_spawn_file_actions_destroy(&actions);
    return error == 0 ? pid : -1;
}

// False when the process still runs after the limit.
bool AwaitEnd(pid_t pid, std::chrono::seconds limit) {
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (fd < 0)
        return true;  // an old kernel: no limit
    pollfd ended{fd, POLLIN, 0};
    const int count = poll(&ended, 1, static_cast<int>(std::chrono::milliseconds(limit).count()));
    close(fd);
    return count != 0;
}

}  // namespace

std::string ToText(const ProcessEnd& end) {
    switch (end.how) {
        case ProcessEnd::How::Exited:
            return "ended with status " + std::to_string(end.code);
        case ProcessEnd::How::Killed:
            return "died of signal " + std::to_string(end.code);
        case ProcessEnd::How::Hung:
            return "hung";
        case ProcessEnd::How::NotStarted:
            break;
    }
    return "did not start";
}

ProcessEnd RunProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                      std::chrono::seconds limit) {
    const pid_t pid = Start(command, environment);
    if (pid < 0)
        return {};
    const bool ended = AwaitEnd(pid, limit);
    if (!ended)
        kill(pid, SIGKILL);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!ended)
        return {ProcessEnd::How::Hung, 0};
    if (WIFEXITED(status))
        return {ProcessEnd::How::Exited, WEXITSTATUS(status)};
    return {ProcessEnd::How::Killed, WTERMSIG(status)};
}
