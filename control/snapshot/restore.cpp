#include "control/snapshot/restore.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <thread>
#include <vector>

#include "control/snapshot/sums.h"
#include "control/snapshot/tree_copy.h"
#include "control/snapshot/tree_files.h"
#include "platform/base/local_time.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/files/file_replacement.h"
#include "platform/files/files.h"
#include "platform/files/flush_later.h"
#include "platform/files/holder.h"
#include "platform/vgdb/database_file.h"
#include "upgrader/history.h"
#include "upgrader/restore_mark.h"

namespace fs = std::filesystem;

namespace {

// The new files stand beside the old ones under names with this suffix until all of them are on disk.
constexpr const char* kBeside = ".vgrestore";

constexpr mode_t kMarkMode = 0600;

class Restorer {
public:
    Restorer(const Snapshot& snapshot, std::string name, const BytesOf& progress, std::string& problem)
        : m_snapshot(snapshot), m_name(std::move(name)), m_progress(progress), m_problem(problem) {}

    //   1. Find the files and their places.
    //   2. Hold the databases against everybody.
    //   3. See whether every file can be replaced.
    //   4. Copy the files beside those that they replace, and compare their sums.
    //   5. Set the mark. From here on it has to be finished.
    //   6. Put the files in place, without what belongs to the old databases alone.
    //   7. Note it in the history, and remove the mark.
    bool Run(std::chrono::milliseconds patience) {
        if (!FindFiles() || !Hold(patience) || !CanReplaceAll())
            return false;
        if (!CopyBeside() || !SetMark()) {
            (void)RemoveLitter();
            return false;
        }
        return PutInPlace() && NoteInHistory() && RemoveMark();
    }

private:
    struct File {
        std::string path;  // below the snapshot's folder
        std::string sum;
        UniqueFd source;
        struct stat status {};
        const Folder* folder = nullptr;  // of the file that it replaces
        std::string name;
    };

    bool Fail(std::string problem) {
        m_problem = std::move(problem);
        return false;
    }

    bool FindFiles() {
        std::map<std::string, std::string> sums;
        const Folder folder = Folder::Open(m_snapshot.folder);
        if (!folder)
            return Fail(Reason(m_snapshot.folder));
        if (!folder.IsOurs())
            return Fail(m_snapshot.folder + " can be written to by others than root, and is not restored");
        if (ReadSums(m_snapshot, sums, m_problem))
            return false;
        for (const auto& [path, sum] : sums) {
            File file;
            file.path = path;
            file.sum = sum;
            file.source = OpenBelow(folder, path);
            if (!file.source || fstat(file.source.Get(), &file.status) != 0)
                return Fail(Reason(m_snapshot.folder + '/' + path));
            if (!FindTarget('/' + path, file.folder, file.name))
                return false;
            m_files.push_back(std::move(file));
        }
        return true;
    }

    // Follows no link on the way.
    static UniqueFd OpenBelow(const Folder& root, const fs::path& path) {
        Folder folder = root.OpenFolder(".");
        for (const fs::path& part : path.parent_path())
            folder = folder.OpenFolder(part);
        return folder.OpenFile(path.filename());
    }

    bool FindTarget(const std::string& path, const Folder*& folder, std::string& name) {
        const fs::path target = RealPathOfTreeFile(path);
        if (target.empty())
            return Fail(ResolveEntry(path) + " is a link of somebody else's, and is not written through");
        name = target.filename();
        folder = FolderOf(target);
        return folder != nullptr;
    }

    const Folder* FolderOf(const fs::path& target) {
        const std::string path = target.parent_path();
        const auto [entry, isNew] = m_folders.try_emplace(path);
        if (isNew)
            entry->second = Folder::Open(path);
        if (!entry->second) {
            Fail(Reason(path));
            return nullptr;
        }
        return &entry->second;
    }

    // Package paths of the databases that the snapshot brings back or takes away.
    std::vector<std::string> Databases() const {
        std::set<std::string> mentioned(m_snapshot.absent.begin(), m_snapshot.absent.end());
        for (const File& file : m_files)
            mentioned.insert('/' + file.path);
        std::vector<std::string> databases;
        for (const std::string& path : DatabasePaths())
            if (mentioned.contains(path))
                databases.push_back(path);
        return databases;
    }

    // A process that has just begun has the open files of its parent for a moment.
    static Holder FindLastingHolder(const std::string& path) {
        Holder holder = FindHolder(path, Having::Open);
        for (int pause = 0; holder && pause < 10; ++pause) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            holder = FindHolder(path, Having::Open);
        }
        return holder;
    }

    // Who has a database open without a lock would go on with the file that was replaced.
    bool Hold(std::chrono::milliseconds patience) {
        std::vector<std::string> paths;
        for (const std::string& path : Databases())
            paths.push_back(ResolvePath(path));
        if (m_held.Acquire(paths, HeldDatabases::Against::Everybody, patience, m_problem)) {
            m_problem += ". Stop the package first.";
            return false;
        }
        for (const std::string& path : paths)
            if (const Holder holder = FindLastingHolder(path))
                return Fail(path + " is open in " + InWords(holder) + ". Stop the package first.");
        return true;
    }

    bool CanReplaceAll() {
        for (const File& file : m_files)
            if (!CanReplace(*file.folder, file.name))
                return false;
        for (const std::string& path : m_snapshot.absent) {
            const fs::path target = ResolvePath(path);
            const Folder folder = Folder::Open(target.parent_path());
            if (folder && !CanReplace(folder, target.filename()))
                return false;
        }
        return RemoveLitter() && HasRoom();
    }

    // Rights show when the copy is made beside it.
    bool CanReplace(const Folder& folder, const std::string& name) {
        const auto isFixed = [&](const char* entry) {
            struct statx status {};
            if (statx(folder.Fd(), entry, AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH, STATX_TYPE, &status) != 0)
                return false;
            const auto attributes = status.stx_attributes & status.stx_attributes_mask;
            return (attributes & (STATX_ATTR_IMMUTABLE | STATX_ATTR_APPEND)) != 0 ||
                   (*entry != '\0' && (attributes & STATX_ATTR_MOUNT_ROOT) != 0);
        };
        return (!isFixed(name.c_str()) && !isFixed("")) ||
               Fail(folder.PathOf(name) + " cannot be replaced: it is mounted, or set immutable");
    }

    // What a run that was killed has left.
    bool RemoveLitter() {
        for (const auto& [path, folder] : m_folders)
            if (VGFolderRemoveFiles(path, kBeside))
                return Fail(Reason(path));
        return true;
    }

    bool HasRoom() {
        std::map<dev_t, std::pair<const Folder*, uint64_t>> needs;
        std::map<std::pair<dev_t, dev_t>, bool> shares;
        for (const File& file : m_files) {
            struct stat status {};
            if (file.status.st_size == 0 || fstat(file.folder->Fd(), &status) != 0)
                continue;
            const auto [known, isNew] = shares.try_emplace({file.status.st_dev, status.st_dev}, false);
            if (isNew)
                known->second = CanShareBlocks(file.source.Get(), *file.folder);
            auto& [folder, needed] = needs[status.st_dev];
            folder = file.folder;
            needed += known->second ? 0 : static_cast<uint64_t>(file.status.st_size);
        }
        for (const auto& [device, need] : needs)
            if (const std::string problem = FindRoom(*need.first, need.second); !problem.empty())
                return Fail(problem);
        return true;
    }

    bool CopyBeside() {
        uint64_t done = 0;
        const auto progress = [&](uint64_t bytes) {
            done += bytes;
            if (m_progress)
                m_progress(done, m_snapshot.bytes);
        };
        std::vector<UniqueFd> copies;
        for (const File& file : m_files) {
            std::string sum;
            copies.push_back(
                CopyWithSum(file.source.Get(), *file.folder, file.name + kBeside, progress, sum));
            if (!copies.back())
                return Fail(Reason("Cannot copy to " + file.folder->PathOf(file.name + kBeside)));
            if (sum != file.sum)
                return Fail("The snapshot is damaged: " + file.path + " is not what it was");
        }
        for (size_t i = 0; i < copies.size(); ++i)
            if (!Flush(copies[i].Get()))
                return Fail(Reason("Cannot flush " + m_files[i].folder->PathOf(m_files[i].name + kBeside)));
        return FlushFolders();
    }

    // One that stands already keeps its time, which is that of the restore.
    bool SetMark() {
        std::string restoring;
        const int unfinished = FindUnfinishedRestore(restoring);
        if (unfinished == 1 && restoring == m_name)
            return true;
        SnapshotPlace place;
        if (FindSnapshotPlace("", place, m_problem))
            return false;
        if (OpenSnapshotPlace(place) &&
            ReplaceFile(ResolveEntry(kRestoreMark), m_name + '\n', kMarkMode) == 0)
            return true;
        Fail(Reason(ResolveEntry(kRestoreMark)));
        if (unfinished == 0)
            (void)VGFileRemove(ResolveEntry(kRestoreMark));  // nothing has been replaced
        return false;
    }

    // Before the databases: a journal must never stand beside one that it does not belong to.
    bool RemoveJournals() {
        for (const std::string& path : Databases())
            for (const char* const suffix : kCompanionSuffixes)
                if (VGFileRemove(ResolvePath(path) + suffix))
                    return Fail("Cannot remove " + path + suffix);
        return true;
    }

    bool PutInPlace() {
        if (!RemoveJournals())
            return false;
        for (const File& file : m_files) {
            const std::string beside = file.name + kBeside;
            if (renameat(file.folder->Fd(), beside.c_str(), file.folder->Fd(), file.name.c_str()) != 0)
                return Fail(Reason("Cannot replace " + file.folder->PathOf(file.name)));
        }
        return RemoveAbsent() && FlushFolders();
    }

    bool RemoveAbsent() {
        for (const std::string& path : m_snapshot.absent)
            if (VGFileRemove(ResolvePath(path)))
                return Fail("Cannot remove " + path);
        return true;
    }

    // Also those in which something was only removed.
    bool FlushFolders() {
        for (const auto& [path, folder] : m_folders)
            if (!FlushLater(folder))
                return Fail(Reason("Cannot flush " + path));
        return VGFilesFlush().empty() || Fail("Cannot flush the folders of the package");
    }

    // Noted once, also when the mark could not be removed after it.
    bool NoteInHistory() {
        struct stat mark {};
        Json::Value note(Json::objectValue);
        note["restored"] = m_name;
        if (stat(ResolvePath(kRestoreMark).c_str(), &mark) == 0)
            note["at"] = LocalTime(mark.st_mtime);
        std::vector<Json::Value> history;
        if (ReadHistory(history) == 0 && !history.empty() && history.back() == note)
            return true;
        (void)AppendHistory(note, true);  // logged; the files are what counts
        return true;
    }

    // On disk before it is told: a mark that came back would have the system of a later day replaced.
    bool RemoveMark() {
        return (VGFileRemove(ResolveEntry(kRestoreMark)) == 0 && VGFilesFlush().empty()) ||
               Fail("The mark of the restore cannot be removed");
    }

    const Snapshot& m_snapshot;
    std::string m_name;
    const BytesOf& m_progress;
    std::string& m_problem;
    std::map<std::string, Folder> m_folders;  // by real path
    std::vector<File> m_files;
    HeldDatabases m_held;
};

}  // namespace

int RestoreSnapshot(const Snapshot& snapshot, const std::string& name, std::chrono::milliseconds patience,
                    const BytesOf& progress, std::string& problem) {
    if (!snapshot.complete) {
        problem = "Snapshot " + name + " is not complete, and cannot be restored";
        return -1;
    }
    return Restorer(snapshot, name, progress, problem).Run(patience) ? 0 : -1;
}
