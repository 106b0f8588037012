// A package tree to test on, under the prefix of the test process.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "platform/vgdb/vgdb.h"

// Each test starts with an empty tree: the package's folders, no file.
//
//     Sql(DB_SYSTEM, "CREATE TABLE camera(id INTEGER PRIMARY KEY, model TEXT);"
//                    "INSERT INTO camera VALUES(1, 'P3384');");
//     EXPECT_EQ(0, migrations::PatchAxisP3384());
//     EXPECT_EQ("1|P3384-V\n", Rows(DB_SYSTEM, "SELECT * FROM camera"));
class SystemTree : public testing::Test {
protected:
    SystemTree();
    ~SystemTree() override;

    // The real path of a path of the package.
    static std::string Path(std::string_view absolutePath);

    // Runs SQL on a database on a connection of its own, creating the file when it is missing.
    static void Sql(DB_INSTANCE db, std::string_view sql);

    // Makes a database from its schema file, as a new system has it.
    static void CreateFromSchema(DB_INSTANCE db);

    // Makes all 17, and the schema files beside them.
    static void CreateNewSystem();

    // Lays the package's schema files into the tree.
    static void InstallSchemaFiles();

    // The rows of a query as the sqlite3 shell prints them: fields joined by |, NULL as nothing, a line a
    // row.
    static std::string Rows(DB_INSTANCE db, std::string_view query);

    static std::string ReadFile(const std::string& realPath);
    static void WriteFile(const std::string& realPath, std::string_view content);

    // settings.conf as text; writing replaces it.
    static std::string Settings();
    static void WriteSettings(std::string_view content);

    // The package log's lines without their times and line numbers: "(FUNCTION): MESSAGE".
    static std::string Log();

    // How often the text stands in the package log.
    static int CountInLog(std::string_view text);

    // Runs the real program on the tree; returns its exit status.
    static int RunUpgrader(const std::string& arguments);
};
