#include "tools/faults/process.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <ctime>

namespace {

constexpr std::chrono::milliseconds kSlice{200};  // after which an interrupt is seen

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

std::atomic<bool> g_interrupted = false;

// Waits until the process has ended, or has stopped; false when it has done neither within the time.
bool AwaitChange(pid_t pid, bool mayStop, std::chrono::milliseconds time, int& status) {
    if (mayStop) {  // nothing to poll tells of a stop
        const timespec wait{0, std::chrono::nanoseconds(std::chrono::milliseconds(1)).count()};
        nanosleep(&wait, nullptr);
        return waitpid(pid, &status, WNOHANG | WUNTRACED) == pid;
    }
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    pollfd ended{fd, POLLIN, 0};
    const bool hasEnded = poll(&ended, 1, static_cast<int>(time.count())) > 0;
    close(fd);
    return hasEnded && waitpid(pid, &status, 0) == pid;
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
                      const std::function<void()>& onStop, std::chrono::seconds limit) {
    const pid_t pid = Start(command, environment);
    if (pid < 0)
        return {};
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    for (bool mayStop = static_cast<bool>(onStop);;) {
        if (AwaitChange(pid, mayStop, kSlice, status)) {
            if (!WIFSTOPPED(status))
                break;
            onStop();
            mayStop = false;
            kill(pid, SIGCONT);
        } else if (g_interrupted || std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return {ProcessEnd::How::Hung, 0};
        }
    }
    if (WIFEXITED(status))
        return {ProcessEnd::How::Exited, WEXITSTATUS(status)};
    return {ProcessEnd::How::Killed, WTERMSIG(status)};
}

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_interrupted = true; };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

bool IsInterrupted() { return g_interrupted; }
