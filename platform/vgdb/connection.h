// One connection a database file.
#pragma once

#include <list>
#include <memory>
#include <string>

#include "platform/vgdb/statement.h"

struct DBResult_tag;

class Connection {
public:
    explicit Connection(std::string path) : m_path(std::move(path)) {}

    // The connection of a path, for the rest of the run.
    static Connection& To(const std::string& path);

    // Runs a text of any number of statements, whole or not at all. See VGDB::Executep.
    int Run(const std::string& sql, DBResult_tag** result, const std::list<std::string>& params);

    // Runs one statement that SQLite refuses inside a transaction.
    int RunAlone(const char* sql);

    // The open handle, or null (logged) when the file cannot be opened.
    sqlite3* Handle();

    // Logs SQLite's text about the last failure, with the database and the beginning of the statement.
    void LogFailure(const char* function, const char* sql) const;

private:
    int RunStatements(const char* sql, std::unique_ptr<DBResult_tag>* rows,
                      const std::list<std::string>& params);
    void GrowImpatient(int code);

    std::string m_path;
    SqliteHandle m_db;
};

// Closes every connection; the next use opens anew.
void CloseAllConnections();
