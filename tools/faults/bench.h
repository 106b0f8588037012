// The stand on which faults are tried: a system as an old build left it, what an uninterrupted upgrade makes
// of it, and the trace of that upgrade.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/faults/disk.h"
#include "tools/faults/process.h"
#include "tools/faults/tree_image.h"

// A message of the package log, "(FUNCTION): MESSAGE", without what differs from run to run.
using Messages = std::vector<std::string>;

class Bench;

struct Fault {
    std::string mode;  // VGFAULT_MODE; empty: none
    size_t at = 0;     // VGFAULT_AT
};

// One place on which points are tried, one after the other, always below the same path: SQLite writes paths
// into its journals, and a disk that is laid out elsewhere would not be the one that was traced.
class Stand {
public:
    // Traces an upgrade of the system at `tree`, and leaves the upgraded tree there. Throws
    // std::runtime_error when it does not end by itself or when the trace does not explain what it did.
    Stand(const Bench& bench, std::filesystem::path tree);

    const std::filesystem::path& Tree() const { return m_tree; }
    const Disk& TracedDisk() const { return m_disk; }
    const std::vector<TracedCall>& Calls() const { return m_disk.Calls(); }
    const ProcessEnd& End() const { return m_end; }

    // Removes the tree, for the next point.
    void Clear() const;

    // Lays out the system before the upgrade.
    void LayStart() const;

    // Runs the program on the tree. `hit` gets the text of the call at which the fault struck, empty when the
    // run made fewer calls.
    ProcessEnd Upgrade(const Fault& fault = {}, std::string* hit = nullptr) const;

private:
    void CheckTrace() const;

    const Bench& m_bench;
    std::filesystem::path m_tree;
    Disk m_disk;
    ProcessEnd m_end;
};

class Bench {
public:
    // Lays the system of the build below `folder` and upgrades it once. Throws std::runtime_error when that
    // does not work.
    Bench(std::string build, std::filesystem::path folder);

    const std::string& Build() const { return m_build; }
    const std::filesystem::path& Start() const { return m_start; }

    // The uninterrupted upgrade.
    const std::filesystem::path& UpgradedTree() const { return m_upgraded; }
    const std::vector<TracedCall>& Calls() const { return m_stand->Calls(); }
    const TreeImage& Result() const { return m_result; }
    const ProcessEnd& End() const { return m_stand->End(); }
    const Messages& Log() const { return m_log; }

private:
    std::string m_build;
    std::filesystem::path m_start;
    std::filesystem::path m_upgraded;
    std::unique_ptr<Stand> m_stand;
    TreeImage m_result;
    Messages m_log;
};

// Runs the program with any argument on any tree, and returns the calls by which it changed files.
std::vector<TracedCall> TraceUpgrade(const std::filesystem::path& tree, const std::string& argument,
                                     ProcessEnd& end);

void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to);

// The messages since the tree was laid out, without times, line numbers, addresses and the tree's own path.
Messages ReadLog(const std::filesystem::path& tree);
