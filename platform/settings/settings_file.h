// A file of settings while one process changes it: its lock, and its new content under a temporary name.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files/file_replacement.h"
#include "platform/files/place.h"
#include "platform/settings/pending_keys.h"

// The content as the changes leave it.
std::string WithChanges(std::string content, const std::vector<KeyChange>& changes);

// A replacement goes: lock the file, or its folder while there is none; read it, since it may have changed
// before the lock was there; write the new file beside it (Try, which leaves it at that and keeps the lock);
// flush it, rename it, flush the folder (Change).
//
// A lock that somebody else keeps is waited for, 10 seconds in all in the life of the process; after that a
// file counts as not writable until its lock is free. A file system without locks is one where everybody has
// it. Each call returns 0 or -1 (logged, never with content).
class SettingsFile {
public:
    // The file by its path of the package; symbolic links stay, and what they lead to is replaced.
    explicit SettingsFile(std::string file);

    // Finds out whether the file can take the changes.
    [[nodiscard]] int Try(const std::vector<KeyChange>& changes);

    // Changes the file as it stands now, and ends what Try has begun. A step that the disk fails is done twice.
    [[nodiscard]] int Change(const std::vector<KeyChange>& changes);

private:
    int Open();
    int Lock();
    int HoldsLock() const;
    bool WaitForLock(int fd) const;
    int LockAndRead(std::string& content);

    std::string m_file;
    std::string m_path;  // the real one
    Place m_place;
    std::optional<UniqueFd> m_lock;  // of the file; of the folder when it holds no file
    std::optional<FileReplacement> m_replacement;
};
