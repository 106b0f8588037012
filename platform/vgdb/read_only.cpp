#include "platform/vgdb/read_only.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "platform/base/library_log.h"
#include "platform/files/file_io.h"

namespace fs = std::filesystem;

namespace {

// Where SQLite's file format and locks are, in the database file.
constexpr off_t kWriteVersionAt = 18;  // 2: write-ahead logging
constexpr char kWriteAhead = 2;
constexpr off_t kPendingByte = 0x40000000;
constexpr off_t kSharedFirst = kPendingByte + 2;
constexpr off_t kSharedSize = 510;

constexpr int kMostCopies = 5;

bool g_readOnly = false;
fs::path g_copies;  // empty: no folder yet

// The copies go with the process at the latest.
struct AtExit {
    ~AtExit() { RemoveReadingCopies(); }
} g_atExit;

UniqueFd OpenForReading(const fs::path& path) { return UniqueFd(open(path.c_str(), O_RDONLY | O_CLOEXEC)); }

fs::path Beside(const fs::path& database, const char* suffix) { return database.native() + suffix; }

// 0 also when there is none.
std::uintmax_t SizeOf(const fs::path& path) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path, error);
    return error ? 0 : size;
}

bool IsWriteAhead(int fd) {
    char version = 0;
    return pread(fd, &version, 1, kWriteVersionAt) == 1 && version == kWriteAhead;
}

// Locks of the open file, not of the process: closing another descriptor of the file does not give them back.
bool LockRange(int fd, short type, off_t start, off_t size) {
    struct flock range {};
    range.l_type = type;
    range.l_whence = SEEK_SET;
    range.l_start = start;
    range.l_len = size;
    return fcntl(fd, F_OFD_SETLK, &range) == 0;
}

// A reader's lock as SQLite takes it: until it is given back, no connection writes to the file.
bool LockShared(int fd) {
    if (!LockRange(fd, F_RDLCK, kPendingByte, 1))
        return false;
    const bool locked = LockRange(fd, F_RDLCK, kSharedFirst, kSharedSize);
    LockRange(fd, F_UNLCK, kPendingByte, 1);
    return locked;
}

// The beginning of a write-ahead log, which differs after every restart of the log. Zeros when there is none.
std::array<char, 32> LogHeader(const fs::path& database) {
    std::array<char, 32> header{};
    const UniqueFd log = OpenForReading(Beside(database, "-wal"));
    if (log && pread(log.Get(), header.data(), header.size(), 0) < 0)
        header = {};
    return header;
}

bool CopyFile(const fs::path& from, const fs::path& to) {
    std::error_code error;
    fs::remove(to, error);
    fs::copy_file(from, to, error);
    if (error && error != std::errc::no_such_file_or_directory) {
        LibraryLog(__LINE__, "Open", "Cannot copy %s for reading: %s\n", from.c_str(),
                   error.message().c_str());
        return false;
    }
    return true;
}

// The database, then its journals: a journal holds what brings the pages that were copied before it to one
// state. A log that was restarted meanwhile does not, so that all is copied again.
bool CopyWithJournals(const fs::path& database, const fs::path& copy) {
    for (int i = 0; i < kMostCopies; ++i) {
        const auto before = LogHeader(database);
        for (const char* const suffix : {"", "-journal", "-wal"})
            if (!CopyFile(Beside(database, suffix), Beside(copy, suffix)))
                return false;
        if (LogHeader(database) == before)
            return true;
    }
    LibraryLog(__LINE__, "Open", "%s: is written to all the time\n", database.c_str());
    return false;
}

// A folder of its own for each database: those of different folders may have the same name.
bool MakeCopyFolder(fs::path& folder) {
    std::error_code error;
    std::string name = (fs::temp_directory_path(error) / "vgdb.XXXXXX").string();
    if (g_copies.empty() && !error && mkdtemp(name.data()))
        g_copies = name;
    name = (g_copies / "XXXXXX").string();
    if (g_copies.empty() || !mkdtemp(name.data())) {
        LibraryLog(__LINE__, "Open", "Cannot make a temporary folder: %s\n", std::strerror(errno));
        return false;
    }
    folder = name;
    return true;
}

}  // namespace

void SetReadOnly(bool readOnly) { g_readOnly = readOnly; }

bool IsReadOnly() { return g_readOnly; }

int PrepareReading(const std::string& path, BusyWait& busy, std::string& openPath, int& flags) {
    flags = SQLITE_OPEN_READONLY;
    const UniqueFd file = OpenForReading(path);
    if (!file)
        return SQLITE_OK;  // opening it says why
    const fs::path database = path;
    const bool writeAhead = IsWriteAhead(file.Get()) || SizeOf(Beside(database, "-wal")) > 0;
    // Beside an empty database SQLite removes any journal.
    std::error_code error;
    const bool journal = SizeOf(Beside(database, "-journal")) > 0 ||
                         (SizeOf(database) == 0 && fs::exists(Beside(database, "-journal"), error));
    if (!writeAhead && !journal)
        return SQLITE_OK;

    for (int count = 0; !LockShared(file.Get()); ++count)
        if (!busy.Wait(count)) {
            LibraryLog(__LINE__, "Open", "%s: %s\n", path.c_str(), sqlite3_errstr(SQLITE_BUSY));
            return SQLITE_BUSY;
        }
    fs::path folder;
    if (!MakeCopyFolder(folder) || !CopyWithJournals(database, folder / database.filename()))
        return SQLITE_CANTOPEN;
    openPath = (folder / database.filename()).string();
    flags = SQLITE_OPEN_READWRITE;
    return SQLITE_OK;
}

void RemoveReadingCopies() {
    std::error_code ignored;  // what stays is in a temporary folder
    if (!g_copies.empty())
        fs::remove_all(g_copies, ignored);
    g_copies.clear();
}
