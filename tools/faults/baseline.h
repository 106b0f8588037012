// What points are tried on: a system as an old build left it, what uninterrupted runs make of it, and the trace of such
// a run.
#pragma once

#include <json/value.h>

#include <compare>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "tools/faults/disk.h"
#include "tools/faults/process.h"
#include "tools/faults/tree.h"

struct Command {
    std::string program;
    std::vector<std::string> arguments;

    auto operator<=>(const Command&) const = default;
};

// See fault.h.
struct Fault {
    Mode mode = Mode::None;
    size_t at = 0;
    int error = 0;
    Which which = Which::None;
    size_t times = 0;
    std::string path = "-";
    bool reads = false;
    int during = -1;
    size_t haste = 1;
};

struct Ran {
    ProcessEnd end;
    std::string output{};
    std::vector<TracedCall> calls{};  // of a trace
    std::string call{};               // at which the fault struck; empty when the run made fewer calls
    double waited = 0;  // seconds of the program's time, of a run with a fault that came to its end
};

// Runs a command on a tree, with a fault. `onStop` is called where the fault stops it, with its process id.
Ran Run(const Command& command, const std::filesystem::path& tree, const Fault& fault = {},
        const std::function<void(int)>& onStop = {});

// Null for what is no document.
Json::Value Parse(const std::string& document);

// The document that `vgupgradectl --json` prints of the tree.
Json::Value Ask(const std::filesystem::path& tree, const std::string& command);

// The calls of a trace that count.
std::vector<TracedCall> Counted(std::vector<TracedCall> calls);

// A system as it stands before the first run.
struct Setup {
    std::string from;               // the sample system's build; "BUILD:FOLDER" for one that lies there
    bool writeAhead = false;        // all databases
    size_t cameras = 0;             // so many more
    std::vector<Command> before{};  // run on it first, without faults
};

// `first` is struck by the fault. Of upgrades: when it was killed, `then` is run after it. Of commands on snapshots:
// `then` finishes it, `other` is an upgrade.
struct Runs {
    Command first;
    Command then;
    Command whole;  // as `first` and `then` together are to end
    Command other{};
    void (*check)(class Trial& trial, const std::optional<Ran>& ran);
};

// A tree after runs without faults.
struct Outcome {
    Tree tree;
    ProcessEnd end;
};

class Baseline {
public:
    // Lays the system below `folder` and does the first run once. Throws std::runtime_error when that does not work, or
    // when the trace does not explain what the run did.
    Baseline(const Setup& setup, Runs runs, std::filesystem::path folder);

    const std::filesystem::path& Folder() const { return m_folder; }
    std::filesystem::path Start() const { return m_folder / "start"; }
    const Tree& StartTree() const { return m_startTree; }
    const Tree& StartExactly() const { return m_startExactly; }
    const Runs& Commands() const { return m_runs; }

    // The uninterrupted first run.
    std::filesystem::path FirstPath() const { return m_folder / "tree999"; }
    const Tree& FirstExactly() const { return m_firstExactly; }
    const ProcessEnd& FirstEnd() const { return m_first.end; }
    const std::vector<TracedCall>& Calls() const { return m_first.calls; }
    std::vector<TracedCall> CallsWithReads() const;

    // The commands on the system, one after the other, once these lines were added to its settings; run when they are
    // first asked for.
    const Outcome& After(const std::vector<Command>& commands, const std::string& settings = "") const;
    const Outcome& First() const { return After({m_runs.first}); }

    // A disk that has seen the first run, below the path `tree`: SQLite writes paths into its journals.
    void TraceDisk(const std::filesystem::path& tree, std::optional<Disk>& disk) const;

private:
    Ran TraceOn(const std::filesystem::path& tree, std::optional<Disk>& disk) const;

    Runs m_runs;
    std::filesystem::path m_folder;
    Tree m_startTree, m_startExactly, m_firstExactly;
    Ran m_first;
    mutable std::mutex m_mutex;
    mutable std::map<std::pair<std::vector<Command>, std::string>, Outcome> m_outcomes;
};

// The messages of the package log, "(FUNCTION): MESSAGE".
std::vector<std::string> ReadLog(const std::filesystem::path& tree);
