// The stand on which faults are tried: a system as an old build left it, what an uninterrupted upgrade makes
// of it, and the trace of that upgrade.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tests/faults/disk.h"
#include "tests/faults/process.h"
#include "tests/faults/tree_image.h"

// A message of the package log, "(FUNCTION): MESSAGE", without what differs from run to run.
using Messages = std::vector<std::string>;

struct Fault {
    std::string mode;  // VGFAULT_MODE; empty: none
    size_t at = 0;     // VGFAULT_AT
};

class Bench {
public:
    // Lays the system of the build below `folder` and upgrades it once. Throws std::runtime_error when that
    // does not work, or when the trace does not explain what the upgrade did.
    Bench(const std::string& build, const std::filesystem::path& folder);

    const std::vector<TracedCall>& Calls() const { return m_disk->Calls(); }
    const Disk& TracedDisk() const { return *m_disk; }
    const TreeImage& Result() const { return m_result; }
    const ProcessEnd& End() const { return m_end; }
    const Messages& Log() const { return m_log; }
    const std::filesystem::path& UpgradedTree() const { return m_upgraded; }

    // A copy of the system before the upgrade.
    void LayStart(const std::filesystem::path& to) const;

    // Runs the program on a tree. `hit` gets the text of the call at which the fault struck, empty when the
    // run made fewer calls.
    ProcessEnd Upgrade(const std::filesystem::path& tree, const Fault& fault = {},
                       std::string* hit = nullptr) const;

    // Runs the program with any argument and returns the calls by which it changed files.
    std::vector<TracedCall> Trace(const std::filesystem::path& tree, const std::string& argument,
                                  ProcessEnd& end) const;

private:
    std::string m_build;
    std::filesystem::path m_start;
    std::filesystem::path m_upgraded;
    std::unique_ptr<Disk> m_disk;
    TreeImage m_result;
    ProcessEnd m_end;
    Messages m_log;
};

void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to);

// The messages since the tree was laid out, without times, line numbers, addresses and the tree's own path.
Messages ReadLog(const std::filesystem::path& tree);
