#include "tests/properties/tree.h"

#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

constexpr const char* kTarget = "var/packages/Vigilo/target";

// Calls for each row, with its fields.
void Query(const fs::path& path, const std::string& sql,
           const std::function<void(const std::vector<std::string>&)>& row) {
    sqlite3* db = nullptr;
    sqlite3_stmt* statement = nullptr;
    sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    const auto fail = [&] {
        const std::string error = sqlite3_errmsg(db) + std::string(": ") + sql;
        sqlite3_finalize(statement);
        sqlite3_close(db);
        throw std::runtime_error(path.string() + ": " + error);
    };
    if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK)
        fail();
    int result;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
        std::vector<std::string> fields;
        for (int i = 0; i < sqlite3_column_count(statement); ++i) {
            const void* text = sqlite3_column_text(statement, i);
            fields.emplace_back(text ? static_cast<const char*>(text) : "",
                                static_cast<size_t>(sqlite3_column_bytes(statement, i)));
        }
        row(fields);
    }
    if (result != SQLITE_DONE)
        fail();
    sqlite3_finalize(statement);
    sqlite3_close(db);
}

std::vector<fs::path> Databases(const fs::path& tree) {
    std::vector<fs::path> databases;
    for (const char* folder : {"", "@vigilo"})
        for (const auto& file : fs::directory_iterator(tree / kTarget / folder))
            if (file.path().extension() == ".db")
                databases.push_back(file.path());
    return databases;
}

bool IsForeign(const std::string& name) { return name.starts_with(kForeign); }

bool Counts(const std::string& name, Tree::What what) {
    return what == Tree::What::All || IsForeign(name) == (what == Tree::What::Foreign);
}

std::string Quoted(std::string name, char quote = '"') {
    for (size_t at = 0; (at = name.find(quote, at)) != std::string::npos; at += 2)
        name.insert(at, 1, quote);
    return quote + name + quote;
}

// An expression for a row: the columns by name; times of the run, of the last hour, by one word, as are their days.
std::string RowAsText(const std::vector<std::string>& columns, Tree::What what) {
    std::string text = "''";
    for (const std::string& name : columns) {
        if (!Counts(name, what))
            continue;
        const std::string column = Quoted(name);
        std::string value = "quote(" + column + ")";
        if (name == "log_time")
            value = "iif(" + column + " BETWEEN unixepoch() - 3600 AND unixepoch(), 'now', " + value + ")";
        if (name == "day")
            value = "iif(" + column + " = unixepoch() / 86400, 'today', " + value + ")";
        text += " || " + Quoted(' ' + name + '=', '\'') + " || " + value;
    }
    return text;
}

std::string Bytes(const fs::path& file) {
    std::ostringstream text;
    text << std::ifstream(file, std::ios::binary).rdbuf();
    return text.str();
}

}  // namespace

Tree::Tree() {
    static const std::string kWhere = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : fs::temp_directory_path();
    std::string name = kWhere + "/vgproperties.XXXXXX";
    if (!mkdtemp(name.data()))
        throw std::runtime_error(name);
    m_path = name;
}

Tree::Ended Tree::Run(const std::string& command) const {
    std::FILE* const pipe =
        popen(("VG_SYSROOT=" + m_path.string() + " timeout 60 env " + command).c_str(), "r");
    Ended ended{-1, ""};
    char part[4096];
    for (size_t size; pipe && (size = std::fread(part, 1, sizeof part, pipe)) > 0;)
        ended.out.append(part, size);
    const int status = pipe ? pclose(pipe) : -1;
    ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128;
    // `env` gives 127 when there is no such program; `timeout` 124, and 128 and more for a signal.
    if (ended.status >= 124 && ended.status != 255 && ended.status != 128 + 9)
        throw std::runtime_error(command + " ended with " + std::to_string(ended.status));
    return ended;
}

int Tree::Upgrade(int build, const std::string& before) const {
    return Run(before + " " UPGRADER_PROGRAM " " + std::to_string(build) + " 2>/dev/null").status;
}

Tree::Ended Tree::Control(const std::string& arguments) const {
    const Ended ended = Run(CONTROL_PROGRAM " --json " + arguments + " 2>" + (m_path / "error").string());
    if (ended.status == 1)
        throw std::runtime_error(arguments + ": " + ended.out + Bytes(m_path / "error"));
    return ended;
}

Tree::State Tree::Read(What what) const {
    State state;
    for (const fs::path& database : Databases(m_path)) {
        const std::string name = fs::relative(database, m_path / kTarget);
        // An empty file becomes a database by the first repair.
        if (fs::file_size(database) == 0) {
            if (what == What::All)
                state.emplace(name, "an empty file");
            continue;
        }
        if (what == What::All)
            Query(
                database,
                "SELECT * FROM pragma_encoding, pragma_page_size, pragma_journal_mode, pragma_integrity_check",
                [&](const auto& row) {
                    state.emplace(name, row[0] + ' ' + row[1] + ' ' + row[2] + ' ' + row[3]);
                });
        std::map<std::string, std::vector<std::string>> tables;
        Query(
            database,
            "SELECT t.name, c.name, c.type, ifnull(c.dflt_value, '-'), c.pk, c.hidden FROM sqlite_schema t,"
            " pragma_table_xinfo(t.name) c WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite%' ORDER BY 1, 2",
            [&](const auto& row) {
                if (!Counts(row[0], what) && what == What::Declared)
                    return;
                // The numbers of what an upgrade has noted tell how often it was begun.
                if (row[0] != "vgupgrader_record" || row[1] != "id")
                    tables[row[0]].push_back(row[1]);
                if (Counts(row[1], what))
                    state.emplace(name, "column " + row[0] + '.' + row[1] + ' ' + row[2] + ' ' + row[3] +
                                            ' ' + row[4] + ' ' + row[5]);
            });
        Query(database,
              "SELECT type, name FROM sqlite_schema WHERE type <> 'table' AND name NOT LIKE 'sqlite%'",
              [&](const auto& row) {
                  if (Counts(row[1], what))
                      state.emplace(name, row[0] + ' ' + row[1]);
              });
        for (const auto& [table, columns] : tables) {
            const std::string text = RowAsText(columns, IsForeign(table) ? What::All : what);
            if (text != "''")
                Query(database, "SELECT " + text + " FROM " + Quoted(table),
                      [&, &of = table](const auto& row) { state.emplace(name + " row of " + of, row[0]); });
        }
    }
    if (what == What::Foreign)
        return state;
    for (const auto& file : fs::recursive_directory_iterator(m_path)) {
        const std::string name = fs::relative(file.path(), m_path);
        if (!file.is_regular_file() || file.path().extension() == ".db" ||
            name.find("var/log/vigilo/") == 0 || name.find("@UpgradeSnapshots") != std::string::npos ||
            name == "error" || name == "out")
            continue;
        if (file.path().extension() != ".conf") {
            state.emplace(name, Bytes(file.path()));
            continue;
        }
        std::ifstream lines(file.path());
        for (std::string line; std::getline(lines, line);)
            state.emplace(name, line);
    }
    return state;
}

Tree::State Tree::ReadBytes() const {
    State state;
    for (const fs::path& database : Databases(m_path))
        state.emplace(database.filename(), Bytes(database));
    for (const auto& file : fs::directory_iterator(m_path / "var/packages/Vigilo/etc"))
        state.emplace(file.path().filename(), Bytes(file.path()));
    return state;
}

std::set<std::string> Tree::Schema() const {
    std::set<std::string> schema;
    for (const fs::path& database : Databases(m_path))
        for (const char* query :
             {"SELECT t.name || '.' || c.name FROM sqlite_schema t, pragma_table_xinfo(t.name) c"
              " WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite%'",
              "SELECT type || ' ' || name FROM sqlite_schema"
              " WHERE type NOT IN ('table', 'trigger') AND name NOT LIKE 'sqlite%'"})
            Query(database, query, [&](const auto& row) {
                schema.insert(fs::relative(database, m_path / kTarget).string() + ' ' + row[0]);
            });
    return schema;
}

std::string Tree::File(const std::string& name) const { return Bytes(m_path / name); }

std::string Lost(const Tree::State& expected, const Tree::State& got, const char* sign) {
    std::set<std::pair<std::string, std::string>> lost(expected.begin(), expected.end());
    for (const auto& line : got)
        lost.erase(line);
    std::string text;
    for (const auto& [where, what] : lost)
        text += sign + where + ": " + what.substr(0, 600) + '\n';
    return text;
}

std::string Differences(const Tree::State& expected, const Tree::State& got) {
    const std::string count = expected.size() == got.size() ? "" : "another number of lines\n";
    return Lost(expected, got) + Lost(got, expected, "+ ") + count;
}
