#include "platform/vgdb/database_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/files/file_io.h"

namespace {

// Where SQLite's file format and locks are, in the database file.
constexpr off_t kReadVersionAt = 19;  // 2: write-ahead logging
constexpr off_t kPendingByte = 0x40000000;
constexpr off_t kReservedByte = kPendingByte + 1;
constexpr off_t kSharedFirst = kPendingByte + 2;
constexpr off_t kSharedSize = 510;

struct flock Range(short type, off_t start, off_t size) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = size;
    return range;
}

bool LockRange(int fd, short type, off_t start, off_t size) {
    struct flock range = Range(type, start, size);
    return fcntl(fd, F_OFD_SETLK, &range) == 0;
}

bool IsBeingWritten(int fd) {
    struct flock range = Range(F_WRLCK, kReservedByte, 1);
    return fcntl(fd, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
}

// A journal whose first byte is zero is one that a finished commit has left for the next.
bool IsJournalOfACommit(const std::string& path) {
    const UniqueFd journal(open(path.c_str(), kReadFlags));
    char first = 0;
    return journal && read(journal.Get(), &first, 1) == 1 && first != 0;
}

}  // namespace

bool IsThereAndNotEmpty(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && status.st_size > 0;
}

bool IsWriteAhead(int fd) {
    char version = 0;
    return pread(fd, &version, 1, kReadVersionAt) == 1 && version == 2;
}

bool HasHotJournal(int fd, const std::string& databasePath) {
    return IsJournalOfACommit(databasePath + "-journal") && !IsBeingWritten(fd);
}

bool LockForReading(int fd) {
    if (!LockRange(fd, F_RDLCK, kPendingByte, 1))
        return false;
    const bool locked = LockRange(fd, F_RDLCK, kSharedFirst, kSharedSize);
    LockRange(fd, F_UNLCK, kPendingByte, 1);
    return locked;
}

std::vector<std::string> CompanionsOf(int fd, const std::string& databasePath) {
    std::vector<std::string> companions;
    if (HasHotJournal(fd, databasePath))
        companions.push_back(databasePath + "-journal");
    if (IsThereAndNotEmpty(databasePath + "-wal"))
        companions.push_back(databasePath + "-wal");
    return companions;
}
