// What an upgrade has done so far, so that one that is interrupted can be run again and ends as if it had not
// been.
//
// A migration is one unit: its rows, its settings keys and its user-visible log entries take effect together.
//   1. From its beginning on the statements of a database run in one transaction, and new settings files are
//      prepared on disk, flushed, under a name of the unit's.
//   2. At its end the main database's transaction gets the log entries and the record: the row to go on with
//   and
//      the files that wait. Its commit is the instant at which the unit takes effect.
//   3. Then the files are put in place, which can be done twice without harm.
// A unit that changed nothing notes nothing and costs no flush.
//
// An interrupted upgrade is found by the record at the next start: step 3 is done again, what a later unit
// had prepared is removed, and the walk goes on with the noted row. The record also keeps what the schema
// repair found missing, since migrations ask for it long after the columns have been created. It goes with
// the end of the upgrade.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "platform/vgdb/vgdb.h"

class UpgradeRecord {
public:
    explicit UpgradeRecord(uint32_t oldBuild) : m_oldBuild(oldBuild) {}

    // Finishes what an interrupted upgrade left. One from the same old build by the same registry is resumed:
    // its row and result are then those below, and g_missingSchema holds what it found missing.
    void Recover();

    int NextRow() const { return m_nextRow; }  // the first row that has not been done
    int Result() const { return m_result; }    // of the rows so far: 0, or -1 when one has failed

    // Notes what is missing in a database, before it is repaired.
    void NoteMissing(DB_INSTANCE db, const VGDB::MissingNames& missing);

    // Runs the migration of the row as one unit. Returns -1 when its result is negative, or (logged) when the
    // unit could not take effect. It takes none when the databases or the log entries cannot be written, nor
    // when the migration has failed for a settings file: its rows without their key would be converted once
    // more. What a failing disk has kept from taking effect is undone and tried a second time.
    int RunUnit(int row, const std::function<int()>& migration);

    // The upgrade has come to its end: removes the record.
    void Close();

private:
    using Facts = std::map<std::string, std::string>;

    void Resume(const Facts& facts);
    int Note(const Facts& facts);
    int NoteUnit(int row);
    void BeginUnit(int row);
    bool CommitUnit(int row, int result);
    bool CommitChanges(int row);
    static void RollbackUnit();

    uint32_t m_oldBuild;
    int m_nextRow = 0;
    int m_result = 0;
    bool m_exists = false;  // the record stands in the main database
    bool m_usable = true;   // the main database takes one
};
