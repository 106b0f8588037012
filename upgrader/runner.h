// Runs a list of migrations: the due ones of an upgrade, or those of a retry.
//
//   1. All rows run in one transaction of the main database, the schema repair included. What they write elsewhere
//      is on disk at once and may be done again; settings keys and log entries are noted (see outbox.h).
//   2. The commit of that transaction is the instant at which the upgrade takes effect.
//   3. Then what is noted is delivered, and the record of the upgrade is struck off.
//
// When that transaction cannot be committed, or SQLite has rolled it back, the upgrade is undone and walked once
// more with a commit a row, so that a row costs at most itself.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "upgrader/record.h"

// One call of a migration.
struct MigrationRun {
    Migration migration;
    int result;
    double ms;
    long long changes;  // rows that its statements and their triggers have changed
};

class Runner {
public:
    struct Job {
        // The upgrade that is noted before the first change, with what the databases lacked before their repair;
        // no build for rows that are run again after their upgrade.
        std::optional<uint32_t> oldBuild;
        const Record::MissingReport& missing;

        // The schema repair. Called again when the upgrade is undone, as by false, until it is kept: twice before the
        // rows, and when the main database has taken what a row writes. It may then find more missing.
        std::function<bool()> before;
        std::vector<Migration> migrations;
        std::function<void()> after;  // the stamp
    };

    // `facts` is the record as it stands. Without a record keys and log entries are written after each row: all of them
    // where the main database is missing, or no database at all; where it is set aside, not those of a row that has
    // failed. The next upgrade runs that row, and a key would tell it that the row is done.
    Runner(Record::Facts facts, Record::State state)
        : m_facts(std::move(facts)),
          m_recorded(state == Record::State::Usable),
          m_keepsFailed(state == Record::State::None) {}

    // Called before each migration.
    void OnProgress(std::function<void(const Migration&)> listener) { m_progress = std::move(listener); }

    // Runs them. Returns 0, or -1 when one has failed or the main database did not take what the upgrade did.
    [[nodiscard]] int Run(const Job& job);

    // In the order of the rows; of a row that ran twice, the second call.
    const std::vector<MigrationRun>& Runs() const { return m_runs; }

    // Whether anything has been changed.
    bool HasChanged() const { return m_changed; }

private:
    void BeginRecord(const Job& job);
    bool RunAtOnce(const Job& job);
    bool CommitAll();
    void RunOneByOne(const Job& job);
    bool Settle(int result);
    void FlushFiles();
    bool Stands(size_t rows) const;
    void HoldAgain();
    bool CommitOne(const MigrationRun* run);
    MigrationRun& RunOne(const Migration& migration);
    std::string OutcomeSql(const MigrationRun& run) const;
    void End();

    Record::Facts m_facts;
    bool m_recorded;
    bool m_keepsFailed;  // without a record, what a failed row has written
    bool m_changed = false;
    bool m_begun = false;                           // the record has been written by this walk
    bool m_failed = false;                          // beside the rows that have failed
    std::vector<Record::NotedMigration> m_unnoted;  // rows whose outcome the record does not hold
    size_t m_done = 0;                              // rows that the record holds as done
    std::chrono::milliseconds m_patience{10'000};   // for readers, at the commit of a row
    std::vector<MigrationRun> m_runs;
    std::function<void(const Migration&)> m_progress;
};
