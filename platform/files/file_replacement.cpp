#include "platform/files/file_replacement.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>

#include "platform/base/disk_error.h"
#include "platform/base/package_log.h"
#include "platform/base/once_more.h"
#include "platform/files/attributes.h"

namespace {

int Noted(bool done) {
    if (!done)
        NoteErrno(errno);
    return done ? 0 : -1;
}

}  // namespace

std::string FileReplacement::TemporaryName(const std::string& name) { return name + ".vgtmp"; }

FileReplacement::FileReplacement(const Folder& folder, std::string name)
    : m_folder(folder), m_name(std::move(name)), m_temporaryName(TemporaryName(m_name)) {}

FileReplacement::~FileReplacement() {
    if (m_file && IsOurs())
        unlinkat(m_folder.Fd(), m_temporaryName.c_str(), 0);
}

// What stands under the name before is litter of a writer that was killed.
bool FileReplacement::Create() {
    if (m_file && IsOurs())
        return true;
    unlinkat(m_folder.Fd(), m_temporaryName.c_str(), 0);
    m_file = UniqueFd(openat(m_folder.Fd(), m_temporaryName.c_str(),
                             O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    return static_cast<bool>(m_file);
}

// False when something that does not know of the lock has put another file under the temporary name.
bool FileReplacement::IsOurs() const {
    struct stat own {};
    struct stat standing {};
    if (fstat(m_file.Get(), &own) != 0 || !m_folder.Stat(m_temporaryName, standing))
        return false;
    if (IsSameFile(own, standing))
        return true;
    errno = EBUSY;
    return false;
}

bool FileReplacement::Write(std::string_view content, const UniqueFd& oldFile, mode_t modeOfNew) {
    // Cut to its length last, so that a file that grows gives no room back on the way.
    if (!Create() || lseek(m_file.Get(), 0, SEEK_SET) != 0 || !WriteAll(m_file.Get(), content) ||
        ftruncate(m_file.Get(), static_cast<off_t>(content.size())) != 0)
        return false;
    struct stat old {};
    if (!oldFile)
        return fchmod(m_file.Get(), modeOfNew) == 0;
    return fstat(oldFile.Get(), &old) == 0 && CopyOwnerAndMode(oldFile.Get(), old, m_file.Get());
}

bool FileReplacement::Append(std::string_view content) { return IsOurs() && WriteAll(m_file.Get(), content); }

bool FileReplacement::FlushContent() { return Flush(m_file.Get()); }

bool FileReplacement::Rename() {
    return IsOurs() && renameat(m_folder.Fd(), m_temporaryName.c_str(), m_folder.Fd(), m_name.c_str()) == 0;
}

bool FileReplacement::PutInPlace() {
    if (OnceMore([&] { return Noted(Rename()); }) != 0)
        return false;
    m_file = UniqueFd();
    return OnceMore([&] { return Noted(m_folder.Sync()); }) == 0;
}

int ReplaceFile(const std::string& path, std::string_view content, mode_t modeOfNew) {
    const std::filesystem::path entry = path;
    const Folder folder = Folder::Open(entry.parent_path());
    UniqueFd old;
    if (folder)
        old = folder.OpenFile(entry.filename());
    if (!folder || (!old && errno != ENOENT))
        return LogErrno("write", path);
    FileReplacement replacement(folder, entry.filename());
    const int failed = OnceMore([&] {
        const bool written = replacement.Write(content, old, modeOfNew) && replacement.FlushContent();
        return written ? 0 : LogErrno("write", path, __LINE__, "ReplaceFile");
    });
    return failed || replacement.PutInPlace() ? failed : LogErrno("write", path);
}
