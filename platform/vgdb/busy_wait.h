// Waiting for a database that somebody else holds.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <optional>
#include <string>

// How long a connection waits. A database that stays held for its patience is held on purpose (or forgotten):
// until it is free again it is given little, so that a run with hundreds of statements comes to its end.
class BusyWait {
public:
    using Milliseconds = std::chrono::milliseconds;

    explicit BusyWait(std::string path) : m_path(std::move(path)) {}

    // See VGDB::SetPatience.
    static void SetPatience(Milliseconds each, Milliseconds together);
    static void SetUsualPatience() { SetPatience(std::chrono::seconds(10), Milliseconds::max()); }

    // From now on the handle's locks are waited for here.
    void Attach(sqlite3* db);

    // What is run next: a database that somebody writes to may be free for readers.
    void Expect(bool write) { m_write = write; }

    // What the result of what was run says of the database: whether it was free.
    void NoteResult(int code);

    // Another patience, for what is worth more of it; none: the usual one.
    void SetOwnPatience(std::optional<Milliseconds> patience) { m_own = patience; }

    // Sleeps a moment; `count` is how often it has done so for this lock. False when the patience is at its
    // end.
    bool Wait(int count);

private:
    Milliseconds Patience() const;

    std::string m_path;
    bool m_write = false;
    bool m_heldForReaders = false;
    bool m_heldForWriters = false;
    std::optional<Milliseconds> m_own;

    // Of the wait that goes on.
    std::chrono::steady_clock::time_point m_since;
    Milliseconds m_patience{0};
    bool m_told = false;
};
