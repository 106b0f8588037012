// Several databases at one instant.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

// Holds the locks of database files from Acquire() to the end of the object. While it does, nothing else in this
// process may open and close one of the files: the system gives up all locks of a process on a file with the first
// descriptor that it closes. Read through FdOf().
class HeldDatabases {
public:
    enum class Against {
        // For a copy: others may read. What an interrupted commit has left is played back before, as it is at
        // any next access.
        Writers,
        // The same for a copy of a system that must stay as it is: the journal of an interrupted commit stays,
        // and belongs to the copy. Others may begin to write meanwhile, and wait before they commit.
        WritersAsItStands,
        // For a replacement: nobody may use the databases. What is in them, and beside them, does not matter.
        Everybody,
    };

    HeldDatabases();
    HeldDatabases(const HeldDatabases&) = delete;
    HeldDatabases& operator=(const HeldDatabases&) = delete;
    ~HeldDatabases();

    // Takes the locks of the databases that exist, given by their real paths; from its return on none of them
    // changes. One that is no database any more, or damaged so that SQLite does not open it, or that cannot be
    // written to, has no writer to be kept out. All together are waited for; none is held meanwhile, so that
    // nobody who needs two of them is in the way. Returns 0; -1, with nothing held and the reason in `problem`.
    [[nodiscard]] int Acquire(const std::vector<std::string>& paths, Against against,
                              std::chrono::milliseconds patience, std::string& problem);

    // The open file, at any position; -1 when it was not there, or was let go.
    int FdOf(const std::string& path) const;

    // Those that have no writer to be kept out, as they are no databases any more.
    std::vector<std::string> Damaged() const;

    // Gives the locks of one database back, whose files are then closed.
    void LetGo(const std::string& path);

private:
    struct Held;

    std::vector<std::unique_ptr<Held>> m_held;
};
