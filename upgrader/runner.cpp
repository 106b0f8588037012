#include "upgrader/runner.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "platform/base/first_change.h"
#include "platform/files/flush_later.h"
#include "upgrader/log.h"
#include "upgrader/outbox.h"

namespace {

// How long readers of the main database are waited for at the commit of an upgrade, and of a row.
constexpr std::chrono::seconds kCommitPatience{60};
constexpr std::chrono::seconds kRowPatience{10};
constexpr std::chrono::milliseconds kShortPatience{100};  // once one was not gone after that time

bool Contains(const std::vector<Record::NotedMigration>& rows, const Record::NotedMigration& row) {
    return std::find(rows.begin(), rows.end(), row) != rows.end();
}

// A migration reports by its result; what it throws all the same (no memory left) is its failure, not the
// upgrade's.
int RunMigration(const Migration& row) {
    try {
        return row.function();
    } catch (const std::exception& error) {
        return UPG_FAIL("Migration ended by an exception: %s\n", error.what());
    }
}

void DoAction(const Migration& row, int result) {
    if (result < 0)
        UPG_LOG("[%d] update failed, ver [%u], func [%p].\n", row.number, row.threshold,
                reinterpret_cast<void*>(row.function));
}

}  // namespace

int Runner::Run(const Job& job) {
    Outbox::Stop();
    HoldAgain();
    OnFirstChange([this, &job] { BeginRecord(job); });
    if (!RunAtOnce(job))
        RunOneByOne(job);
    OnFirstChange(nullptr);
    VGDB::RollbackHeld(DB_SYSTEM);  // when nothing was to be committed
    FlushFiles();
    End();
    Outbox::Stop();
    VGDB::CloseAll();
    const bool rowFailed =
        std::any_of(m_runs.begin(), m_runs.end(), [](const MigrationRun& run) { return run.result < 0; });
    return m_failed || rowFailed ? -1 : 0;
}

// The first change is yet to be made: the record comes before it, in a commit of its own.
void Runner::BeginRecord(const Job& job) {
    m_changed = true;
    if (!m_recorded)
        return;
    std::string sql = Record::MakeSql(m_facts.strange) + Record::BeginSql(job.oldBuild, job.missing);
    if (job.oldBuild != m_facts.oldBuild) {
        sql += Record::NothingDoneSql();
        m_done = 0;
    }
    Record::Facts now;
    // A commit whose last flush fails is reported as failed, but stands.
    if (VGDB::ExecuteNow(DB_SYSTEM, sql) == 0 ||
        (Record::Read(now) == 0 && now.exists && !now.strange && now.oldBuild == job.oldBuild)) {
        m_begun = true;
        return;
    }
    UPG_LOG("Failed to note the upgrade in %s, which is left alone.\n", VGDB::GetDBPath(DB_SYSTEM).c_str());
    VGDB::SetAside(DB_SYSTEM);
    m_recorded = false;
    m_failed = true;
}

// False when the upgrade is undone.
bool Runner::RunAtOnce(const Job& job) {
    bool kept = !job.before || job.before() || !m_recorded;
    for (auto row = job.migrations.begin(); row != job.migrations.end() && kept; ++row) {
        const MigrationRun& run = RunOne(*row);
        kept = Settle(run.result);
        if (kept)  // else it runs again
            DoAction(*row, run.result);
    }
    if (job.after && kept) {
        job.after();
        kept = Settle(0);
    }
    if (kept && (!m_recorded || CommitAll()))
        return true;
    UPG_LOG("The upgrade of %s is undone, and walked once more with a commit a row.\n",
            VGDB::GetDBPath(DB_SYSTEM).c_str());
    return false;
}

// Puts what the libraries have collected where it outlives the process. False when the main database has not taken
// it, or has lost what it took before.
bool Runner::Settle(int result) {
    if (m_recorded)
        return Outbox::Note() == 0 && !VGDB::IsHeldLost(DB_SYSTEM);
    if (result >= 0 || m_keepsFailed)
        Outbox::WriteDirectly();
    Outbox::Collect({});
    return true;
}

bool Runner::CommitAll() {
    std::string outcome;
    std::vector<Record::NotedMigration> done;
    for (const MigrationRun& run : m_runs) {
        outcome += OutcomeSql(run);
        done.push_back(Record::NoteOf(run.migration));
    }
    // An upgrade that has changed nothing, and leaves the failures as they were, notes nothing.
    if (!m_changed && !m_facts.oldBuild && outcome.empty())
        return true;
    outcome += Record::DoneSql(done) + Outbox::PlaceSql();
    if (!outcome.empty()) {
        AnnounceChange();
        if (m_recorded && VGDB::Execute(DB_SYSTEM, outcome))
            return false;
    }
    FlushFiles();
    return !m_recorded || VGDB::CommitHeld(DB_SYSTEM, kCommitPatience) == 0 || Stands(done.size());
}

// What rows have done to files is on disk before the record says that they are done.
void Runner::FlushFiles() { m_failed = VGFilesFlush() != 0 || m_failed; }

// Whether that many more rows are done than before. A commit whose last flush fails is reported as failed, but
// stands.
bool Runner::Stands(size_t rows) const {
    Record::Facts now;
    return rows > 0 && Record::Read(now) == 0 && now.done.size() == m_done + rows;
}

void Runner::RunOneByOne(const Job& job) {
    VGDB::RollbackHeld(DB_SYSTEM);
    m_recorded = !VGDB::IsDamaged(DB_SYSTEM);
    m_failed = m_failed || !m_recorded;
    Outbox::Stop();
    HoldAgain();
    // What the repair could not do costs the rows that need it. They must not take what is missing for what never was.
    // What is found missing only now, the schema file having been out of reach before, is noted with its repair.
    const auto repair = [&] {
        const bool notes = m_recorded && m_begun;
        const bool done =
            job.before() &&
            (!notes || VGDB::Execute(DB_SYSTEM, Record::BeginSql(job.oldBuild, job.missing)) == 0);
        const bool kept = CommitOne(nullptr) && done;
        VGDB::SetIncomplete(DB_SYSTEM, !kept);
        return kept;
    };
    bool repaired = !job.before || repair() || repair();
    bool triesAgain = !repaired;  // when it takes what a row writes: the disk has space again, say
    for (const Migration& row : job.migrations) {
        MigrationRun& run = RunOne(row);
        const bool kept = CommitOne(&run);
        if (!kept) {
            UPG_LOG("[%d] has changed nothing: the main database did not take it.\n", row.number);
            run.result = -1;
            m_unnoted.push_back(Record::NoteOf(row));
        }
        DoAction(row, run.result);
        if (triesAgain && kept && run.changes > 0) {
            triesAgain = false;
            repaired = repair();
        }
    }
    if (job.after) {
        job.after();
        m_failed = !CommitOne(nullptr) || m_failed;
    }
    m_failed = m_failed || !repaired;
}

// Begins the next transaction, in which migrations see what is owed as written.
void Runner::HoldAgain() {
    if (!m_recorded) {
        Outbox::Collect({});
        return;
    }
    if (Record::Facts now; Record::Read(now) == 0) {
        m_facts.keys = now.keys;
        m_done = now.done.size();
    }
    VGDB::HoldTransaction(DB_SYSTEM);
    Outbox::Collect(m_facts.keys);
}

// Commits what has been done since the last commit, and delivers what it owes. False when it is lost.
bool Runner::CommitOne(const MigrationRun* run) {
    bool kept = Settle(run ? run->result : 0);
    if (!m_recorded)
        return true;
    std::string outcome = run ? OutcomeSql(*run) : "";
    const bool wrote = VGDB::HasHeldChanges(DB_SYSTEM) || !outcome.empty();
    if (run && wrote)
        outcome += Record::DoneSql({Record::NoteOf(run->migration)});
    if (wrote)
        outcome += Outbox::PlaceSql();
    FlushFiles();
    if (kept && !outcome.empty())  // the record is there: the upgrade has been undone before
        kept = VGDB::Execute(DB_SYSTEM, outcome) == 0;
    kept = kept && (VGDB::CommitHeld(DB_SYSTEM, m_patience) == 0 || Stands(run && wrote ? 1 : 0));
    m_patience = kept ? std::chrono::milliseconds(kRowPatience) : kShortPatience;
    VGDB::RollbackHeld(DB_SYSTEM);
    if (kept && wrote) {
        std::string strike;
        (void)Outbox::Deliver(strike);  // what stays owed is delivered later
        if (!strike.empty())
            (void)VGDB::ExecuteNow(DB_SYSTEM, strike);  // delivered twice does no harm
    }
    HoldAgain();
    return kept;
}

MigrationRun& Runner::RunOne(const Migration& row) {
    if (m_progress)
        m_progress(row);
    const auto begin = std::chrono::steady_clock::now();
    const long long changesBefore = VGDB::ChangedRows();
    const int result = RunMigration(row);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    auto run = std::find_if(m_runs.begin(), m_runs.end(),
                            [&row](const MigrationRun& one) { return one.migration.number == row.number; });
    if (run == m_runs.end())
        run = m_runs.insert(run, MigrationRun{});
    *run = {.migration = row,
            .result = result,
            .ms = time.count(),
            .changes = VGDB::ChangedRows() - changesBefore};
    return *run;
}

// What the record is to learn of a row beside that it is done; '' for nothing.
std::string Runner::OutcomeSql(const MigrationRun& run) const {
    const bool noted = Contains(m_facts.failed, Record::NoteOf(run.migration));
    if (run.result < 0)
        return noted ? "" : Record::FailedSql(Record::NoteOf(run.migration));
    return noted ? Record::SucceededSql(Record::NoteOf(run.migration)) : "";
}

// Delivers what is owed, and takes the upgrade out of the record. All other databases are closed before that: a
// process that dies while it closes them leaves an upgrade that is finished by the next.
void Runner::End() {
    if (!m_recorded || (!m_begun && !m_facts.oldBuild))
        return;
    std::string last;
    const bool owes = Outbox::Deliver(last) != 0;
    for (const Record::NotedMigration& row : m_unnoted)
        last += Record::FailedSql(row);
    Record::Facts now;
    const bool isRead = Record::Read(now) == 0;
    last = isRead && !owes && now.failed.empty() && m_unnoted.empty() ? Record::DropSql()
                                                                      : last + Record::EndSql();
    VGDB::CloseAll();
    if (VGDB::ExecuteNow(DB_SYSTEM, last))
        UPG_LOG("Failed to close the record of the upgrade; the next upgrade does.\n");
}
