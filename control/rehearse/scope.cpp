#include "control/rehearse/scope.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>

#include "control/rehearse/document.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"

namespace fs = std::filesystem;

namespace {

constexpr mode_t kPageMode = 0600;  // it shows rows of the system
constexpr size_t kEntries = 100;

}  // namespace

void ScopeOptions::AddTo(std::vector<Option>& options) {
    options.insert(options.end(), {{"--samples N", &samples, "Show so many rows of a table (3)"},
                                   {"--full", &full, "Show all rows and entries, and whole rows"},
                                   {"--table TABLE", &table, "Show the rows of this table alone"},
                                   {"--id ID", &id, "And of it the row whose key begins with ID"},
                                   {"--html FILE", &page, "Write it as a page, too"}});
}

std::string ScopeOptions::Problem() const {
    if (!id.empty() && table.empty())
        return "--id needs --table: the row of which table?";
    if (page.empty())
        return "";
    std::error_code error;
    const fs::path path = fs::absolute(page, error);
    struct stat status {};
    if (error || access(path.parent_path().c_str(), W_OK) != 0)
        return "Cannot write the page " + page + ": " + std::strerror(errno);
    std::string content;
    if (lstat(path.c_str(), &status) != 0)
        return errno == ENOENT ? "" : "Cannot write the page " + page + ": " + std::strerror(errno);
    if (!S_ISREG(status.st_mode) || (status.st_size > 0 && ReadWholeFile(path, content) <= 0) ||
        !content.starts_with(std::string_view(kPageSign).substr(0, content.size())))
        return "There stands something else than such a page: " + page;
    return "";
}

CompareScope ScopeOptions::Scope(bool readOnly) const {
    return {.samples = full ? SIZE_MAX : samples,
            .entries = full ? SIZE_MAX : kEntries,
            .readOnly = readOnly,
            .table = table,
            .id = id};
}

std::string ScopeOptions::WritePage(const std::string& html) const {
    std::error_code error;
    return page.empty() || ReplaceFile(fs::absolute(page, error), html, kPageMode) == 0
               ? ""
               : "Cannot write the page " + page;
}
