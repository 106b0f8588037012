// A database file as it stands on the disk: its journal mode, what belongs to it beside it, and the lock of a reader.
#pragma once

#include <string>
#include <vector>

// What SQLite may leave beside a database file, as suffixes of its path.
inline constexpr const char* kCompanionSuffixes[] = {"-journal", "-wal", "-shm"};

bool IsThereAndNotEmpty(const std::string& path);

// Whether the open database is in write-ahead mode.
bool IsWriteAhead(int fd);

// Whether a commit was interrupted and nobody has played its journal back. To be asked with the lock of a reader, under
// which nobody can.
bool HasHotJournal(int fd, const std::string& databasePath);

// The lock of a reader as SQLite takes it, at once or not at all. Until the descriptor is closed nobody writes to the
// file, but for what the log of write-ahead mode brings into it. It is the open file's, not the process's: closing
// another descriptor of the file does not give it back.
bool LockForReading(int fd);

// The files beside an open database without which it is not what it was: the journal of an interrupted commit, the log
// of write-ahead mode. To be asked while its writers are kept out.
std::vector<std::string> CompanionsOf(int fd, const std::string& databasePath);
