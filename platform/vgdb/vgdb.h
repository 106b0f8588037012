// The package's databases.
//
// Each of the 17 databases is one SQLite file with one connection, opened on first use and kept until
// CloseAll(). What callers may rely on:
//   - the text of one Execute or Executep call is applied whole or not at all, and is on disk when the call
//     returns 0, or, while its database is held (see Hold), when that is committed;
//   - a result is read whole into memory before the call returns;
//   - a busy database is waited for;
//   - what fails for a moment (an input/output error) is tried once more;
//   - a database in which SQLite has met damage is not written to any more in this run;
//   - a failure is logged here, with SQLite's own text, the database and the statement's beginning, before a
//     call returns non-zero;
//   - a database that does not exist is not created, and its journal mode is never changed.
#pragma once

#include <chrono>
#include <list>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

// The package's database files, in the order in which they are repaired.
enum DB_INSTANCE : int {
    DB_SYSTEM = 0,        // main system database: all configuration
    DB_RECORDING,         // recordings and recorded events
    DB_RECORDING_CNT,     // recording counts
    DB_SNAPSHOT,          // snapshots
    DB_LOG,               // user-visible log entries
    DB_LOG_CNT,           // log counts
    DB_AXISACSCTRL,       // door controllers, doors, card holders
    DB_AXISACSCTRL_TEMP,  // door controllers, staging
    DB_AXISACSEVTLOG,     // door event log
    DB_POS,               // points of sale
    DB_TRANSACTION,       // point-of-sale transactions
    DB_ANALYTICSEVENT,    // analytics events
    DB_FACE,              // faces
    DB_ARCHIVE,           // archived recordings
    DB_EDGE,              // edge-storage clips
    DB_IVARECORDING,      // analytics recordings
    DB_BOOKMARK,          // bookmarks
};
inline constexpr int DB_INSTANCE_COUNT = 17;

inline constexpr const char* gszTableCamera = "camera";
inline constexpr const char* gszTablePOS = "pos";
inline constexpr const char* gszTableIvaSetting = "iva_setting";
inline constexpr const char* gszTableFaceSetting = "face_setting";
inline constexpr const char* gszTableNotificationEvent = "notificationevent";
inline constexpr const char* gszTableNotificationFilter = "notificationfilter";
inline constexpr const char* gszTableHomeModeNotifyFilter = "homemodenotifyfilter";
inline constexpr const char* gszTableNotificationWebhook = "notificationwebhook";
inline constexpr const char* gszTableEventLabelSetting = "eventlabelsetting";

// The result of one query, owned by the caller until VGDBFreeResult. In programs, wrap it at once.
struct DBResult_tag;

// Advances to the next row. Returns 0 and the row's index, or -1 when none is left.
int VGDBFetchRow(DBResult_tag* result, unsigned int* row);

// The text of one field, valid until the result is freed; null when the field is NULL or the result lacks
// the column or the row. Column names are compared without regard to ASCII case, the first match holds.
const char* VGDBFetchField(const DBResult_tag* result, unsigned int row, const char* column);

int VGDBNumRows(const DBResult_tag* result);

// Safe to call with null.
void VGDBFreeResult(DBResult_tag* result);

namespace VGDB {

// Missing names by table; "*" stands for a table that was missing as a whole.
using MissingNames = std::unordered_map<std::string, std::set<std::string>>;

// False while the system is leaving non-rec mode; set by a program before its first database access. Nothing reads it
// yet, since it is not settled what the calls do then; it is part of the package's interface, which programs rely on.
extern bool g_blCheckNonRecMode;

std::string GetDBPath(DB_INSTANCE db);

// The database for people: its file below the package's target folder, "@vigilo/log.db".
std::string GetDBName(DB_INSTANCE db);

// The schema file that describes the database file: its name in the package without ".db" under the schema folder.
std::string GetSqlFile(const std::string& dbPath);

// The folder of SQLite's temporary files.
std::string GetTempFolder();

// Runs SQL text of any number of statements. Returns 0 on success. When a result is wanted, it is that of the
// last statement that gives rows (an empty one when none does); *result is null after a failure.
// The four flags are part of the package's call form; every caller passes the defaults.
[[nodiscard]] int Execute(DB_INSTANCE db, std::string sql, DBResult_tag** result = nullptr, bool = false,
                          bool = true, bool = true, bool = true);

// The same by database path. The parameters are bound as text to the ? marks of the statements, in order; the last
// statement is run again as long as some are left.
[[nodiscard]] int Executep(const std::string& dbPath, std::string sql, DBResult_tag** result = nullptr,
                           bool = false, bool = true, bool = true, bool = true,
                           const std::list<std::string>& params = {});

// Runs a text on a database that is not held, which a power cut may undo afterwards: what is done twice without harm.
[[nodiscard]] int ExecuteLoosely(DB_INSTANCE db, const std::string& sql);

// Rows that successful texts and their triggers have changed so far, in all databases together.
long long ChangedRows();

// True when the field's text is "1", "t", "true", "y", "yes" or "on" in any case, or another number than 0.
bool FetchFieldAsBool(const DBResult_tag* result, unsigned int row, const char* column);

// The value as a complete SQL string literal, enclosing quotes included.
std::string QuoteEscape(const std::string& value);

// The value's bytes for use between quotes of the caller's own.
std::string EscapeString(const std::string& value);

// Guards: 1 when the table, or all the columns of the table, are there; 0 when not, also when there is no
// such database file; -1, logged, when it cannot be told.
[[nodiscard]] int FindTable(DB_INSTANCE db, const std::string& table);
[[nodiscard]] int FindColumn(DB_INSTANCE db, const std::string& table, const std::string& column);
[[nodiscard]] int FindColumns(DB_INSTANCE db, const std::string& table,
                              const std::vector<std::string>& columns);

// The first field of the query's first row; left as it was when there is no row or the field is NULL.
[[nodiscard]] int LoadFirstFieldFromDB(DB_INSTANCE db, const std::string& sql, std::string& value);

// The first column of the query, a NULL as ''.
[[nodiscard]] int LoadFieldFromDB(DB_INSTANCE db, const std::string& sql, std::list<std::string>& values);

// The package's name for the index of a table over columns: "idx_TABLE_COLUMN_...".
std::string GetIdxName(const std::string& table, const std::list<std::string>& columns);

// Holding. While a database is held, its texts are parts of one transaction, which begins with the first one that
// writes: each is whole or not at all, sees what was written before it, and is on disk when the database is committed;
// one that fails leaves the earlier ones.
enum class Holding { None, Main, All };

// Holds these databases from now on. What was held and not committed is undone.
void Hold(Holding which);

// Flushes what was done to files, then commits what the databases but the main one hold, one after the other. Returns
// '' when all of it is on disk, or why not, at the first that cannot be committed; what that one held is lost then.
[[nodiscard]] std::string CommitOthers();

// Commits the main database and ends its holding. Returns 0 also when there is nothing to commit; -1 when everything
// was rolled back. One case is neither: a commit whose very last flush fails is reported as failed, but stands. Who must
// know keeps a fact in the database that the transaction changes, and reads it back after a failure.
[[nodiscard]] int CommitMain();

// Whether what a database held is gone: it could not be committed, SQLite has rolled it back on its own (disk full, no
// memory, an input/output error), or it turned out to be damaged. Every call to that database fails until Hold. Gives
// the reason: "PATH: TEXT".
bool IsHeldLost(std::string& reason);

// "PATH: TEXT", the text being SQLite's own about the last failure.
std::string Reason(DB_INSTANCE db);

// What the repair of a database could not create: the guards cannot tell whether it should be there.
struct NotRepaired {
    bool all = false;    // it is not even known what
    MissingNames names;  // tables ("*") and columns
};
void SetNotRepaired(DB_INSTANCE db, NotRepaired lacks);

// Whether SQLite has met damage in the database.
bool IsDamaged(DB_INSTANCE db);

enum class DBState {
    Usable,
    Missing,       // no such file
    NotADatabase,  // junk
    Busy,
    Unreadable,  // anything else: damaged, no rights, an input/output error
};

// Looks by reading the schema. What is wrong is logged, but for a file that is missing.
DBState Probe(DB_INSTANCE db);

// A busy database is waited for, in the part of the run that begins now, up to `each`, and all together up to
// `together`. When the time is used up, it is given a tenth of a second a statement. Without a call: ten seconds each.
void SetPatience(std::chrono::milliseconds each, std::chrono::milliseconds together);

// From now on this process changes nothing and waits for nobody: a text that writes fails at once, a database that
// somebody holds counts as busy at once, and neither a database nor a file beside one is changed or made (see
// read_only.h).
void OpenReadOnly();

// Registry operation: unique keys of old tables become primary keys. Which tables is not settled; returns 0.
int UniqueKey2PrimaryKey();

// Closes every connection; the next call of any operation opens its database anew. A program calls it before
// it ends, so that no -journal or -wal file of its own is left. What is held is rolled back; damage stays known.
void CloseAll();

// Closes every connection and begins a new run: nothing is known of any database, all settings of this
// library are as at the start of the process.
void StartAnew();

}  // namespace VGDB

// Appends one statement to a batch, ended by a semicolon.
void AppendSqlCommand(std::string& batch, const std::string& statement);
