#include "platform/settings/settings_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <functional>
#include <thread>
#include <utility>

#include "platform/base/package_log.h"
#include "platform/base/once_more.h"
#include "platform/base/paths.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"
#include "platform/files/place.h"

using std::chrono::steady_clock;

namespace {

constexpr mode_t kModeOfNew = 0644;
constexpr std::chrono::milliseconds kPollInterval{10};

SettingsFiles* g_current = nullptr;

bool IsSameState(const struct stat& a, const struct stat& b) {
    return IsSameFile(a, b) && a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec && a.st_ctim.tv_sec == b.st_ctim.tv_sec &&
           a.st_ctim.tv_nsec == b.st_ctim.tv_nsec;
}

// Whether a change of the file from now on would show in its status: times have the length of a tick of the kernel, or
// on some file systems of two seconds.
bool IsSettled(const struct stat& status) {
    constexpr long kTick = 20'000'000;
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const long long seconds = now.tv_sec - status.st_ctim.tv_sec;
    if (status.st_ctim.tv_nsec == 0 || seconds > 2 || seconds < 0)
        return seconds > 2;
    return seconds * 1'000'000'000 + now.tv_nsec - status.st_ctim.tv_nsec > kTick;
}

}  // namespace

class SettingsFiles::File {
public:
    File(std::string file, steady_clock::duration& patience)
        : m_file(std::move(file)), m_patience(patience) {}

    int Find(std::string_view key, std::optional<std::string>& value) {
        if (const KeyChange* const change = Seen(key)) {
            value = change->value;
            return 0;
        }
        const int failed = Read();
        if (!failed)
            value = m_text->Find(key);
        return failed;
    }

    // The changes that change what reads see; all that nobody has seen where the file cannot be read.
    std::vector<KeyChange> Effective(const std::vector<KeyChange>& changes) {
        const bool isReadable = Read() == 0;
        std::vector<KeyChange> effective;
        for (const KeyChange& change : changes) {
            const KeyChange* const seen = Seen(change.key);
            if (seen ? seen->value != change.value : !isReadable || !m_text->Has(change))
                effective.push_back(change);
        }
        return effective;
    }

    void See(const KeyChange& change) {
        const auto [at, isNew] = m_seenAt.try_emplace(change.key, m_seen.size());
        if (isNew)
            m_seen.push_back(change);
        else
            m_seen[at->second].value = change.value;
    }

    // Finds out whether the file can take what is seen, of which these changes are new.
    int Try(const std::vector<KeyChange>& changes) {
        if (OnceMore([&] { return Lock() || Read() ? -1 : 0; }))
            return -1;
        if (!m_replacement)
            m_replacement.emplace(m_place.folder, m_place.name);
        return OnceMore([&] {
            m_hasRoom = m_hasRoom ? MakeMoreRoom(changes)
                                  : m_replacement->Write(m_text->With(m_seen), *m_lock, kModeOfNew);
            return m_hasRoom ? 0 : LogErrno("write a new", m_path, __LINE__, "Try");
        });
    }

    // Changes the file as it stands now. What it holds already may be there since an instant ago, and is flushed.
    int Change(const std::vector<KeyChange>& changes, bool flushes) {
        if (Read())
            return -1;
        if (IsThereAlready(changes))
            return flushes ? FlushAsItStands() : 0;
        if (OnceMore([&] { return Lock() || Read() ? -1 : 0; }))
            return -1;
        if (IsThereAlready(changes))
            return flushes ? FlushAsItStands() : 0;
        if (!m_replacement)
            m_replacement.emplace(m_place.folder, m_place.name);
        const std::string changed = m_text->With(changes);
        m_hasRoom = false;
        const int failed = OnceMore([&] {
            const bool written =
                m_replacement->Write(changed, *m_lock, kModeOfNew) && m_replacement->FlushContent();
            return written ? 0 : LogErrno("write a new", m_path, __LINE__, "Change");
        });
        if (failed)
            return -1;
        return m_replacement->PutInPlace() ? 0 : LogErrno("replace", m_path);
    }

    void LetGo() {
        m_replacement.reset();
        m_hasRoom = false;
        m_lock.reset();
    }

private:
    const KeyChange* Seen(std::string_view key) const {
        const auto at = m_seenAt.find(std::string(key));
        return at != m_seenAt.end() ? &m_seen[at->second] : nullptr;
    }

    bool IsThereAlready(const std::vector<KeyChange>& changes) const {
        return std::all_of(changes.begin(), changes.end(),
                           [this](const KeyChange& change) { return m_text->Has(change); });
    }

    // Brings m_text to what the file holds; nothing where there is no file.
    int Read() {
        const std::string path = ResolvePath(m_file);
        struct stat before {};
        const bool isThere = stat(path.c_str(), &before) == 0;
        if (isThere && m_text && m_isSettled && IsSameState(before, m_status))
            return 0;
        m_text.reset();
        std::string content;
        if (ReadWholeFile(path, content) < 0)
            return -1;
        m_text = std::make_unique<KeyValueText>(std::move(content));
        m_isSettled = isThere && stat(path.c_str(), &m_status) == 0 && IsSameState(before, m_status) &&
                      IsSettled(m_status);
        return 0;
    }

    int Open() {
        if (ResolveForWriting(m_file, m_path))
            return LogErrno("follow the link", ResolveEntry(m_file));
        const std::filesystem::path path = m_path;
        m_place.name = path.filename();
        m_place.folder = Folder::Open(path.parent_path());
        return m_place.folder ? 0 : LogErrno("open the folder of", m_path);
    }

    bool WaitForLock(int fd) {
        for (bool told = false;;) {
            if (RetryInterrupted([&] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0 || IsNotSupported(errno))
                return true;
            if (errno != EWOULDBLOCK || m_patience <= m_patience.zero())
                return false;
            if (!std::exchange(told, true))
                VG_LIB_LOG("Waiting for the lock of %s ...\n", m_path.c_str());
            const auto begin = steady_clock::now();
            std::this_thread::sleep_for(kPollInterval);
            m_patience -= steady_clock::now() - begin;
        }
    }

    // Whether the lock is that of the file which stands there now: one that does not know of locks may have
    // replaced it, and whoever had the lock before may have created it. Returns 1, 0 or, when that cannot be told,
    // -1.
    int HoldsLock() const {
        if (!m_lock)
            return 0;
        struct stat standing {};
        struct stat locked {};
        if (!m_place.folder.Stat(m_place.name, standing))
            return errno == ENOENT ? !*m_lock : -1;
        return *m_lock && fstat(m_lock->Get(), &locked) == 0 && IsSameFile(locked, standing);
    }

    int Lock() {
        for (;;) {
            if (const int holds = HoldsLock(); holds != 0)
                return holds > 0 ? 0 : LogErrno("lock", m_path);
            LetGo();
            if (Open())
                return -1;
            const int folder = m_place.folder.Fd();
            UniqueFd file(openat(folder, m_place.name.c_str(), kReadFlags | O_NOFOLLOW));
            if ((!file && errno != ENOENT) || !WaitForLock(file ? file.Get() : folder))
                return LogErrno("lock", m_path);
            m_lock = std::move(file);
        }
    }

    // Only its size counts: what stands in it is written anew when it becomes the file.
    bool MakeMoreRoom(const std::vector<KeyChange>& changes) {
        std::string lines;
        for (const KeyChange& change : changes)
            if (change.value)
                lines += KeyValueLine(change.key, *change.value) + "\r\n";
        return m_replacement->Append(lines);
    }

    int FlushAsItStands() const {
        const std::filesystem::path path = ResolvePath(m_file);
        const UniqueFd file(open(path.c_str(), kReadFlags));
        const Folder folder = Folder::Open(path.parent_path());
        const bool flushed =
            (file || errno == ENOENT) && folder && (!file || Flush(file.Get())) && folder.Sync();
        return flushed ? 0 : LogErrno("flush", path);
    }

    const std::string m_file;
    steady_clock::duration& m_patience;

    std::unique_ptr<KeyValueText> m_text;  // of the file, when its status was this one
    struct stat m_status {};
    bool m_isSettled = false;  // the text holds as long as the status does

    std::vector<KeyChange> m_seen;  // as if the file held it; a change a key
    std::map<std::string, size_t> m_seenAt;

    std::string m_path;  // the real one, while the file is locked
    Place m_place;
    std::optional<UniqueFd> m_lock;  // of the file; of the folder when it holds no file
    std::optional<FileReplacement> m_replacement;
    bool m_hasRoom = false;  // the replacement takes up what the new file needs
};

SettingsFiles::SettingsFiles() : m_before(std::exchange(g_current, this)) {}

SettingsFiles::~SettingsFiles() { g_current = m_before; }

SettingsFiles& SettingsFiles::Current() {
    if (!g_current)
        static SettingsFiles unmade;
    return *g_current;
}

SettingsFiles::File& SettingsFiles::Of(std::string_view file) {
    auto known = m_files.find(file);
    if (known == m_files.end())
        known = m_files.emplace(file, std::make_unique<File>(std::string(file), m_patience)).first;
    return *known->second;
}

int SettingsFiles::Find(std::string_view file, std::string_view key, std::optional<std::string>& value) {
    return Of(file).Find(key, value);
}

int SettingsFiles::Write(const std::string& file, const std::vector<KeyChange>& changes) {
    File& one = Of(file);
    if (!m_isCollecting) {
        const int result = one.Change(changes, false);
        one.LetGo();
        return result;
    }
    const std::vector<KeyChange> effective = one.Effective(changes);
    if (effective.empty())
        return 0;
    for (const KeyChange& change : effective) {
        one.See(change);
        m_written.push_back(change);
    }
    return one.Try(effective);
}

void SettingsFiles::Collect(const std::vector<KeyChange>& earlier) {
    Stop();
    m_isCollecting = true;
    for (const KeyChange& change : earlier)
        Of(change.file).See(change);
}

std::vector<KeyChange> SettingsFiles::Take() { return std::exchange(m_written, {}); }

int SettingsFiles::Apply(const std::vector<KeyChange>& changes) {
    std::map<std::string, std::vector<KeyChange>> byFile;
    for (const KeyChange& change : changes)
        byFile[change.file].push_back(change);
    int result = 0;
    for (const auto& [file, ofFile] : byFile) {
        if (Of(file).Change(ofFile, true))
            result = -1;
        Of(file).LetGo();
    }
    return result;
}

void SettingsFiles::Stop() {
    m_files.clear();
    m_written.clear();
    m_isCollecting = false;
}
