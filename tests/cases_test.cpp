// The cases of tests/cases: what single rows of the registry make of a system. A file is read line by line: a
// directive, then, indented, the text that belongs to it.
//
//   # ...                  a comment
//   let NAME PART...       from here on $NAME stands for the parts joined; "0*79" is a part of 79 zeros
//   case TITLE             a new case on an empty tree; what stands before the first one is done for each
//   schema DB...           makes these databases from their schema files
//   sql [DB]               runs the text on the database (system.db unless named)
//   refuse WHAT            from now on system.db refuses it: "UPDATE ON camera WHEN NEW.id = 2"
//   allow                  no longer
//   damage DB              makes the database junk
//   missing TABLE NAME...  the schema repair of system.db had to create these ("*": the table)
//   settings               writes settings.conf
//   file PATH              writes a file; "folder PATH" makes a folder, "remove PATH" removes what is there
//   link PATH TARGET       makes a symbolic link
//   owner PATH USER        gives it to the user and the group of that number; "as-root" skips the case for others
//   run ROW [fails]        calls the row's function; its user-visible entries go to the log database, if there
//                          is one
//   again                  calls it again, with the same result, and nothing in the databases, settings and files changes
//   rows [DB] QUERY        gives the rows of the text, one a line; "(empty)" stands for an empty line
//   settings-are           settings.conf is the text
//   files FOLDER           holds what the text says: "PATH: CONTENT", "PATH -> TARGET", "PATH/" for an empty folder
//   logged [TIMES]         each line of the text stands in the package log, once unless told otherwise
//   silent                 nothing stands there
//
// A line that ends in a backslash goes on in the next.
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <numeric>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "platform/base/paths.h"
#include "platform/package/vglog.h"
#include "tests/support/system_tree.h"
#include "upgrader/missing_schema.h"
#include "upgrader/registry.h"

namespace fs = std::filesystem;

namespace {

struct Directive {
    std::string word;
    std::string rest;  // of its line
    std::string text;
    int line;
};

DB_INSTANCE DatabaseNamed(const std::string& name) {
    int db = 0;
    while (db < DB_INSTANCE_COUNT && VGDB::GetDBName(static_cast<DB_INSTANCE>(db)) != name &&
           VGDB::GetDBName(static_cast<DB_INSTANCE>(db)) != "@vigilo/" + name)
        ++db;
    EXPECT_LT(db, DB_INSTANCE_COUNT) << "no database " << name;
    return static_cast<DB_INSTANCE>(db % DB_INSTANCE_COUNT);
}

std::vector<std::string> Words(const std::string& text) {
    std::istringstream words(text);
    return {std::istream_iterator<std::string>(words), {}};
}

class CaseTest : public SystemTree {
public:
    explicit CaseTest(std::vector<Directive> directives) : m_directives(std::move(directives)) {
        g_missingSchema.assign(DB_INSTANCE_COUNT, {});
    }
    ~CaseTest() override { g_missingSchema.assign(DB_INSTANCE_COUNT, {}); }

    void TestBody() override {
        for (const Directive& directive : m_directives) {
            SCOPED_TRACE("line " + std::to_string(directive.line));
            if (directive.word == "as-root" && geteuid() != 0)
                GTEST_SKIP() << "needs files of several users";
            const auto found = Actions().find(directive.word);
            ASSERT_NE(Actions().end(), found) << "no directive " << directive.word;
            found->second(*this, directive);
        }
    }

private:
    using Action = std::function<void(CaseTest&, const Directive&)>;

    static const std::map<std::string, Action>& Actions();

    // The database that the rest of a line begins with, and what follows it.
    static std::pair<DB_INSTANCE, std::string> DatabaseOf(const std::string& rest) {
        const size_t end = rest.find(' ');
        if (!rest.substr(0, end).ends_with(".db"))
            return {DB_SYSTEM, rest};
        return {DatabaseNamed(rest.substr(0, end)), end == std::string::npos ? "" : rest.substr(end + 1)};
    }

    // What is below a folder, a line each.
    static std::string Files(const fs::path& folder) {
        std::set<std::string> lines;
        std::error_code missing;  // holds nothing
        for (const auto& entry : fs::recursive_directory_iterator(folder, missing)) {
            const std::string path = entry.path().lexically_relative(folder).string();
            if (entry.is_symlink())
                lines.insert(path + " -> " + fs::read_symlink(entry.path()).string() + '\n');
            else if (entry.is_regular_file() && entry.path() != Path(kPackageLog) &&
                     entry.path().extension() != ".db")
                lines.insert(
                    path + ": " +
                    ReadFile(entry.path()).append("\n", ReadFile(entry.path()).ends_with('\n') ? 0 : 1));
            else if (entry.is_directory() && fs::is_empty(entry.path()))
                lines.insert(path + "/\n");
        }
        return std::accumulate(lines.begin(), lines.end(), std::string());
    }

    static std::string Everything() {
        std::string all = Settings() + Files(Path(""));
        for (int i = 0; i < DB_INSTANCE_COUNT; ++i) {
            const auto db = static_cast<DB_INSTANCE>(i);
            // A file that is no database stays what it is.
            if (!ReadFile(VGDB::GetDBPath(db)).starts_with("SQLite format 3"))
                continue;
            std::istringstream tables(Rows(db, "SELECT name FROM sqlite_schema WHERE type = 'table'"));
            for (std::string table; std::getline(tables, table);)
                all += table + ":\n" + Rows(db, "SELECT * FROM \"" + table + "\"");
        }
        return all;
    }

    void Run(const Directive& directive) {
        const std::vector<std::string> words = Words(directive.rest);
        ASSERT_FALSE(words.empty());
        m_row = nullptr;
        for (size_t row = 0; row < kMigrationCount; ++row)
            if (MigrationAt(row).name == words[0])
                m_row = MigrationRegistry[row].function;
        ASSERT_TRUE(m_row) << "no row " << words[0];
        m_result = words.size() > 1 && words[1] == "fails" ? -1 : 0;
        Call();
    }

    void Call() {
        ASSERT_TRUE(m_row);
        EXPECT_EQ(m_result, m_row()) << Log();
        const std::vector<UserLogEntry> entries = VGLogTake();
        if (fs::exists(VGDB::GetDBPath(DB_LOG))) {
            EXPECT_EQ(0, VGLogWrite(entries));
        }
    }

    void CallAgain() {
        const std::string before = Everything();
        Call();
        EXPECT_EQ(before, Everything());
    }

    std::vector<Directive> m_directives;
    int (*m_row)() = nullptr;
    int m_result = 0;
};

const std::map<std::string, CaseTest::Action>& CaseTest::Actions() {
    static const std::map<std::string, Action> kActions = {
        {"schema",
         [](CaseTest&, const Directive& d) {
             for (const std::string& name : Words(d.rest))
                 CreateFromSchema(DatabaseNamed(name));
         }},
        {"sql", [](CaseTest&, const Directive& d) { Sql(DatabaseOf(d.rest).first, d.text); }},
        {"refuse",
         [](CaseTest&, const Directive& d) {
             Sql(DB_SYSTEM,
                 "CREATE TRIGGER refuse BEFORE " + d.rest + " BEGIN SELECT RAISE(ABORT, 'no'); END;");
         }},
        {"allow", [](CaseTest&, const Directive&) { Sql(DB_SYSTEM, "DROP TRIGGER refuse;"); }},
        {"damage",
         [](CaseTest&, const Directive& d) {
             WriteFile(VGDB::GetDBPath(DatabaseNamed(d.rest)), std::string(4096, 'x'));
         }},
        {"missing",
         [](CaseTest&, const Directive& d) {
             const std::vector<std::string> names = Words(d.rest);
             g_missingSchema[DB_SYSTEM][names.at(0)].insert(names.begin() + 1, names.end());
         }},
        {"settings", [](CaseTest&, const Directive& d) { WriteSettings(d.text); }},
        {"file", [](CaseTest&, const Directive& d) { WriteFile(Path(d.rest), d.text); }},
        {"folder", [](CaseTest&, const Directive& d) { fs::create_directories(Path(d.rest)); }},
        {"link",
         [](CaseTest&, const Directive& d) {
             const std::vector<std::string> words = Words(d.rest);
             fs::create_directories(fs::path(Path(words.at(0))).parent_path());
             fs::create_symlink(words.at(1), Path(words.at(0)));
         }},
        {"owner",
         [](CaseTest&, const Directive& d) {
             const std::vector<std::string> words = Words(d.rest);
             const auto user = static_cast<uid_t>(std::stoul(words.at(1)));
             EXPECT_EQ(0, lchown(Path(words.at(0)).c_str(), user, user)) << d.rest;
         }},
        {"as-root", [](CaseTest&, const Directive&) {}},
        {"files", [](CaseTest&, const Directive& d) { EXPECT_EQ(d.text, Files(Path(d.rest))); }},
        {"remove", [](CaseTest&, const Directive& d) { EXPECT_NE(0U, fs::remove_all(Path(d.rest))); }},
        {"run", [](CaseTest& test, const Directive& d) { test.Run(d); }},
        {"again", [](CaseTest& test, const Directive&) { test.CallAgain(); }},
        {"rows",
         [](CaseTest&, const Directive& d) {
             const auto [db, query] = DatabaseOf(d.rest);
             EXPECT_EQ(d.text, Rows(db, query));
         }},
        {"settings-are", [](CaseTest&, const Directive& d) { EXPECT_EQ(d.text, Settings()); }},
        {"logged",
         [](CaseTest&, const Directive& d) {
             std::istringstream lines(d.text);
             for (std::string line; std::getline(lines, line);)
                 EXPECT_EQ(d.rest.empty() ? 1 : std::stoi(d.rest), CountInLog(line)) << line << '\n' << Log();
         }},
        {"silent", [](CaseTest&, const Directive&) { EXPECT_EQ("", Log()); }},
    };
    return kActions;
}

using Names = std::map<std::string, std::string>;

// "let NAME PART..."
void Define(const std::string& rest, Names& names) {
    const std::vector<std::string> words = Words(rest);
    std::string value;
    for (size_t i = 1; i < words.size(); ++i) {
        const size_t times = words[i].find('*');
        for (int n = times == std::string::npos ? 1 : std::stoi(words[i].substr(times + 1)); n > 0; --n)
            value += words[i].substr(0, times);
    }
    names[words.at(0)] = value;
}

std::string WithNames(const std::string& line, const Names& names) {
    std::string result;
    size_t at = 0;
    for (size_t dollar; (dollar = line.find('$', at)) != std::string::npos;) {
        size_t end = dollar + 1;
        while (end < line.size() && std::isalnum(static_cast<unsigned char>(line[end])))
            ++end;
        const auto found = names.find(line.substr(dollar + 1, end - dollar - 1));
        result.append(line, at, dollar - at);
        result += found != names.end() ? found->second : line.substr(dollar, end - dollar);
        at = end;
    }
    return result.append(line, at);
}

// "GetTheirNamesWithTheAdmin"
std::string TestName(const std::string& title) {
    std::string name;
    bool begins = true;
    for (const char c : title) {
        if (std::isalnum(static_cast<unsigned char>(c)))
            name += begins ? static_cast<char>(std::toupper(static_cast<unsigned char>(c))) : c;
        begins = c == ' ' || c == '-' || c == '_';
    }
    return name;
}

void RegisterFile(const fs::path& path) {
    std::ifstream file(path);
    std::vector<Directive> setUp, directives;
    std::string title;
    int number = 0, titleLine = 0;
    Names names;
    const auto end = [&] {
        if (title.empty())
            setUp = directives;
        else
            testing::RegisterTest(TestName(path.stem()).c_str(), TestName(title).c_str(), nullptr, nullptr,
                                  path.c_str(), titleLine,
                                  [directives]() -> CaseTest* { return new CaseTest(directives); });
        directives = setUp;
    };
    for (std::string line; std::getline(file, line);) {
        ++number;
        for (std::string more; line.ends_with('\\') && std::getline(file, more); ++number)
            line = line.substr(0, line.size() - 1) + more.substr(more.find_first_not_of(' '));
        if (line.empty() || line.front() == '#')
            continue;
        line = WithNames(line, names);
        if (line.starts_with("    ")) {
            directives.back().text += (line == "    (empty)" ? "" : line.substr(4)) + '\n';
            continue;
        }
        const size_t space = line.find(' ');
        const std::string word = line.substr(0, space);
        const std::string rest = space == std::string::npos ? "" : line.substr(space + 1);
        if (word == "let") {
            Define(rest, names);
        } else if (word == "case") {
            end();
            title = rest;
            titleLine = number;
        } else {
            directives.push_back({word, rest, "", number});
        }
    }
    end();
}

const bool g_registered = [] {
    for (const auto& entry : fs::directory_iterator(SOURCE_DIR "/tests/cases"))
        RegisterFile(entry.path());
    return true;
}();

}  // namespace
