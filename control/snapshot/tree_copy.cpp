#include "control/snapshot/tree_copy.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>

#include "control/snapshot/sums.h"
#include "control/snapshot/tree_files.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/attributes.h"
#include "platform/files/copy.h"
#include "platform/vgdb/database_file.h"

namespace fs = std::filesystem;

namespace {

// A file that is there.
struct Source {
    std::string path;  // of the package
    int fd;
    struct stat status {};
};

std::string Reason(const std::string& path) { return path + ": " + std::strerror(errno); }

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
            if (!OpenOne(file.path, file.realPath, file.isDatabase ? m_held.FdOf(file.realPath) : -1))
                return false;
            if (!file.isDatabase)
                continue;
            for (const std::string& companion : CompanionsOf(m_held.FdOf(file.realPath), file.realPath))
                if (!OpenOne(file.path + companion.substr(file.realPath.size()), companion, -1))
                    return false;
        }
        return true;
    }

    bool OpenOne(const std::string& path, const std::string& realPath, int heldFd) {
        if (heldFd < 0) {
            m_open.emplace_back(open(realPath.c_str(), kReadFlags));
            if (!m_open.back() && errno != ENOENT)
                return Fail(Reason(realPath));
            heldFd = m_open.back().Get();
        }
        Source source{.path = path, .fd = heldFd};
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
        std::map<dev_t, bool> shares;
        uint64_t needed = 0;
        for (const Source& source : m_sources) {
            if (source.status.st_size == 0)
                continue;
            const auto [known, isNew] = shares.try_emplace(source.status.st_dev, false);
            if (isNew)
                known->second = CanShareBlocks(source.fd, folder);
            if (!known->second)
                needed += static_cast<uint64_t>(source.status.st_size);
        }
        const std::string problem = FindRoom(folder, needed);
        return problem.empty() || Fail(problem);
    }

    bool CopyAll() {
        uint64_t done = 0;
        const auto progress = [&](uint64_t bytes) {
            done += bytes;
            if (m_way.progress)
                m_way.progress(done, m_copy.bytes);
        };
        for (const Source& source : m_sources) {
            const fs::path path = source.path;
            const Folder* const folder = FolderFor(path.parent_path());
            if (!folder)
                return false;
            const std::string name = path.filename();
            std::string sum;
            UniqueFd copy = m_way.durable ? CopyWithSum(source.fd, *folder, name, progress, sum)
                                          : CopyFile(source.fd, *folder, name);
            if (!copy)
                return Fail(Reason("Cannot copy " + folder->PathOf(name)));
            const auto bytes = static_cast<uint64_t>(source.status.st_size);
            if (!m_way.durable)
                progress(bytes);
            m_copy.files.push_back({.path = source.path.substr(1), .sum = sum, .bytes = bytes});
            m_copies.push_back(std::move(copy));
        }
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
    HeldDatabases m_held;
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
