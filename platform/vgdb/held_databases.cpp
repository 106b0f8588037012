#include "platform/vgdb/held_databases.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <thread>

#include "platform/base/package_log.h"
#include "platform/files/file_io.h"
#include "platform/files/holder.h"
#include "platform/vgdb/database_file.h"
#include "platform/vgdb/statement.h"

using std::chrono::milliseconds;
using std::chrono::steady_clock;

namespace {

constexpr milliseconds kPause{20};
// The first one of a round is waited for while nothing is held; the others hold it up no longer than a commit takes.
constexpr milliseconds kMostOfFirst{1000};
constexpr milliseconds kMostOfOther{20};

sqlite3_file* FileOf(sqlite3* db) {
    sqlite3_file* file = nullptr;
    sqlite3_file_control(db, "main", SQLITE_FCNTL_FILE_POINTER, &file);
    return file && file->pMethods ? file : nullptr;
}

// The lock of SQLite on the file alone: nothing is read from it, and no journal is played back.
int LockFile(sqlite3* db, int level) {
    sqlite3_file* const file = FileOf(db);
    if (!file)
        return SQLITE_CANTOPEN;
    const int shared = file->pMethods->xLock(file, SQLITE_LOCK_SHARED);
    return shared != SQLITE_OK || level == SQLITE_LOCK_SHARED ? shared : file->pMethods->xLock(file, level);
}

int KeepWritersOut(sqlite3* db, const std::string& path) {
    // Else the end of the last connection would bring the log into the database.
    if (IsThereAndNotEmpty(path + "-wal"))
        sqlite3_db_config(db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
    return sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
}

bool IsBusy(int code) { return (code & 0xff) == SQLITE_BUSY || (code & 0xff) == SQLITE_LOCKED; }

bool IsDamage(int code) { return (code & 0xff) == SQLITE_CORRUPT || (code & 0xff) == SQLITE_NOTADB; }

// Nobody can write to such a database, which is copied as it is.
bool HasNoWriter(int code) { return IsDamage(code) || (code & 0xff) == SQLITE_READONLY; }

}  // namespace

struct HeldDatabases::Held {
    std::string path;
    bool isDamaged = false;
    UniqueFd file;  // closed after the connection, whose locks would go with it
    SqliteHandle db;

    int Take(Against against, milliseconds patience) {
        file = UniqueFd(open(path.c_str(), kReadFlags));
        sqlite3* handle = nullptr;
        const int opened = file ? OpenSqlite(path.c_str(), SQLITE_OPEN_READWRITE, &handle) : SQLITE_CANTOPEN;
        db.reset(handle);
        if (opened != SQLITE_OK)
            return opened;
        const auto deadline = steady_clock::now() + patience;
        for (;;) {
            const int code = TakeOnce(against, handle);
            if (!IsBusy(code) || steady_clock::now() >= deadline)
                return code;
            std::this_thread::sleep_for(std::min(patience, milliseconds(5)));
        }
    }

private:
    int TakeOnce(Against against, sqlite3* handle) {
        switch (against) {
            case Against::Writers:
                return IsThereAndNotEmpty(path) ? KeepWritersOut(handle, path) : TakeEmpty(handle);
            case Against::WritersAsItStands:
                return TakeAsItStands(handle);
            case Against::Everybody:
                return LockOrLeave(handle, SQLITE_LOCK_EXCLUSIVE);
        }
        return SQLITE_MISUSE;
    }

    // A transaction would begin the file, with a journal that a kill leaves.
    int TakeEmpty(sqlite3* handle) {
        const int code = LockOrLeave(handle, SQLITE_LOCK_RESERVED);
        if (code != SQLITE_OK || !IsThereAndNotEmpty(path))
            return code;
        sqlite3_file* const begun = FileOf(handle);  // by somebody else, just before
        begun->pMethods->xUnlock(begun, SQLITE_LOCK_NONE);
        return SQLITE_BUSY;
    }

    // A transaction would begin a file that is empty, and make the files of write-ahead mode and remove them: the locks
    // alone do not. Who uses a database in write-ahead mode has them in its -shm, which is there then.
    int TakeAsItStands(sqlite3* handle) {
        if (!IsWriteAhead(file.Get()))
            return LockForReading(file.Get()) ? SQLITE_OK : SQLITE_BUSY;
        const int code = LockOrLeave(handle, SQLITE_LOCK_EXCLUSIVE);
        return IsBusy(code) && IsThereAndNotEmpty(path + "-shm") ? KeepWritersOut(handle, path) : code;
    }

    static int LockOrLeave(sqlite3* handle, int level) {
        const int code = LockFile(handle, level);
        if (sqlite3_file* const locked = FileOf(handle); code != SQLITE_OK && locked)
            locked->pMethods->xUnlock(locked, SQLITE_LOCK_NONE);
        return code;
    }
};

HeldDatabases::HeldDatabases() = default;
HeldDatabases::~HeldDatabases() = default;

int HeldDatabases::Acquire(const std::vector<std::string>& paths, Against against, milliseconds patience,
                           std::string& problem) {
    std::vector<std::string> order;
    for (const std::string& path : paths) {
        struct stat status {};
        if (stat(path.c_str(), &status) == 0)
            order.push_back(path);
        else if (errno != ENOENT) {
            problem = Reason(path);
            return -1;
        }
    }
    const auto deadline = steady_clock::now() + patience;
    for (;;) {
        m_held.clear();
        auto busy = order.end();
        for (auto path = order.begin(); path != order.end() && busy == order.end(); ++path) {
            m_held.push_back(
                std::make_unique<Held>(Held{.path = *path, .isDamaged = false, .file = {}, .db = {}}));
            const auto left = std::chrono::duration_cast<milliseconds>(deadline - steady_clock::now());
            const milliseconds most = path == order.begin() ? kMostOfFirst : kMostOfOther;
            const int code = m_held.back()->Take(against, std::clamp(left, milliseconds(0), most));
            m_held.back()->isDamaged = IsDamage(code);
            if (IsBusy(code)) {
                busy = path;
            } else if (code != SQLITE_OK && !HasNoWriter(code)) {
                problem = *path + " cannot be locked: " + sqlite3_errstr(code);
                m_held.clear();
                return -1;
            }
        }
        if (busy == order.end())
            return 0;
        if (steady_clock::now() >= deadline) {
            problem = *busy + " is in use by " + InWords(FindHolder(*busy, Having::Locked));
            m_held.clear();
            return -1;
        }
        m_held.clear();
        std::rotate(order.begin(), busy, busy + 1);
        std::this_thread::sleep_for(kPause);
    }
}

int HeldDatabases::FdOf(const std::string& path) const {
    for (const auto& held : m_held)
        if (held->path == path)
            return held->file.Get();
    return -1;
}

std::vector<std::string> HeldDatabases::Damaged() const {
    std::vector<std::string> paths;
    for (const auto& held : m_held)
        if (held->isDamaged)
            paths.push_back(held->path);
    return paths;
}

void HeldDatabases::LetGo(const std::string& path) {
    std::erase_if(m_held, [&](const auto& held) { return held->path == path; });
}
