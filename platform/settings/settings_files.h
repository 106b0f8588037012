// The files of settings that a program reads and writes, read once as long as they stay what they are, and keys that
// are collected first and written later.
#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/settings/key_value_text.h"

// A program makes one; from then to its end the functions of the package's interface (key_value_file.h, settings.h)
// stand on it. Files are named by their paths of the package. Each call returns 0 or -1 (logged, never with a value)
// unless it says otherwise.
//
// A write goes: lock the file, or its folder while there is none; read it, since it may have changed before the lock
// was there; write the new file beside it, flush it, rename it, flush the folder. Symbolic links stay, and what they
// lead to is replaced. A lock that somebody else keeps is waited for, 10 seconds in all in the life of the object;
// after that a file counts as not writable until its lock is free. A file system without locks is one where everybody
// has it. A step that the disk fails is done twice.
class SettingsFiles {
public:
    SettingsFiles();
    SettingsFiles(const SettingsFiles&) = delete;
    SettingsFiles& operator=(const SettingsFiles&) = delete;
    ~SettingsFiles();

    // The one that was made last.
    static SettingsFiles& Current();

    // The value of a key; none when the file does not hold it.
    [[nodiscard]] int Find(std::string_view file, std::string_view key, std::optional<std::string>& value);

    // Makes changes of one file: collects them while keys are collected, writes them to the file else. Changes that
    // change nothing are left out.
    [[nodiscard]] int Write(const std::string& file, const std::vector<KeyChange>& changes);

    // From now on writes are collected, and change no file. Reads see them; they also see the changes of `earlier`,
    // which are not in their files yet.
    //
    // Each write is tried at once: the file's lock is taken, and room for the new file beside it; both are kept. A
    // write that fails its trial (no rights, no room, locked) returns -1 but is collected all the same.
    void Collect(const std::vector<KeyChange>& earlier = {});

    // What has been written since the last call, in its order. Reads still see it.
    std::vector<KeyChange> Take();

    // Makes the changes in the files as they stand, one rewrite a file, also while keys are collected. They are on
    // disk when it returns 0; when a file could not be written, the others are all the same. May be done again.
    [[nodiscard]] int Apply(const std::vector<KeyChange>& changes);

    // Forgets all that was collected and gives locks and temporary files back. Writes go to the files again.
    void Stop();

private:
    class File;

    File& Of(std::string_view file);

    SettingsFiles* const m_before;
    std::map<std::string, std::unique_ptr<File>, std::less<>> m_files;
    bool m_isCollecting = false;
    std::vector<KeyChange> m_written;  // and not taken
    std::chrono::steady_clock::duration m_patience = std::chrono::seconds(10);
};
