// Waiting for a database that somebody else holds.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <string>

// How long a connection waits: as long as its database and all of them together have time left, which is counted for
// the part of a run that SetPatience begins, not for each statement. A run with hundreds of statements comes to its end.
class BusyWait {
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit BusyWait(std::string path) : m_path(std::move(path)) {}

    // See VGDB::SetPatience.
    static void SetPatience(Milliseconds each, Milliseconds together);
    static void SetUsualPatience() { SetPatience(std::chrono::seconds(10), Milliseconds::max()); }

    // From now on the handle's locks are waited for here.
    void Attach(sqlite3* db);

    // Inside a transaction that writes, a lock is only wanted for room in the cache; without it SQLite takes memory.
    void NeverWait(bool never) { m_never = never; }

    // Sleeps a moment; `count` is how often it has done so for this lock. False when the patience is at its
    // end.
    bool Wait(int count);

private:
    std::string m_path;
    bool m_never = false;
    unsigned m_part = 0;  // of the run, for which the time was counted
    std::chrono::steady_clock::duration m_waited{0};

    // Of the wait that goes on.
    std::chrono::steady_clock::time_point m_since;
    std::chrono::steady_clock::duration m_patience{0};
    bool m_told = false;
};
