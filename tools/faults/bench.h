// The stand on which faults are tried: a system as an old build left it, what uninterrupted runs make of it,
// and the trace of such a run.
#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/faults/disk.h"
#include "tools/faults/process.h"
#include "tools/faults/runs.h"
#include "tools/faults/tree_image.h"

// A message of the package log, "(FUNCTION): MESSAGE", without what differs from run to run.
using Messages = std::vector<std::string>;

class Bench;

// What the preload library does to a run: see fault_plan.h.
struct Fault {
    std::string mode;  // empty: none
    size_t at = 0;
    int error = 0;
    std::string which{};
    std::string path{};
    size_t times = 0;
    bool reads = false;
    size_t haste = 1;
};

struct Struck {
    ProcessEnd end;
    std::string call;  // at which the fault struck; empty when the run made fewer calls
};

// Runs a command on a tree, with a fault. `onStop` is called where the fault stops it.
Struck Run(const Command& command, const std::filesystem::path& tree, const Fault& fault = {},
           const std::function<void()>& onStop = {});

struct Traced {
    ProcessEnd end;
    std::vector<TracedCall> calls;
};

Traced Trace(const Command& command, const std::filesystem::path& tree, bool reads = false);

// One place on which points are tried, one after the other, always below the same path: SQLite writes paths
// into its journals, and a disk that is laid out elsewhere would not be the one that was traced.
class Stand {
public:
    // Traces the first run on the system at `tree`, and leaves the tree as it is then. Throws
    // std::runtime_error when it does not end by itself or when the trace does not explain what it did.
    Stand(const Bench& bench, std::filesystem::path tree);

    const std::filesystem::path& Tree() const { return m_tree; }
    const Disk& TracedDisk() const { return m_disk; }
    const std::vector<TracedCall>& Calls() const { return m_disk.Calls(); }
    const ProcessEnd& End() const { return m_end; }

    // Removes the tree, for the next point.
    void Clear() const;

    // Lays out the system before the run.
    void LayStart() const;

private:
    void CheckTrace() const;

    const Bench& m_bench;
    std::filesystem::path m_tree;
    Disk m_disk;
    ProcessEnd m_end;
};

// A tree after runs without faults.
struct Outcome {
    TreeImage image;
    ProcessEnd end;
};

class Bench {
public:
    // Lays the system below `folder` and does the runs once. Throws std::runtime_error when that does not
    // work.
    Bench(const System& system, Runs runs, std::filesystem::path folder);

    const std::filesystem::path& Folder() const { return m_folder; }
    std::filesystem::path Start() const { return m_folder / "start"; }
    const TreeImage& StartImage() const { return m_startImage; }
    const TreeImage& StartExactly() const { return m_startExactly; }
    const Runs& Commands() const { return m_runs; }

    // The uninterrupted first run.
    std::filesystem::path FirstTree() const { return m_folder / "traced99"; }
    const std::vector<TracedCall>& Calls() const { return m_stand->Calls(); }
    const Messages& Log() const { return m_log; }

    // Its calls, with those that read.
    std::vector<TracedCall> CallsWithReads() const;

    const Outcome& First() const { return m_first; }
    const TreeImage& FirstExactly() const { return m_firstExactly; }
    const Outcome& Whole() const { return Tried({m_runs.whole}); }
    // `then` on a system that `first` has never touched, and after an uninterrupted `first`.
    const Outcome& Alone() const { return Tried({m_runs.then}); }
    const Outcome& After() const { return Tried({m_runs.first, m_runs.then}); }
    // `next` on a system that `first` has never touched.
    const Outcome& Untouched() const { return Tried({m_runs.next}); }
    // `first` and `first` again.
    const Outcome& Twice() const { return Tried({m_runs.first, m_runs.first}); }

private:
    // Runs the commands when they are first asked for.
    const Outcome& Tried(const std::vector<Command>& commands) const;

    Runs m_runs;
    std::filesystem::path m_folder;
    TreeImage m_startImage;
    TreeImage m_startExactly;
    TreeImage m_firstExactly;
    std::unique_ptr<Stand> m_stand;
    Messages m_log;
    Outcome m_first;
    mutable std::mutex m_mutex;
    mutable std::map<std::vector<Command>, Outcome> m_tried;
};

void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to);

// The messages since the tree was laid out, without times, line numbers, addresses and the tree's own path.
Messages ReadLog(const std::filesystem::path& tree);

// Whether one of the messages has the text in it.
bool Tells(std::span<const std::string> messages, std::string_view text);
