// Replacing a file as a whole: a reader and a process killed at any instant see the old file or the new one,
// the latter only after it has reached the disk.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "platform/files/file_io.h"
#include "platform/files/folder.h"

// The new content of a file, beside it under a temporary name until it is put in place; gone with the object
// when it never was. The name is the same for all writers of the file, who therefore hold a lock. False, with
// errno, on failure.
class FileReplacement {
public:
    // The temporary name for a file's name.
    static std::string TemporaryName(const std::string& name);

    // The folder outlives the object.
    FileReplacement(const Folder& folder, std::string name);
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;
    ~FileReplacement();

    // Writes the whole new file, not yet flushed, in place of what was written before. The file takes over
    // owner, mode, access lists and other attributes of the old one, or gets the mode where there is none.
    bool Write(std::string_view content, const UniqueFd& oldFile, mode_t modeOfNew);

    // Writes more behind what was written.
    bool Append(std::string_view content);

    // Brings what was written to the disk.
    bool FlushContent();

    // Makes what was flushed the file, for good; a step that the disk fails is done twice.
    bool PutInPlace();

private:
    bool Create();
    bool Rename();
    bool IsOurs() const;

    const Folder& m_folder;
    std::string m_name;
    std::string m_temporaryName;
    UniqueFd m_file;
};

// Replaces the file of that real path, or creates it with the mode, without a lock. Returns 0 or -1 (logged),
// after a second try when the disk has failed. What stands there and is no regular file stays.
[[nodiscard]] int ReplaceFile(const std::string& path, std::string_view content, mode_t modeOfNew);
