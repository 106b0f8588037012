#include "platform/settings/settings_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <thread>
#include <utility>

#include "platform/base/first_change.h"
#include "platform/base/library_log.h"
#include "platform/base/once_more.h"
#include "platform/base/paths.h"
#include "platform/files/file_io.h"
#include "platform/settings/key_value_text.h"

namespace {

constexpr mode_t kModeOfNew = 0644;
constexpr std::chrono::milliseconds kPollInterval{10};

std::chrono::steady_clock::duration g_patience = std::chrono::seconds(10);
bool g_toldOfWaiting = false;

}  // namespace

std::string WithChanges(std::string content, const std::vector<KeyChange>& changes) {
    for (const KeyChange& change : changes)
        content =
            change.value ? WithValue(content, change.key, *change.value) : WithoutKeys(content, {change.key});
    return content;
}

SettingsFile::SettingsFile(std::string file) : m_file(std::move(file)) {}

int SettingsFile::Open() {
    const std::filesystem::path path = m_path = ResolvePath(m_file);
    m_place.name = path.filename();
    m_place.folder = Folder::Open(path.parent_path());
    return m_place.folder ? 0 : LogErrno("open the folder of", m_path);
}

bool SettingsFile::WaitForLock(int fd) const {
    for (;;) {
        if (RetryInterrupted([&] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0 || IsNotSupported(errno))
            return true;
        if (errno != EWOULDBLOCK || g_patience <= g_patience.zero())
            return false;
        if (!std::exchange(g_toldOfWaiting, true))
            VG_LIB_LOG("Waiting for the lock of %s ...\n", m_path.c_str());
        const auto begin = std::chrono::steady_clock::now();
        std::this_thread::sleep_for(kPollInterval);
        g_patience -= std::chrono::steady_clock::now() - begin;
    }
}

// Whether the lock is that of the file which stands there now: one that does not know of locks may have
// replaced it, and whoever had the lock before may have created it. Returns 1, 0 or, when that cannot be told,
// -1.
int SettingsFile::HoldsLock() const {
    if (!m_lock)
        return 0;
    struct stat standing {};
    struct stat locked {};
    if (!m_place.folder.Stat(m_place.name, standing))
        return errno == ENOENT ? !*m_lock : -1;
    return *m_lock && fstat(m_lock->Get(), &locked) == 0 && IsSameFile(locked, standing);
}

int SettingsFile::Lock() {
    for (;;) {
        if (const int holds = HoldsLock(); holds != 0)
            return holds > 0 ? 0 : LogErrno("lock", m_path);
        m_replacement.reset();
        m_lock.reset();
        if (Open())
            return -1;
        const int folder = m_place.folder.Fd();
        UniqueFd file(openat(folder, m_place.name.c_str(), kReadFlags | O_NOFOLLOW));
        if ((!file && errno != ENOENT) || !WaitForLock(file ? file.Get() : folder))
            return LogErrno("lock", m_path);
        m_lock = std::move(file);
    }
}

int SettingsFile::LockAndRead(std::string& content) {
    return OnceMore([&] {
        content.clear();
        if (Lock())
            return -1;
        if (!*m_lock)
            return 0;
        return lseek(m_lock->Get(), 0, SEEK_SET) == 0 ? ReadWholeFile(m_lock->Get(), m_path, content)
                                                      : LogErrno("read", m_path);
    });
}

int SettingsFile::Try(const std::vector<KeyChange>& changes) {
    std::string content;
    AnnounceChange();
    if (LockAndRead(content))
        return -1;
    if (!m_replacement)
        m_replacement.emplace(m_place.folder, m_place.name);
    content = WithChanges(std::move(content), changes);
    return OnceMore([&] {
        return m_replacement->Write(content, *m_lock, kModeOfNew) ? 0 : LogErrno("write a new", m_path);
    });
}

int SettingsFile::Change(const std::vector<KeyChange>& changes) {
    std::string content;
    if (ReadWholeFile(ResolvePath(m_file), content) < 0)
        return -1;
    if (WithChanges(content, changes) == content)
        return 0;
    AnnounceChange();
    if (LockAndRead(content))
        return -1;
    const std::string changed = WithChanges(content, changes);
    if (changed == content)
        return 0;
    if (!m_replacement)
        m_replacement.emplace(m_place.folder, m_place.name);
    const int failed = OnceMore([&] {
        const bool written =
            m_replacement->Write(changed, *m_lock, kModeOfNew) && m_replacement->FlushContent();
        return written ? 0 : LogErrno("write a new", m_path);
    });
    if (failed)
        return -1;
    return m_replacement->PutInPlace() ? 0 : LogErrno("replace", m_path);
}
