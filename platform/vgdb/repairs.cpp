// Fewer flushes for many small commits.
//
// A commit that must be on disk when it returns (synchronous = EXTRA) flushes journal, database and folder,
// the folder a last time after the removal of the journal: a journal that a power cut brings back undoes the
// commit, and nothing else. Repairs are undone so without harm until somebody counts on them, and that is
// after EndRepairs, which flushes each folder once.

#include <fcntl.h>

#include <filesystem>
#include <set>
#include <string>

#include "platform/base/library_log.h"
#include "platform/base/once_more.h"
#include "platform/files/file_io.h"
#include "platform/vgdb/connection.h"
#include "platform/vgdb/vgdb.h"

namespace {

int FlushFolder(const std::string& path) {
    const UniqueFd folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder && Flush(folder.Get()) ? 0 : LogErrno("flush", path);
}

}  // namespace

void VGDB::BeginRepairs() { Connection::BeginRepairs(); }

int VGDB::EndRepairs() {
    std::set<std::string> folders;
    for (Connection* const connection : AllConnections())
        if (connection->EndRepairs())
            folders.insert(std::filesystem::path(connection->Path()).parent_path().string());
    int result = 0;
    for (const std::string& folder : folders)
        if (OnceMore([&folder] { return FlushFolder(folder); }))
            result = -1;
    return result;
}
