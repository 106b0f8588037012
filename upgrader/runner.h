// Runs a plan: the schema repair, the migrations and the stamp, in one pass with one commit of the main database.
//
//   1. Every database is held: what is written stays in its transaction. Settings keys and log entries are noted in the
//      main database (see outbox.h).
//   2. What migrations did to files is flushed; the other databases are committed, one after the other; then the main
//      one. Its commit is the instant at which the upgrade takes effect.
//   3. What is noted is delivered, and the record of the upgrade is struck off.
//
// When a database cannot be committed, or SQLite has rolled one back, the upgrade is undone, and run once more with the
// other databases committed at each call, so that a migration learns of its own failure.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "upgrader/plan.h"
#include "upgrader/record.h"
#include "upgrader/repair.h"

// One call of a migration.
struct MigrationRun {
    Migration migration;
    int result;
    double ms;
    long long changes;   // rows that its statements and their triggers have changed
    std::string reason;  // of a failure: the first line that was logged under its name
};

class Runner {
public:
    // `facts` is the record as it stands; without one (no main database, or none that is one) keys and entries are
    // written directly. `repaired` is what has been repaired before.
    Runner(Record::Facts facts, bool hasRecord, RepairReport repaired = {})
        : m_facts(std::move(facts)), m_hasRecord(hasRecord), m_repaired(std::move(repaired)) {}

    // Called before each migration.
    void OnProgress(std::function<void(const Migration&)> listener) { m_progress = std::move(listener); }

    // Runs the plan, then `after`, the stamp. Returns 0, or -1 when a migration has failed, or the upgrade is undone.
    [[nodiscard]] int Run(Plan& plan, const std::function<void()>& after);

    // In the order of the migrations; of an upgrade that ran twice, the second calls.
    const std::vector<MigrationRun>& Runs() const { return m_runs; }
    const RepairReport& Repaired() const { return m_repaired; }

    // Why nothing of the upgrade stands in the main database; '' when it does.
    const std::string& Undone() const { return m_undone; }

    // Whether rows were changed, the schema repaired, or something noted.
    bool HasChanged() const;

private:
    bool Pass(const Plan& plan, const std::function<void()>& after, VGDB::Holding holding);
    bool Commit();
    bool Settle();
    void RunOne(const Migration& migration);
    std::string OutcomeSql() const;
    void Finish();
    bool Lose(const std::string& reason);

    Record::Facts m_facts;
    bool m_hasRecord;
    bool m_hasNoted = false;
    std::string m_undone;
    RepairReport m_repaired;
    std::vector<MigrationRun> m_runs;
    std::function<void(const Migration&)> m_progress;
};
