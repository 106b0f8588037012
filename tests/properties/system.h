// Old systems as values: what the generator makes, a finding shrinks to, and a tree is laid from.
#pragma once

#include <rapidcheck.h>

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

// What is foreign, a table or a column that the package does not declare, has a name that begins so.
inline constexpr const char* kForeign = "zz_";

struct Table {
    std::string name;
    std::vector<std::string> columns;            // definitions, constraints at the end
    std::vector<std::string> names;              // of the columns that rows have values for
    std::vector<std::vector<std::string>> rows;  // SQL literals, no two with the same key
    bool withoutRowid = false;
    bool trigger = false;  // one that counts the updates in table zz_updates
};

struct Database {
    std::string name;  // "@vigilo/log.db"
    std::string encoding = "UTF-8";
    int pageSize = 4096;
    bool writeAhead = false;
    std::vector<Table> tables;  // none: an empty file
};

struct System {
    int build = 9760;
    std::vector<Database> databases;  // the others have no file
    std::vector<std::string> settings;
};

enum class Form { AsItIs, WithoutForeign, RowsReversed };

rc::Gen<System> Systems();

// Lays the system into an empty folder, with the schema files, package.conf and the users of the host.
void Lay(const System& system, const std::filesystem::path& tree, Form form = Form::AsItIs);

// As a person reads it: the build, the settings, the SQL of each database.
void showValue(const System& system, std::ostream& out);
