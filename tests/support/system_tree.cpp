#include "tests/support/system_tree.h"

#include <sqlite3.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "platform/base/paths.h"

namespace fs = std::filesystem;

namespace {

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close(db); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

Database Open(const std::string& path) {
    sqlite3* db = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_open(path.c_str(), &db)) << path;
    return Database(db);
}

void Exec(const std::string& path, std::string_view sql) {
    const Database db = Open(path);
    char* error = nullptr;
    const int result = sqlite3_exec(db.get(), std::string(sql).c_str(), nullptr, nullptr, &error);
    EXPECT_EQ(SQLITE_OK, result) << path << ": " << (error ? error : "") << "\n" << sql;
    sqlite3_free(error);
}

}  // namespace

SystemTree::SystemTree() {
    VGDB::StartAnew();
    const std::string root = Path("");
    for (const auto& entry : fs::directory_iterator(root))
        fs::remove_all(entry.path());
    for (const std::string_view folder :
         {std::string_view("/var/packages/Vigilo/etc"), kSchemaDir, std::string_view("/var/log/vigilo"),
          std::string_view("/var/packages/Vigilo/target/@vigilo"),
          std::string_view("/var/packages/Vigilo/target/@VGData"), std::string_view("/etc")})
        fs::create_directories(Path(folder));
}

SystemTree::~SystemTree() { VGDB::CloseAll(); }

std::string SystemTree::Path(std::string_view absolutePath) {
    return std::getenv("VG_SYSROOT") + std::string(absolutePath);
}

void SystemTree::Sql(DB_INSTANCE db, std::string_view sql) { Exec(VGDB::GetDBPath(db), sql); }

void SystemTree::CreateFromSchema(DB_INSTANCE db) {
    const std::string name = fs::path(VGDB::GetSqlFile(VGDB::GetDBPath(db))).filename();
    Sql(db, ReadFile(std::string(SOURCE_DIR "/schema/") + name));
}

void SystemTree::CreateNewSystem() {
    InstallSchemaFiles();
    for (int db = 0; db < DB_INSTANCE_COUNT; ++db)
        CreateFromSchema(static_cast<DB_INSTANCE>(db));
}

void SystemTree::InstallSchemaFiles() {
    fs::copy(SOURCE_DIR "/schema", Path(kSchemaDir),
             fs::copy_options::recursive | fs::copy_options::overwrite_existing);
}

std::string SystemTree::Rows(DB_INSTANCE db, std::string_view query) {
    const Database handle = Open(VGDB::GetDBPath(db));
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(SQLITE_OK, sqlite3_prepare_v2(handle.get(), query.data(), static_cast<int>(query.size()),
                                            &statement, nullptr))
        << query << ": " << sqlite3_errmsg(handle.get());
    std::string text;
    while (statement && sqlite3_step(statement) == SQLITE_ROW) {
        for (int column = 0; column < sqlite3_column_count(statement); ++column) {
            const unsigned char* field = sqlite3_column_text(statement, column);
            if (column > 0)
                text += '|';
            text += field ? reinterpret_cast<const char*>(field) : "";
        }
        text += '\n';
    }
    sqlite3_finalize(statement);
    return text;
}

std::string SystemTree::ReadFile(const std::string& realPath) {
    std::ifstream file(realPath, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();
    return content.str();
}

void SystemTree::WriteFile(const std::string& realPath, std::string_view content) {
    fs::create_directories(fs::path(realPath).parent_path());
    std::ofstream(realPath, std::ios::binary) << content;
}

std::string SystemTree::Settings() { return ReadFile(Path(kSettingsConf)); }

void SystemTree::WriteSettings(std::string_view content) { WriteFile(Path(kSettingsConf), content); }

std::string SystemTree::Log() {
    std::istringstream lines(ReadFile(Path(kPackageLog)));
    std::string text;
    for (std::string line; std::getline(lines, line);)
        text += line.substr(line.find(" (") + 1) + '\n';
    return text;
}

int SystemTree::CountInLog(std::string_view text) {
    const std::string log = Log();
    int count = 0;
    for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + text.size()))
        ++count;
    return count;
}

int SystemTree::RunUpgrader(const std::string& arguments) {
    VGDB::CloseAll();
    const int status = std::system((UPGRADER_PROGRAM " " + arguments).c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
