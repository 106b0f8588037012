// What is run, and on what.
#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <vector>

struct Command {
    std::string program;
    std::vector<std::string> arguments;

    auto operator<=>(const Command&) const = default;
};

// The programs that are tried.
struct Programs {
    std::string upgrader;
    std::string control;
};

// A system as it stands before the first run.
struct System {
    std::string build;              // the sample system
    bool writeAhead = false;        // all databases
    size_t cameras = 0;             // so many more
    std::vector<Command> before{};  // run on it first, without faults
};

// What `first` does, and therefore what it is to leave when it is struck.
enum class Work { Upgrade, Snapshot, Forget, Restore };

// `first` is struck by the fault. Of upgrades: when it was killed or failed, `then` is run after it without a fault:
// together they end as `whole` does alone. When it told success, whatever it still owes is brought by `next`. Of the
// others: see snapshot_check.h.
struct Runs {
    Command first;
    Command then;
    Command whole;
    Command next;
    Work work = Work::Upgrade;
};
