// A disk that forgets: what a power cut can leave of a package tree.
//
// The trace of an uninterrupted run is a list of operations of two kinds: on an inode (write, size, mode,
// owner, times) and on names in folders (create, link, rename, remove). A power cut after the k-th operation leaves
//
//   - what was flushed: fsync keeps all earlier operations on the inode, fdatasync all but mode, owner and times; a
//     flushed folder keeps all earlier operations on its names. Nothing else is promised: a flushed new file
//     is lost while its name is not flushed, and a flushed name shows an empty file while the data is not.
//   - of the rest, by chance: nothing; everything; everything up to some operation, the last write torn; only
//     the last few; or any subset, each write torn into sectors of 512 or 4096 bytes that are kept or lost singly.
//
// Names keep an order that every file system keeps: an operation on a name survives only if all earlier ones
// on the same name do, a folder's removal only if all earlier operations in it do, an operation in a new
// folder only if the folder does. A rename is one operation, on both names. Operations on different names are
// free of each other, or else, by chance, in one order for the whole disk (as a journal of metadata keeps
// it), which every flush of anything then makes durable.
//
// Bytes beside a write survive it.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/faults/fault.h"

struct TracedCall : TraceHeader {
    std::string name;
    std::string newName;
    std::string data;
    std::string text;  // for people
};

std::vector<TracedCall> ReadTrace(const std::filesystem::path& file);

class Disk {
public:
    // Takes a tree as it stands, whose inodes the trace of a run on it will name.
    explicit Disk(const std::filesystem::path& tree) { Scan(tree); }

    void AddRun(std::vector<TracedCall> calls);

    // Lays out the tree after all calls.
    void WriteFinal(const std::filesystem::path& to) const;

    // Lays out a tree that a power cut after the first `calls` calls can leave; tells how it was chosen. Without a
    // seed it is what was flushed, and nothing else.
    std::string WriteAfterPowerCut(size_t calls, uint64_t seed, const std::filesystem::path& to) const;

private:
    using NodeId = size_t;

    struct Node {
        mode_t mode = 0;
        uid_t user = 0;
        gid_t group = 0;
        int64_t time = 0;     // of the last change; what a run makes has that of its last write
        std::string content;  // of a file or a link
        std::map<std::string, NodeId> names;
    };

    struct Operation {
        Op op;
        NodeId node;
        NodeId folder;
        NodeId newFolder;
        const TracedCall* call;
        std::vector<size_t> needs;  // earlier operations on names without which this one cannot survive
    };

    // What is left of an operation: all of it, or of a write single sectors.
    struct Survival {
        bool kept = true;
        size_t sector = 0;  // 0: whole
        uint64_t seed = 0;
        double chance = 1;
    };

    NodeId Scan(const std::filesystem::path& path);
    void FindNeeds();
    std::vector<bool> Certain(size_t count, bool journaled) const;
    std::vector<Survival> Choose(size_t count, uint64_t seed, std::string& how) const;
    void Apply(const Operation& operation, const Survival& survival, std::vector<Node>& nodes) const;
    void Write(const std::vector<Survival>& survivals, const std::filesystem::path& to) const;

    std::vector<TracedCall> m_calls;
    std::vector<Node> m_start;  // the root first; then every inode of the run, as it is when new
    std::unordered_map<uint64_t, NodeId> m_nodeOfInode;
    std::vector<Operation> m_operations;  // one a call
};
