// Who has a file.
#pragma once

#include <sys/types.h>

#include <string>

struct Holder {
    pid_t pid = 0;  // 0: nobody, or the kernel does not tell
    std::string name;

    explicit operator bool() const { return pid > 0; }
};

enum class Having {
    Open,
    Locked,  // with a lock of any kind on the file
};

// The first process but this one that has the file or folder of that real path. Waits for nobody and takes nothing.
// Processes of others are seen by root alone.
Holder FindHolder(const std::string& path, Having having);

// "process 4711 (sqlite3)", or "another process" when it is not known.
std::string InWords(const Holder& holder);
