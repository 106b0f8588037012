#include "platform/vgdb/read_only.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <vector>

#include "platform/base/package_log.h"
#include "platform/files/copy.h"
#include "platform/files/files.h"
#include "platform/files/folder.h"
#include "platform/vgdb/database_file.h"
#include "platform/vgdb/statement.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kCopyPrefix = "vgdb.";
constexpr const char* kCopyName = "copy.db";

bool g_readOnly = false;

void LogReading(const std::string& path, const std::string& what) {
    LibraryLog(__LINE__, "Open", "%s: %s\n", path.c_str(), what.c_str());
}

// --- where it stands ----------------------------------------------------------------------------------------

// SQLite opens the log of write-ahead mode for writing whatever it is asked for, and makes one where there is none.
// This file system of SQLite's does neither; the rest is the one that it is made from.
template <int N>
const char* ReaderOf(const char* original, const char* name) {
    static sqlite3_vfs* const base = sqlite3_vfs_find(original);
    static sqlite3_vfs reader;
    static const bool isRegistered = [name] {
        if (!base)
            return false;
        reader = *base;
        reader.zName = name;
        reader.pNext = nullptr;
        reader.xOpen = [](sqlite3_vfs*, const char* path, sqlite3_file* file, int flags, int* outFlags) {
            if (flags & SQLITE_OPEN_WAL)
                flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
            return base->xOpen(base, path, file, flags, outFlags);
        };
        return sqlite3_vfs_register(&reader, 0) == SQLITE_OK;
    }();
    return isRegistered ? name : nullptr;
}

int OpenAs(const std::string& path, const char* parameters, const char* vfs, sqlite3** db) {
    std::string uri = "file:";
    for (const char c : path)
        uri += c == '%' ? "%25" : c == '?' ? "%3f" : c == '#' ? "%23" : std::string(1, c);
    return OpenSqlite((uri + "?mode=ro" + parameters).c_str(), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, db,
                      vfs);
}

int ReadSomething(sqlite3* db) {
    return sqlite3_exec(db, "SELECT 1 FROM sqlite_schema", nullptr, nullptr, nullptr);
}

// As one of the readers of a database whose log and index are there. SQLite may have to write to the index even for
// that; then it says so.
int OpenAmongOthers(const std::string& path, sqlite3** db) {
    const int code = OpenAs(path, "&readonly_shm=1", ReaderOf<0>("unix", "vg-reader"), db);
    return code == SQLITE_OK ? ReadSomething(*db) & 0xff : code;
}

// With the log of a database that nobody uses, whose index is then made in memory. The caller has the locks.
int OpenWithLog(const std::string& path, sqlite3** db) {
    const int code = OpenAs(path, "", ReaderOf<1>("unix-none", "vg-lone-reader"), db);
    if (code != SQLITE_OK)
        return code;
    sqlite3_db_config(*db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return sqlite3_exec(*db, "PRAGMA locking_mode = EXCLUSIVE", nullptr, nullptr, nullptr);
}

// --- a copy -------------------------------------------------------------------------------------------------

// The files of the copy that is being made, and their folder, for the handler of signals.
std::array<std::array<char, PATH_MAX>, 4> g_making{};

void RemoveCopy() {
    for (size_t i = 0; i < g_making.size(); ++i)
        if (g_making[i][0] != '\0')
            (void)(i + 1 < g_making.size() ? unlink(g_making[i].data()) : rmdir(g_making[i].data()));
}

void RemoveCopyAndEnd(int signal) {
    RemoveCopy();
    std::signal(signal, SIG_DFL);
    raise(signal);
}

// A private temporary folder; it and what is in it are gone with the object, or with a signal.
class CopyFolder {
public:
    CopyFolder() {
        std::error_code error;
        const std::string place = fs::temp_directory_path(error);
        RemoveLeftovers(place);
        std::string path = place + '/' + kCopyPrefix + "XXXXXX";
        if (error || path.size() + std::strlen(kCopyName) + 16 > PATH_MAX || !mkdtemp(path.data()))
            return;
        const std::string copy = path + '/' + kCopyName;
        for (const auto& [i, name] :
             {std::pair(0, copy), {1, copy + "-journal"}, {2, copy + "-wal"}, {3, path}})
            std::memcpy(g_making[static_cast<size_t>(i)].data(), name.c_str(), name.size() + 1);
        for (size_t i = 0; i < m_before.size(); ++i) {
            m_before[i] = std::signal(kSignals[i], RemoveCopyAndEnd);
            if (m_before[i] == SIG_IGN)
                std::signal(kSignals[i], SIG_IGN);
        }
        m_folder = Folder::Open(path);
        (void)flock(m_folder.Fd(), LOCK_SH | LOCK_NB);  // tells that it is in use
    }
    CopyFolder(const CopyFolder&) = delete;
    CopyFolder& operator=(const CopyFolder&) = delete;
    ~CopyFolder() {
        RemoveCopy();
        for (size_t i = 0; i < m_before.size(); ++i)
            if (g_making.back()[0] != '\0')
                std::signal(kSignals[i], m_before[i]);
        g_making = {};
    }

    const Folder& Get() const { return m_folder; }

private:
    static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};

    static void RemoveLeftovers(const std::string& place) {
        const Folder folder = Folder::Open(place);
        std::vector<std::string> names;
        if (!folder || !folder.List(names))
            return;
        for (const std::string& name : names) {
            struct stat status {};
            if (!name.starts_with(kCopyPrefix) || !folder.Stat(name, status) || status.st_uid != geteuid())
                continue;
            const Folder left = folder.OpenFolder(name);
            if (left && flock(left.Fd(), LOCK_EX | LOCK_NB) == 0)
                (void)VGFolderRemove(left.PathOf(""));  // what stays is in a temporary folder
        }
    }

    Folder m_folder;
    std::array<void (*)(int), 3> m_before{};
};

// The database and its journals, of one state: the lock keeps everybody from playing them back.
bool CopyWithJournals(int file, const std::string& path, const Folder& folder) {
    std::vector<std::pair<UniqueFd, const char*>> sources;
    sources.emplace_back(UniqueFd(fcntl(file, F_DUPFD_CLOEXEC, 0)), "");
    for (const char* const suffix : {"-journal", "-wal"}) {
        sources.emplace_back(UniqueFd(open((path + suffix).c_str(), kReadFlags)), suffix);
        if (!sources.back().first)
            sources.pop_back();
    }
    uint64_t needed = 0;
    for (const auto& [source, suffix] : sources) {
        struct stat status {};
        if (fstat(source.Get(), &status) != 0)
            return LogErrno("copy", path) == 0;
        needed += CanShareBlocks(source.Get(), folder) ? 0 : static_cast<uint64_t>(status.st_size);
    }
    if (const std::string problem = FindRoom(folder, needed); !problem.empty()) {
        LogReading(path, problem);
        return false;
    }
    for (const auto& [source, suffix] : sources)
        if (!CopyFile(source.Get(), folder, std::string(kCopyName) + suffix))
            return LogErrno("copy", path) == 0;
    return true;
}

}  // namespace

void SetReadOnly(bool readOnly) { g_readOnly = readOnly; }

bool IsReadOnly() { return g_readOnly; }

Reading::~Reading() {
    struct stat now {};
    if (m_isAlone && fstat(m_file.Get(), &now) == 0 &&
        (now.st_mtim.tv_sec != m_status.st_mtim.tv_sec || now.st_mtim.tv_nsec != m_status.st_mtim.tv_nsec))
        LogReading(m_path,
                   "somebody has written to it while it was read, what was read may not fit together");
}

int Reading::Lock(BusyWait& busy) {
    for (int count = 0; !LockForReading(m_file.Get()); ++count)
        if (!busy.Wait(count)) {
            LogReading(m_path, sqlite3_errstr(SQLITE_BUSY));
            return SQLITE_BUSY;
        }
    m_isAlone = fstat(m_file.Get(), &m_status) == 0;
    return SQLITE_OK;
}

int Reading::Open(const std::string& path, BusyWait& busy, sqlite3** db) {
    m_path = path;
    m_file = UniqueFd(open(path.c_str(), kReadFlags));
    if (!m_file)
        return OpenSqlite(path.c_str(), SQLITE_OPEN_READONLY, db);  // says why
    const bool hasLog = IsThereAndNotEmpty(path + "-wal");
    // Beside an empty database SQLite removes any journal.
    const bool isEmpty = !IsThereAndNotEmpty(path);
    if (isEmpty ? access((path + "-journal").c_str(), F_OK) == 0 || hasLog
                : HasHotJournal(m_file.Get(), path))
        return OpenCopy(busy, db);
    if (!hasLog && !IsWriteAhead(m_file.Get()))
        return OpenSqlite(path.c_str(), SQLITE_OPEN_READONLY, db);
    if (access((path + "-wal").c_str(), F_OK) == 0 && access((path + "-shm").c_str(), F_OK) == 0) {
        const int code = OpenAmongOthers(path, db);
        if (code != SQLITE_READONLY && code != SQLITE_CANTOPEN)
            return code == SQLITE_BUSY ? code : SQLITE_OK;  // the first statement meets the rest
        sqlite3_close(*db);
        *db = nullptr;
        return OpenCopy(busy, db);
    }
    if (const int code = Lock(busy); code != SQLITE_OK)
        return code;
    return hasLog ? OpenWithLog(path, db) : OpenAs(path, "&immutable=1", nullptr, db);
}

int Reading::OpenCopy(BusyWait& busy, sqlite3** db) {
    if (const int code = Lock(busy); code != SQLITE_OK)
        return code;
    const CopyFolder folder;
    if (!folder.Get()) {
        LogReading(m_path, std::string("Cannot make a temporary folder: ") + std::strerror(errno));
        return SQLITE_CANTOPEN;
    }
    if (!CopyWithJournals(m_file.Get(), m_path, folder.Get()))
        return SQLITE_FULL;
    const std::string copy = folder.Get().PathOf(kCopyName);
    int code = OpenSqlite(copy.c_str(), SQLITE_OPEN_READWRITE, db);
    m_isAlone = false;
    // All that it needs is open, and played back, before its names go.
    if (code == SQLITE_OK)
        code = sqlite3_exec(*db, "PRAGMA locking_mode = EXCLUSIVE", nullptr, nullptr, nullptr);
    if (code == SQLITE_OK)
        (void)ReadSomething(*db);  // one that is no database says so again
    return code;
}
