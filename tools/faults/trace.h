// What the preload library writes of a run, call by call, and the driver reads.
//
// The file is a sequence of TraceHeader, each followed by its four texts without terminators. Both sides are
// of the same build and machine, so the bytes are those of the memory.
#pragma once

#include <cstdint>

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
    Flush,      // fsync of inode
    FlushData,  // fdatasync of inode
    FlushAll,   // syncfs
    SetTimes,   // inode gets the header's time
    Other,      // changes nothing that is compared
    Open,       // of what is there; value is 1 when it is opened for writing
    Read,       // of a file's content
    Look,       // at what a name stands for: stat, access, the names in a folder
    Message,    // of the package log, data = its text
};

struct TraceHeader {
    Op op;
    uint32_t failed;
    uint64_t inode;
    uint64_t folder;
    uint64_t newFolder;
    int64_t value;
    int64_t
        time;  // of what the call changed, afterwards: its last change in nanoseconds since 1970; 0: unknown
    uint32_t nameSize;
    uint32_t newNameSize;
    uint32_t dataSize;
    uint32_t textSize;  // the call for people: function, path and numbers
};
