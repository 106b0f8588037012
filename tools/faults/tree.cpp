#include "tools/faults/tree.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>

#include "tools/faults/process.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kShownDifferences = 3;
constexpr size_t kShownText = 160;

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close_v2)>;
using Query = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

Query Prepare(sqlite3* db, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr);
    return Query(statement, sqlite3_finalize);
}

std::string Column(sqlite3_stmt* row, int column) {
    const void* const bytes = sqlite3_column_blob(row, column);
    return std::string(static_cast<const char*>(bytes ? bytes : ""),
                       static_cast<size_t>(sqlite3_column_bytes(row, column)));
}

// The time of a run, or the day that is worked out from it.
bool IsTimeOfRun(const std::string& table, std::string_view column) {
    return (table == "log" && column == "log_time") ||
           ((table == "logcnt" || table == "logeventcnt") && column == "day");
}

// A row a line. Values come with their types: 1 and '1' differ.
std::string ReadRows(sqlite3* db, const std::string& sql, const std::string& table = "") {
    std::string rows;
    const Query query = Prepare(db, sql);
    int code = SQLITE_ERROR;
    while (query && (code = sqlite3_step(query.get())) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(query.get()); ++column) {
            const char* const name = sqlite3_column_name(query.get(), column);
            if (IsTimeOfRun(table, name))
                continue;
            const int type = sqlite3_column_type(query.get(), column);
            const char* const quote = type == SQLITE_TEXT ? "'" : type == SQLITE_BLOB ? "x" : "";
            std::string value = type == SQLITE_NULL ? "NULL" : Column(query.get(), column);
            std::replace(value.begin(), value.end(), '\n', ' ');
            rows += name + ("=" + (quote + value)) + quote + ", ";
        }
        rows += '\n';
    }
    return code == SQLITE_DONE ? rows : rows + "error: " + sqlite3_errmsg(db) + '\n';
}

void ReadDatabase(const fs::path& file, const std::string& path, Tree& tree) {
    sqlite3* opened = nullptr;
    sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    const Database db(opened, sqlite3_close_v2);
    for (const char* const pragma : {"integrity_check", "journal_mode", "user_version"})
        tree[path + " " + pragma] = ReadRows(opened, std::string("PRAGMA ") + pragma);
    tree[path + " schema"] =
        ReadRows(opened, "SELECT type, name, tbl_name, sql FROM sqlite_schema ORDER BY type, name");
    const Query tables = Prepare(opened,
                                 "SELECT name, '\"' || replace(name, '\"', '\"\"') || '\"' FROM sqlite_schema"
                                 " WHERE type = 'table'");
    while (tables && sqlite3_step(tables.get()) == SQLITE_ROW) {
        const std::string table = Column(tables.get(), 0), quoted = Column(tables.get(), 1);
        // A table without rowid comes in the order of its primary key.
        const bool hasRowid = Prepare(opened, "SELECT rowid FROM " + quoted) != nullptr;
        tree[path + " table " + table] =
            ReadRows(opened, "SELECT * FROM " + quoted + (hasRowid ? " ORDER BY rowid" : ""), table);
    }
}

Tree ReadEntries(const fs::path& root, bool exactly) {
    Tree tree;
    std::vector<std::string> databases;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root)) {
        const std::string path = entry.path().lexically_relative(root);
        if (path == kPackageLog || path == kHistory)
            continue;
        struct stat status {};
        lstat(entry.path().c_str(), &status);
        std::ostringstream text;
        text << "kind " << std::oct << (status.st_mode >> 12) << ", mode " << (status.st_mode & 07777)
             << ", owner " << std::dec << status.st_uid << ':' << status.st_gid;
        if (exactly && S_ISREG(status.st_mode))
            text << ", of " << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
        tree[path] = text.str() + '\n';
        if (S_ISLNK(status.st_mode))
            tree[path + " content"] = fs::read_symlink(entry.path());
        else if (S_ISREG(status.st_mode) && entry.path().extension() == ".db" && !exactly)
            databases.push_back(path);
        else if (S_ISREG(status.st_mode))
            tree[path + " content"] = ReadFile(entry.path());
    }
    // After the walk, which has seen the journals: opening a database can make and remove them.
    for (const std::string& path : databases)
        ReadDatabase(root / path, path, tree);
    return tree;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string Shown(const std::string* text, size_t from) {
    if (!text)
        return "none";
    const std::string shown = text->substr(std::min(from, text->size()), kShownText);
    return (from > 0 ? "[..." : "[") + shown + (from + shown.size() < text->size() ? "...]" : "]");
}

// Long lines are shown from a little before the place where they part.
void CompareLines(const std::string& name, const std::string& expected, const std::string& got,
                  std::vector<std::string>& differences) {
    if ((expected + got).find('\0') != std::string::npos) {
        differences.push_back(name + ": other bytes");
        return;
    }
    const std::vector<std::string> left = Lines(expected), right = Lines(got);
    size_t shown = 0;
    for (size_t i = 0; i < std::max(left.size(), right.size()) && shown < kShownDifferences; ++i) {
        const std::string* const one = i < left.size() ? &left[i] : nullptr;
        const std::string* const other = i < right.size() ? &right[i] : nullptr;
        if (one && other && *one == *other)
            continue;
        ++shown;
        size_t same = 0;
        while (one && other && same < std::min(one->size(), other->size()) && (*one)[same] == (*other)[same])
            ++same;
        const size_t from = same > kShownText / 2 ? same - kShownText / 2 : 0;
        differences.push_back(name + " line " + std::to_string(i + 1) + ": expected " + Shown(one, from) +
                              ", got " + Shown(other, from));
    }
    if (shown == 0)
        differences.push_back(name + ": line ends differ");
}

}  // namespace

Tree ReadTree(const fs::path& tree) { return ReadEntries(tree, false); }

Tree ReadExactly(const fs::path& tree) { return ReadEntries(tree, true); }

Tree ReadCopyOf(const fs::path& tree) {
    const fs::path copy = tree.string() + ".copy";
    CopyTree(tree, copy);
    Tree facts = ReadTree(copy);
    // What closing a database has removed was left only by not closing it.
    std::erase_if(facts, [&](const auto& fact) {
        const std::string path = fact.first.substr(0, fact.first.find(' '));
        return path.find(".db-") != std::string::npos && !fs::exists(copy / path);
    });
    fs::remove_all(copy);
    return facts;
}

std::vector<std::string> Differences(const Tree& expected, const Tree& got) {
    std::vector<std::string> differences;
    for (const auto& [name, text] : expected) {
        const auto other = got.find(name);
        if (other == got.end())
            differences.push_back(name + ": missing");
        else if (other->second != text)
            CompareLines(name, text, other->second, differences);
    }
    for (const auto& [name, text] : got) {
        if (!expected.contains(name))
            differences.push_back(name + ": not expected");
    }
    return differences;
}

std::string Sorted(const std::string& lines) {
    std::vector<std::string> all = Lines(lines);
    std::sort(all.begin(), all.end());
    std::string sorted;
    for (const std::string& line : all)
        sorted += line + '\n';
    return sorted;
}

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::string bytes(file ? static_cast<size_t>(file.tellg()) : 0, '\0');
    file.seekg(0);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

void CopyTree(const fs::path& from, const fs::path& to) {
    const ProcessEnd copied = RunProcess({"cp", "-a", "--no-target-directory", from, to}, {});
    if (copied != ProcessEnd{ProcessEnd::How::Exited, 0})
        throw std::runtime_error("the copy of " + from.string() + " " + ToText(copied));
}
