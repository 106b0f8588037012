#include "tools/faults/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <stdexcept>
#include <thread>

namespace {

constexpr std::chrono::minutes kLimit{1};
constexpr std::chrono::milliseconds kSlice{1};

std::atomic<bool> g_interrupted = false;

std::vector<char*> Pointers(const std::vector<std::string>& texts, char** more = nullptr) {
    std::vector<char*> pointers;
    for (const std::string& text : texts)
        pointers.push_back(const_cast<char*>(text.c_str()));
    for (; more && *more; ++more)
        pointers.push_back(*more);
    pointers.push_back(nullptr);
    return pointers;
}

pid_t Start(const std::vector<std::string>& command, const std::vector<std::string>& environment,
            const std::string& output) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const bool isKept = fd == STDOUT_FILENO && !output.empty();
        posix_spawn_file_actions_addopen(&actions, fd, isKept ? output.c_str() : "/dev/null",
                                         isKept ? O_WRONLY | O_CREAT | O_TRUNC : O_RDWR, 0600);
    }
    pid_t pid = -1;
    const int error = posix_spawnp(&pid, command.front().c_str(), &actions, nullptr, Pointers(command).data(),
                                   Pointers(environment, environ).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error(command.front() + " does not start");
    return pid;
}

}  // namespace

std::string ToText(const ProcessEnd& end) {
    if (end.how == ProcessEnd::How::Hung)
        return "hung";
    return (end.how == ProcessEnd::How::Exited ? "ended with status " : "died of signal ") +
           std::to_string(end.code);
}

ProcessEnd RunProcess(const std::vector<std::string>& command, const std::vector<std::string>& environment,
                      const std::string& output, const std::function<void(int)>& onStop) {
    const pid_t pid = Start(command, environment, output);
    const auto deadline = std::chrono::steady_clock::now() + kLimit;
    int status = 0;
    for (;;) {
        if (waitpid(pid, &status, WNOHANG | WUNTRACED) == pid) {
            if (WIFEXITED(status))
                return {ProcessEnd::How::Exited, WEXITSTATUS(status)};
            if (WIFSIGNALED(status))
                return {ProcessEnd::How::Killed, WTERMSIG(status)};
            if (onStop)
                onStop(pid);
            kill(pid, SIGCONT);
        } else if (g_interrupted || std::chrono::steady_clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
            return {};
        }
        std::this_thread::sleep_for(kSlice);
    }
}

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { g_interrupted = true; };
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

bool IsInterrupted() { return g_interrupted; }
