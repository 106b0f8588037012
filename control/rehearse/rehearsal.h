// A rehearsal: two copies of the system in a folder of their own. The upgrade runs in one; the other stays what it
// began from, since the system itself may change meanwhile.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "control/snapshot/tree_copy.h"
#include "platform/base/watch.h"
#include "platform/files/folder.h"

struct RehearsalWay {
    std::string place;     // a folder by its real path; '': beside the snapshots
    std::string snapshot;  // its folder; '': the system as it stands
    std::string schema;    // a folder with the schema files; '': the package's
    uint64_t room = 0;     // what the upgrade itself needs, in bytes
    std::chrono::milliseconds patience{60'000};
};

class Rehearsal {
public:
    Rehearsal() = default;
    Rehearsal(const Rehearsal&) = delete;
    Rehearsal& operator=(const Rehearsal&) = delete;
    // Removes the folder, unless it was kept, and what had to be made to hold it.
    ~Rehearsal();

    // Makes the folder, removes what killed rehearsals have left beside it, and copies. The caller holds the upgrade lock
    // and has no connection to a database. Returns 0; -1 with the reason in `problem`.
    [[nodiscard]] int Prepare(const RehearsalWay& way, std::string& problem);

    // Runs the program on one copy, and watches it. Returns 0, also when the upgrade failed; -1 with the reason in
    // `problem` when the program did not get to its work.
    [[nodiscard]] int Run(const std::string& program, const std::string& oldBuild,
                          const Watch::Wanted& wanted, std::string& problem);

    // The folder stays, under a name without a dot. Returns its path.
    std::string Keep();

    // The prefixes of the two copies.
    std::string Before() const { return m_folder + "/before"; }
    std::string After() const { return m_folder + "/after"; }

    int Status() const { return m_status; }  // as a shell tells it: 128 and the signal that ended the program
    double Seconds() const { return m_seconds; }
    int WatchFd() const { return m_watch.Get(); }  // of the stream that the program has written

private:
    [[nodiscard]] int MakeFolder(const std::string& place, std::string& problem);
    [[nodiscard]] int CopyTwice(const RehearsalWay& way, std::string& problem);
    [[nodiscard]] int CopySystem(const RehearsalWay& way, uint64_t& bytes, std::string& problem);
    [[nodiscard]] int OpenWatch(std::string& problem);

    std::string m_place;
    std::string m_folder;
    bool m_madePlace = false;
    UniqueFd m_lock;   // held while the folder is in use
    UniqueFd m_watch;  // a file without a name
    int m_status = 0;
    double m_seconds = 0;
};

// While one exists, a signal that ends the process (Ctrl-C) first removes the folder of the rehearsal.
class RemoveOnSignal {
public:
    RemoveOnSignal();
    RemoveOnSignal(const RemoveOnSignal&) = delete;
    RemoveOnSignal& operator=(const RemoveOnSignal&) = delete;
    ~RemoveOnSignal();

private:
    struct Watcher;
    Watcher* m_watcher;
};
