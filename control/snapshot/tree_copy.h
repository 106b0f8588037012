// A copy of the files that an upgrade can change in place, all databases at one instant.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/files/folder.h"
#include "platform/vgdb/held_databases.h"

struct TreeCopyWay {
    HeldDatabases::Against against = HeldDatabases::Against::Writers;
    std::chrono::milliseconds patience{60'000};  // with databases that are busy, together
    bool durable = true;                         // with sums, and flushed to disk
    // Told of the bytes that have been copied and of how many there are.
    std::function<void(uint64_t done, uint64_t all)> progress = {};
};

struct TreeCopy {
    struct File {
        std::string path;  // below the folder: "var/packages/..."
        std::string sum;
        uint64_t bytes = 0;
    };

    std::vector<File> files;
    std::vector<std::string> absent;   // paths of the package where no file is
    std::vector<std::string> damaged;  // databases that are none any more, by their paths of the package
    uint64_t bytes = 0;
};

// Copies into an existing, empty folder, by its real path, under the paths of the package. Whoever writes to a database
// is kept out from the common instant until that database is copied: for no time where blocks can be shared. The caller holds the
// upgrade lock and has no connection to a database. What could not be finished stays in the folder. Returns 0; -1
// with the reason in `problem`.
[[nodiscard]] int CopyTree(const std::string& folder, const TreeCopyWay& way, TreeCopy& copy,
                           std::string& problem);
