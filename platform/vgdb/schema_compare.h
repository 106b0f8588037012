// What a database lacks of its schema file. What it has beyond the file is no difference.
#pragma once

#include <string>
#include <vector>

#include "platform/vgdb/vgdb.h"

namespace VGDB {

struct SchemaDifferences {
    // What the SQL creates; columns as "table.column". The indexes are those of tables that are there.
    std::string sql;
    std::vector<std::string> tables;
    std::vector<std::string> columns;
    std::vector<std::string> indexes;

    // Missing too, but not in the SQL: "table: WHY" and "table.column: WHY" for what SQLite cannot add, "index: WHY"
    // for indexes over these and for unique ones that the rows do not allow.
    std::vector<std::string> tablesNotAddable;
    std::vector<std::string> columnsNotAddable;
    std::vector<std::string> indexesLeftOut;

    // All tables ("*") and columns that are missing.
    MissingNames names;

    // "table.column: TYPE instead of TYPE", where SQLite treats values differently for it. They stay as they
    // are.
    std::vector<std::string> typesThatDiffer;
};

// Returns 0, or -1, logged, when the database or the schema file cannot be read.
[[nodiscard]] int CompareSchema(const std::string& dbPath, const std::string& sqlFile,
                                SchemaDifferences& differences);

}  // namespace VGDB
