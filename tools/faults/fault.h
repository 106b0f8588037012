// What the driver tells the preload library to do to a run, and what the library writes of the run. Both are of the
// same build and machine, so numbers and bytes pass between them as they are.
#pragma once

#include <cstdint>

// VGFAULT in the environment of a program: "mode at reads error which path times haste during out", the texts without
// spaces, "-" for none. Calls count that change files below VG_SYSROOT, but for the package log, from 1 on.
//     at      the call that is struck; 0: none, the rule for later calls holds at once
//     reads   1: calls that read, open and look at files count, too
//     error   Fail, Grow: the error's number
//     which   Fail: later calls that fail, too; path: they do so below this path of the tree only, "same": that of the
//             call that was struck; of statements: those on this table only
//     times   Fail, Grow: calls that fail in all, then all is well again; 0: no end
//     haste   the program's time goes so many times faster
//     during  Fail: only while this migration runs, by its number; -1: always
//     out     Trace: gets the trace; else the text of the call that was struck, and how long the program waited
enum class Mode : int {
    None,
    Trace,
    Kill,      // the process dies before the call
    Tear,      // the process dies when half of the write is done
    Stop,      // the process stops before the call, and goes on when it gets SIGCONT
    Fail,      // the call fails, and later ones by the rule
    Grow,      // calls that make files larger fail from this one on, the first when half of the write is done
    PowerCut,  // the driver's own: what a disk has kept of the run up to the call
};

enum class Which : int {
    None,
    Space,      // what needs space
    Writes,     // writes and flushes
    Changes,    // what changes files, and opening for it
    Names,      // what makes, moves or removes names, or gives them to others
    Reads,      // opens, reads, looks
    SqlWrites,  // statements that change rows
    Sql,        // statements that change or read rows
};

enum class Op : uint32_t {
    Create,      // a new file: name in folder, inode, value = mode
    MakeFolder,  // a new folder, likewise
    Symlink,     // a new symbolic link, data = its target
    Link,        // another name for inode
    Rename,      // name in folder becomes newName in newFolder
    Remove,      // name in folder goes
    RemoveFolder,
    Write,      // data at offset value of inode
    Truncate,   // inode gets the size value
    SetMode,    // inode gets the mode value
    SetOwner,   // inode gets the owner value: user in the upper, group in the lower 32 bits
    SetTimes,   // inode gets the header's time
    Flush,      // fsync of inode
    FlushData,  // fdatasync of inode
    FlushAll,   // syncfs
    Other,      // changes nothing that is compared
    Open,       // of what is there; value is 1 when it is opened for writing
    Read,       // of a file's content
    Look,       // at what a name stands for
    Wait,       // for value nanoseconds of the program's time
};

inline bool IsRead(Op op) { return op == Op::Open || op == Op::Read || op == Op::Look; }
inline bool MakesInode(Op op) { return op == Op::Create || op == Op::MakeFolder || op == Op::Symlink; }
inline bool IsOnNames(Op op) {
    return MakesInode(op) || op == Op::Link || op == Op::Rename || op == Op::Remove || op == Op::RemoveFolder;
}
inline bool IsFlush(Op op) { return op == Op::Flush || op == Op::FlushData || op == Op::FlushAll; }

// One call of a trace, followed by its four texts.
struct TraceHeader {
    Op op;
    uint32_t failed;
    uint64_t inode;
    uint64_t folder;
    uint64_t newFolder;
    int64_t value;
    int64_t time;  // of what the call changed, afterwards: nanoseconds since 1970; 0: unknown
    uint32_t nameSize;
    uint32_t newNameSize;
    uint32_t dataSize;
    uint32_t textSize;  // the call for people: function, path and numbers
};
