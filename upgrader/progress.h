// How far the upgrade of a process is, for other processes to see.
//
// It stands in memory that has a name and no file: a memfd named "vgupgrader-progress", which whoever may look into
// the process finds among its descriptors. Writing it costs no system call.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

struct Progress {
    size_t place = 0;    // it runs the k-th
    size_t of = 0;       // of n migrations
    int migration = 0;   // its number in the registry
    std::string name;    // and its name
    double seconds = 0;  // since the upgrade began
};

// Tells which migration is run next. The first call begins the upgrade.
void NoteProgress(size_t place, size_t of, int migration, const char* name);

// What a process tells; nothing when it runs no migrations, or may not be looked into.
std::optional<Progress> ReadProgress(int pid);
