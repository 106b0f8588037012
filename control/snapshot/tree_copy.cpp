#include "control/snapshot/tree_copy.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>

#include "control/snapshot/sums.h"
#include "control/snapshot/tree_files.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/attributes.h"
#include "platform/files/copy.h"
#include "platform/vgdb/database_file.h"

namespace fs = std::filesystem;

namespace {

// A file that is there.
struct Source {
    std::string path;      // of the package
    std::string database;  // the real path of the one that it belongs to; '' when to none
    int fd;
    struct stat status {};
};

class Copier {
public:
    Copier(const std::string& folder, const TreeCopyWay& way, TreeCopy& copy, std::string& problem)
        : m_way(way), m_copy(copy), m_problem(problem) {
        m_folders.emplace("/", Folder::Open(folder));
    }

    //   1. Hold the databases, all at once.
    //   2. Open what is there.
    //   3. See whether there is room.
    //   4. Copy.
    //   5. Flush.
    bool Run() {
        if (!m_folders.at("/"))
            return Fail(Reason("The folder of the copy"));
        std::vector<TreeFile> files;
        return ListTreeFiles(files, m_problem) == 0 &&
               m_held.Acquire(DatabasesOf(files), m_way.against, m_way.patience, m_problem) == 0 &&
               Open(files) && HasRoom() && CopyAll() && (!m_way.durable || Flush());
    }

private:
    bool Fail(std::string problem) {
        m_problem = std::move(problem);
        return false;
    }

    bool Open(const std::vector<TreeFile>& files) {
        for (const TreeFile& file : files) {
            const std::string database = file.isDatabase ? file.realPath : "";
            if (!OpenOne(file.path, file.realPath, database))
                return false;
            if (!file.isDatabase)
                continue;
            const std::vector<std::string> damaged = m_held.Damaged();
            if (std::find(damaged.begin(), damaged.end(), database) != damaged.end())
                m_copy.damaged.push_back(file.path);
            for (const std::string& companion : CompanionsOf(m_held.FdOf(file.realPath), file.realPath))
                if (!OpenOne(file.path + companion.substr(file.realPath.size()), companion, database))
                    return false;
        }
        return true;
    }

    bool OpenOne(const std::string& path, const std::string& realPath, const std::string& database) {
        Source source{
            .path = path, .database = database, .fd = database == realPath ? m_held.FdOf(database) : -1};
        if (source.fd < 0) {
            m_open.emplace_back(open(realPath.c_str(), kReadFlags));
            if (!m_open.back() && errno != ENOENT)
                return Fail(Reason(realPath));
            source.fd = m_open.back().Get();
        }
        if (source.fd < 0) {
            m_copy.absent.push_back(path);
            return true;
        }
        if (fstat(source.fd, &source.status) != 0)
            return Fail(Reason(realPath));
        if (!S_ISREG(source.status.st_mode))
            return Fail(realPath + " is not a regular file");
        m_copy.bytes += static_cast<uint64_t>(source.status.st_size);
        m_sources.push_back(source);
        return true;
    }

    // Blocks that are shared take no room; whether they can be is asked once a file system.
    bool HasRoom() {
        const Folder& folder = m_folders.at("/");
        uint64_t needed = 0;
        for (const Source& source : m_sources) {
            if (source.status.st_size == 0)
                continue;
            const auto [known, isNew] = m_shares.try_emplace(source.status.st_dev, false);
            if (isNew)
                known->second = CanShareBlocks(source.fd, folder);
            if (!known->second)
                needed += static_cast<uint64_t>(source.status.st_size);
        }
        const std::string problem = FindRoom(folder, needed);
        return problem.empty() || Fail(problem);
    }

    // What shares its blocks first, which takes no time: its sum is taken when nobody waits any more. Then one database
    // after the other.
    bool CopyAll() {
        m_copies.resize(m_sources.size());
        m_copy.files.resize(m_sources.size());
        for (size_t i = 0; i < m_sources.size(); ++i)
            if (m_shares[m_sources[i].status.st_dev] && !CopyOne(i, nullptr))
                return false;
        for (size_t i = 0; i < m_sources.size(); ++i) {
            if (!m_copies[i] && !CopyOne(i, m_way.durable ? &m_copy.files[i].sum : nullptr))
                return false;
            const std::string& database = m_sources[i].database;
            if (i + 1 == m_sources.size() || m_sources[i + 1].database != database)
                m_held.LetGo(database);
        }
        for (size_t i = 0; m_way.durable && i < m_sources.size(); ++i) {
            std::string& sum = m_copy.files[i].sum;
            if (sum.empty())
                sum = SumOfFile(m_copies[i].Get(), m_progress);
            if (sum.empty())
                return Fail(Reason("Cannot read the copy of " + m_sources[i].path));
        }
        return true;
    }

    bool CopyOne(size_t i, std::string* sum) {
        const Source& source = m_sources[i];
        const fs::path path = source.path;
        const Folder* const folder = FolderFor(path.parent_path());
        if (!folder)
            return false;
        const std::string name = path.filename();
        m_copies[i] = sum ? CopyWithSum(source.fd, *folder, name, m_progress, *sum)
                          : CopyFile(source.fd, *folder, name);
        if (!m_copies[i])
            return Fail(Reason("Cannot copy " + folder->PathOf(name)));
        m_copy.files[i].path = source.path.substr(1);
        m_copy.files[i].bytes = static_cast<uint64_t>(source.status.st_size);
        if (!m_way.durable)
            m_progress(m_copy.files[i].bytes);
        return true;
    }

    // The folder of the copy, with owner and mode of the package's own; null (the problem is told) on failure.
    const Folder* FolderFor(const fs::path& path) {
        if (const auto known = m_folders.find(path); known != m_folders.end())
            return &known->second;
        const Folder* const parent = FolderFor(path.parent_path());
        if (!parent)
            return nullptr;
        const std::string name = path.filename();
        const Folder original = Folder::Open(ResolvePath(path.native()));
        struct stat status {};
        Folder made;
        if (original && fstat(original.Fd(), &status) == 0 && mkdirat(parent->Fd(), name.c_str(), 0700) == 0)
            made = parent->OpenFolder(name);
        if (!made || !CopyOwnerAndMode(original.Fd(), status, made.Fd())) {
            Fail(Reason("Cannot make the folder for a copy of " + path.native()));
            return nullptr;
        }
        return &m_folders.emplace(path, std::move(made)).first->second;
    }

    bool Flush() {
        for (const UniqueFd& one : m_copies)
            if (!::Flush(one.Get()))
                return Fail(Reason("Cannot flush the copy"));
        for (const auto& [path, folder] : m_folders)
            if (!folder.Sync())
                return Fail(Reason("Cannot flush the copy"));
        return true;
    }

    const TreeCopyWay& m_way;
    TreeCopy& m_copy;
    std::string& m_problem;
    uint64_t m_done = 0;
    const Progress m_progress = [this](uint64_t bytes) {
        m_done += bytes;
        if (m_way.progress)
            m_way.progress(m_done, m_copy.bytes);
    };
    HeldDatabases m_held;
    std::map<dev_t, bool> m_shares;  // whether the copy can share blocks with that file system
    std::vector<UniqueFd> m_open;
    std::vector<Source> m_sources;
    std::map<std::string, Folder> m_folders;  // of the copy, by the package's path
    std::vector<UniqueFd> m_copies;           // not yet flushed
};

}  // namespace

int CopyTree(const std::string& folder, const TreeCopyWay& way, TreeCopy& copy, std::string& problem) {
    copy = {};
    return Copier(folder, way, copy, problem).Run() ? 0 : -1;
}
