// What an upgrade has done so far, so that one that is interrupted can be run again and ends as if it had not
// been.
//
// A migration is one unit: its rows, its settings keys and its user-visible log entries take effect together.
//   1. BeginUnit: from now on the statements of a database run in one transaction, and new settings files are
//      prepared on disk, flushed, under a name of the unit's.
//   2. CommitUnit writes the log entries and notes the row to go on with and the files that wait, all within
//   the main
//      database's transaction, and commits. This is the instant at which the unit takes effect.
//   3. It then puts the files in place, which can be done twice without harm.
// A unit that changed nothing notes nothing and costs no flush.
//
// An interrupted upgrade is found by the record at the next start: step 3 is done again, what a later unit
// had prepared is removed, and the walk goes on with the noted row. The record also keeps what the schema
// repair found missing, since migrations ask for it long after the columns have been created. It goes with
// the end of the upgrade.
#pragma once

#include <cstdint>
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
    int Result() const { return m_result; }    // of the rows before it

    // Notes what is missing in a database, before it is repaired.
    void NoteMissing(DB_INSTANCE db, const VGDB::MissingNames& missing);

    void BeginUnit(int row);

    // Returns -1 (logged) when the unit took no effect at all, or when a settings file could not be put in
    // place. `result` is that of the upgrade so far.
    [[nodiscard]] int CommitUnit(int row, int result);

    // The upgrade is complete: removes the record.
    void Close();

private:
    int Note(const std::map<std::string, std::string>& facts);
    void RollbackUnit();

    uint32_t m_oldBuild;
    int m_nextRow = 0;
    int m_result = 0;
    std::string m_unit;
    bool m_exists = false;  // the record stands in the main database
    bool m_usable = true;   // the main database takes one
};
