#include "tools/faults/tree_image.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>

#include "tools/faults/allowed.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kShownDifferences = 3;
constexpr size_t kShownText = 160;

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Query = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Query Prepare(sqlite3* db, const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr);
    return Query(statement);
}

std::string Quoted(const std::string& text, char quote) {
    if (text.find(quote) == std::string::npos)
        return quote + text + quote;
    std::string quoted(1, quote);
    for (const char c : text)
        quoted.append(c == quote ? 2 : 1, c);
    return quoted + quote;
}

// A value with its type: 1 and '1' differ.
std::string ValueText(sqlite3_stmt* row, int column) {
    const void* const blob = sqlite3_column_blob(row, column);
    const std::string bytes(static_cast<const char*>(blob ? blob : ""),
                            static_cast<size_t>(sqlite3_column_bytes(row, column)));
    switch (sqlite3_column_type(row, column)) {
        case SQLITE_NULL:
            return "NULL";
        case SQLITE_TEXT:
            return Quoted(bytes, '\'');
        case SQLITE_BLOB:
            return "x" + Quoted(bytes, '\'');
        default:
            return bytes;
    }
}

std::vector<std::string> ReadRows(sqlite3* db, const std::string& sql, const std::string& table = "") {
    std::vector<std::string> rows;
    const Query query = Prepare(db, sql);
    int code = SQLITE_ERROR;
    while (query && (code = sqlite3_step(query.get())) == SQLITE_ROW) {
        std::string row;
        for (int column = 0; column < sqlite3_column_count(query.get()); ++column) {
            const char* const name = sqlite3_column_name(query.get(), column);
            if (!IsTimeOfRun(table, name))
                row += (row.empty() ? "" : ", ") + std::string(name) + "=" + ValueText(query.get(), column);
        }
        rows.push_back(row);
    }
    if (code != SQLITE_DONE)
        rows.push_back(std::string("error: ") + sqlite3_errmsg(db));
    return rows;
}

std::vector<std::string> ReadTable(sqlite3* db, const std::string& table) {
    const std::string name = Quoted(table, '"');
    // A table without rowid comes in the order of its primary key.
    const bool hasRowid = Prepare(db, "SELECT rowid FROM " + name) != nullptr;
    return ReadRows(db, "SELECT * FROM " + name + (hasRowid ? " ORDER BY rowid" : ""), table);
}

void ReadDatabase(const fs::path& path, FileImage& image) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE, nullptr);
    const Database db(opened);
    if (code != SQLITE_OK) {
        image.content = sqlite3_errmsg(opened);
        return;
    }
    image.tables["integrity_check"] = ReadRows(opened, "PRAGMA integrity_check");
    image.tables["journal_mode"] = ReadRows(opened, "PRAGMA journal_mode");
    image.tables["user_version"] = ReadRows(opened, "PRAGMA user_version");
    image.tables["schema"] = ReadRows(opened,
                                      "SELECT type, name, tbl_name, sql FROM sqlite_schema"
                                      " ORDER BY type, name");
    const Query tables = Prepare(opened, "SELECT name FROM sqlite_schema WHERE type = 'table'");
    while (tables && sqlite3_step(tables.get()) == SQLITE_ROW) {
        const std::string name = reinterpret_cast<const char*>(sqlite3_column_text(tables.get(), 0));
        image.tables["table " + name] = ReadTable(opened, name);
    }
}

FileImage ReadEntry(const fs::path& path, bool exactly) {
    FileImage image;
    struct stat status {};
    lstat(path.c_str(), &status);
    const char* const kind = S_ISDIR(status.st_mode)   ? "folder"
                             : S_ISREG(status.st_mode) ? "file"
                             : S_ISLNK(status.st_mode) ? "link"
                                                       : "special file";
    std::ostringstream text;
    text << kind << ", mode " << std::oct << (status.st_mode & 07777) << ", owner " << std::dec
         << status.st_uid << ':' << status.st_gid;
    if (exactly && S_ISREG(status.st_mode))
        text << ", of " << status.st_mtim.tv_sec << '.' << status.st_mtim.tv_nsec;
    image.kind = text.str();
    if (S_ISLNK(status.st_mode)) {
        image.content = fs::read_symlink(path);
    } else if (S_ISREG(status.st_mode) && path.extension() == ".db" && !exactly) {
        image.isDatabase = true;
    } else if (S_ISREG(status.st_mode)) {
        image.content = ReadFile(path);
    }
    return image;
}

TreeImage ReadEntries(const fs::path& tree, bool exactly) {
    TreeImage image;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
        const std::string path = entry.path().lexically_relative(tree);
        if (!IsExcluded(path))
            image[path] = ReadEntry(entry.path(), exactly);
    }
    return image;
}

std::string Shown(const std::string& text) {
    return text.size() > kShownText ? text.substr(0, kShownText) + "..." : text;
}

// Rows that differ, from the first: as many as the eye takes in.
void CompareLines(const std::string& where, const std::vector<std::string>& expected,
                  const std::vector<std::string>& got, std::vector<std::string>& differences) {
    size_t shown = 0;
    for (size_t i = 0; i < std::max(expected.size(), got.size()) && shown < kShownDifferences; ++i) {
        const std::string* const left = i < expected.size() ? &expected[i] : nullptr;
        const std::string* const right = i < got.size() ? &got[i] : nullptr;
        if (left && right && *left == *right)
            continue;
        ++shown;
        // Long rows are shown from a little before the place where they part.
        size_t from = 0;
        if (left && right) {
            const auto parts = std::mismatch(left->begin(), left->end(), right->begin(), right->end());
            const auto same = static_cast<size_t>(parts.first - left->begin());
            from = same > kShownText / 2 ? same - kShownText / 2 : 0;
        }
        const std::string lead = from > 0 ? "..." : "";
        differences.push_back(where + " line " + std::to_string(i + 1) + ": expected " +
                              (left ? "[" + lead + Shown(left->substr(from)) + "]" : "none") + ", got " +
                              (right ? "[" + lead + Shown(right->substr(from)) + "]" : "none"));
    }
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

void CompareDatabases(const std::string& path, const FileImage& expected, const FileImage& got,
                      std::vector<std::string>& differences) {
    for (const auto& [name, lines] : expected.tables) {
        if (const auto other = got.tables.find(name); other != got.tables.end())
            CompareLines(path + " " + name, lines, other->second, differences);
        else
            differences.push_back(path + " " + name + ": missing");
    }
    for (const auto& [name, lines] : got.tables) {
        if (!expected.tables.contains(name))
            differences.push_back(path + " " + name + ": not expected");
    }
}

void CompareFiles(const std::string& path, const FileImage& expected, const FileImage& got,
                  std::vector<std::string>& differences) {
    if (expected.kind != got.kind)
        differences.push_back(path + ": expected " + expected.kind + ", got " + got.kind);
    if (expected.isDatabase)
        CompareDatabases(path, expected, got, differences);
    if (expected.content == got.content)
        return;
    if ((expected.content + got.content).find('\0') != std::string::npos) {
        differences.push_back(path + ": other bytes");
        return;
    }
    const size_t before = differences.size();
    CompareLines(path, Lines(expected.content), Lines(got.content), differences);
    if (differences.size() == before)
        differences.push_back(path + ": line ends differ");
}

}  // namespace

TreeImage ReadTree(const fs::path& tree) {
    TreeImage image = ReadEntries(tree, false);
    // After the walk, which has seen the journals: opening a database can make and remove them.
    for (auto& [path, file] : image) {
        if (file.isDatabase)
            ReadDatabase(tree / path, file);
    }
    return image;
}

TreeImage ReadCopyOf(const fs::path& tree) {
    const fs::path copy = tree.string() + ".copy";
    CopyTree(tree, copy);
    TreeImage image = ReadTree(copy);
    // What closing a database has removed was left only by not closing it.
    std::erase_if(image,
                  [&](const auto& entry) { return !fs::exists(fs::symlink_status(copy / entry.first)); });
    fs::remove_all(copy);
    return image;
}

std::string ReadFile(const fs::path& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::string bytes(file ? static_cast<size_t>(file.tellg()) : 0, '\0');
    file.seekg(0);
    file.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    return bytes;
}

TreeImage ReadExactly(const fs::path& tree) { return ReadEntries(tree, true); }

std::vector<std::string> Differences(const TreeImage& expected, const TreeImage& got) {
    std::vector<std::string> differences;
    for (const auto& [path, file] : expected) {
        if (const auto other = got.find(path); other != got.end())
            CompareFiles(path, file, other->second, differences);
        else
            differences.push_back(path + ": missing");
    }
    for (const auto& [path, file] : got) {
        if (!expected.contains(path))
            differences.push_back(path + ": not expected");
    }
    return differences;
}
