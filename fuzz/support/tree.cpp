#include "fuzz/support/tree.h"

#include <sqlite3.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "fuzz/support/expect.h"
#include "platform/base/paths.h"
#include "platform/vgdb/vgdb.h"

namespace fs = std::filesystem;

void FuzzTree::Make() {
    std::string root = (fs::temp_directory_path() / "vgfuzz.XXXXXX").string();
    Expect(mkdtemp(root.data()) != nullptr, "a temporary folder");
    setenv("VG_SYSROOT", root.c_str(), 1);
    for (const std::string_view folder :
         {std::string_view("/var/packages/Vigilo/etc"), kSchemaDir, std::string_view("/var/log/vigilo"),
          std::string_view("/var/packages/Vigilo/target/@vigilo")})
        fs::create_directories(Path(folder));
}

std::string FuzzTree::Path(std::string_view absolutePath) {
    return std::getenv("VG_SYSROOT") + std::string(absolutePath);
}

void FuzzTree::Write(const std::string& realPath, std::string_view content) {
    std::ofstream(realPath, std::ios::binary) << content;
}

void FuzzTree::MakeWithMainDatabase() {
    Make();
    std::ostringstream schema;
    schema << std::ifstream(SOURCE_DIR "/schema/system.sql").rdbuf();
    sqlite3* db = nullptr;
    const bool made = sqlite3_open(VGDB::GetDBPath(DB_SYSTEM).c_str(), &db) == SQLITE_OK &&
                      sqlite3_exec(db, schema.str().c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    sqlite3_close(db);
    Expect(made, "a main database");
    VGDB::Hold(VGDB::Holding::Main);
}

void FuzzTree::EmptyLog() {
    (void)truncate(Path(kPackageLog).c_str(), 0);  // there may be none yet
}
