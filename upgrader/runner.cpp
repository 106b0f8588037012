#include "upgrader/runner.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <utility>

#include "platform/base/watch.h"
#include "upgrader/log.h"
#include "upgrader/needs.h"
#include "upgrader/outbox.h"

namespace {

// How long readers and holders are waited for: each database while migrations run, all together at the commits.
constexpr std::chrono::seconds kPatienceWithin{10};
constexpr std::chrono::seconds kPatienceAtCommits{60};

bool Contains(const std::vector<Record::NotedMigration>& noted, const Record::NotedMigration& one) {
    return std::find(noted.begin(), noted.end(), one) != noted.end();
}

// The places in the registry of what an earlier upgrade notes as failed, and what the registry does not know any more.
std::set<int> FindNoted(const std::vector<Record::NotedMigration>& failed,
                        std::vector<Record::NotedMigration>& unknown) {
    std::set<int> numbers;
    unknown = failed;
    for (size_t number = 0; number < kMigrationCount; ++number) {
        const Migration& migration = MigrationAt(number);
        if (!Contains(failed, Record::NoteOf(migration)))
            continue;
        numbers.insert(migration.number);
        std::erase(unknown, Record::NoteOf(migration));
    }
    return numbers;
}

// A migration reports by its result; what it throws all the same (no memory left) is its failure, not the
// upgrade's.
int Call(const Migration& migration) {
    try {
        return migration.function();
    } catch (const std::exception& error) {
        return UPG_FAIL("Migration ended by an exception: %s\n", error.what());
    }
}

void DoAction(const Migration& migration, int result) {
    if (result < 0)
        UPG_LOG("[%d] update failed, ver [%u], func [%p].\n", migration.number, migration.threshold,
                reinterpret_cast<void*>(migration.function));
}

}  // namespace

int Runner::Run(Plan& plan, const std::function<void()>& after) {
    bool stands = Pass(plan, after, VGDB::Holding::All);
    if (!stands) {
        UPG_LOG("The upgrade is undone, and run once more: %s\n", m_undone.c_str());
        VGDB::Hold(VGDB::Holding::None);
        m_hasRecord = m_hasRecord && !VGDB::IsDamaged(DB_SYSTEM);
        PlanRepair(plan);  // other databases may have been committed
        stands = Pass(plan, after, VGDB::Holding::Main);
    }
    VGDB::Hold(VGDB::Holding::None);
    VGDB::SetPatience(kPatienceWithin, std::chrono::milliseconds::max());
    if (stands) {
        m_undone.clear();
        Finish();
    }
    Outbox::Stop();
    VGDB::CloseAll();
    const bool failed =
        std::any_of(m_runs.begin(), m_runs.end(), [](const MigrationRun& run) { return run.result < 0; });
    return stands && !failed ? 0 : -1;
}

// False when the upgrade is undone.
bool Runner::Pass(const Plan& plan, const std::function<void()>& after, VGDB::Holding holding) {
    std::vector<Record::NotedMigration> unknown;
    Needs::Begin(FindNoted(m_facts.failed, unknown));
    m_runs.clear();
    Outbox::Collect(m_hasRecord ? m_facts.keys : std::vector<KeyChange>());
    VGDB::SetPatience(kPatienceWithin, std::chrono::milliseconds::max());
    VGDB::Hold(holding);
    if (Watch* const watch = Watch::Current())
        watch->BeginStep(Watch::SchemaRepair);
    RepairSchema(plan, m_repaired, {__LINE__, "main"});
    if (!Settle())
        return false;
    for (const Migration& migration : plan.migrations) {
        RunOne(migration);
        if (!Settle())
            return false;
        DoAction(migration, m_runs.back().result);
    }
    if (Watch* const watch = Watch::Current())
        watch->BeginStep(Watch::Delivery);
    if (after)
        after();
    return Settle() && Commit();
}

// Notes what the libraries have collected. False when a database has lost what it held.
bool Runner::Settle() {
    const int noted = m_hasRecord ? Outbox::Note() : 0;
    m_hasNoted = m_hasNoted || noted > 0;
    std::string lost;
    if (VGDB::IsHeldLost(lost))
        return Lose(lost);
    return noted >= 0 || Lose(VGDB::Reason(DB_SYSTEM));
}

bool Runner::Lose(const std::string& reason) {
    m_undone = reason;
    return false;
}

bool Runner::Commit() {
    VGDB::SetPatience(kPatienceAtCommits, kPatienceAtCommits);
    if (const std::string problem = VGDB::CommitOthers(); !problem.empty())
        return Lose(problem);
    if (!m_hasRecord) {
        VGDB::Hold(VGDB::Holding::None);
        Outbox::WriteDirectly();
        return true;
    }
    const std::string outcome = OutcomeSql();
    if (!outcome.empty() && VGDB::Execute(DB_SYSTEM, outcome))
        return Lose(VGDB::Reason(DB_SYSTEM));
    if (VGDB::CommitMain() == 0)
        return true;
    Lose(VGDB::Reason(DB_SYSTEM));
    VGDB::Hold(VGDB::Holding::None);
    // A commit whose last flush fails is reported as failed, but stands.
    Record::Facts now;
    return !outcome.empty() && Record::Read(now) == 0 &&
           now.done.size() == m_facts.done.size() + m_runs.size();
}

void Runner::RunOne(const Migration& migration) {
    if (m_progress)
        m_progress(migration);
    Needs::Calling(migration.number);
    KeepFirstMessageOf(migration.name);
    const auto begin = std::chrono::steady_clock::now();
    const long long changesBefore = VGDB::ChangedRows();
    Watch* const watch = Watch::Current();
    if (watch)
        watch->BeginStep(migration.number);
    const int result = Call(migration);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    if (watch)
        watch->EndStep(result, time.count());
    Needs::Ended(result < 0);
    m_runs.push_back({.migration = migration,
                      .result = result,
                      .ms = time.count(),
                      .changes = VGDB::ChangedRows() - changesBefore,
                      .reason = result < 0 ? FirstMessage() : ""});
}

// What the record is to learn with the commit; '' for nothing.
std::string Runner::OutcomeSql() const {
    std::string sql;
    std::vector<Record::NotedMigration> unknown, done;
    (void)FindNoted(m_facts.failed, unknown);
    for (const Record::NotedMigration& one : unknown) {
        UPG_LOG("Failed once, and is not among the migrations any more: %s.\n", one.name.c_str());
        sql += Record::SucceededSql(one);
    }
    for (const MigrationRun& run : m_runs) {
        const Record::NotedMigration note = Record::NoteOf(run.migration);
        done.push_back(note);
        if (run.result < 0)
            sql += Record::FailedSql(note);
        else if (Contains(m_facts.failed, note))
            sql += Record::SucceededSql(note);
    }
    if (!m_facts.exists && !m_hasNoted && sql.empty())
        return "";
    return Record::MakeSql(false) + sql + Record::DoneSql(done) + Outbox::PlaceSql();
}

bool Runner::HasChanged() const {
    return m_hasNoted || !m_repaired.added.empty() ||
           std::any_of(m_runs.begin(), m_runs.end(), [](const MigrationRun& run) { return run.changes > 0; });
}

// Delivers what is owed, and takes the upgrade out of the record. All other databases are closed before that: a
// process that dies while it closes them leaves an upgrade that is finished by the next.
void Runner::Finish() {
    Record::Facts now;
    if (!m_hasRecord || Record::Read(now) || !now.exists)
        return;
    std::string last;
    const bool owes = Outbox::Deliver(last) != 0;
    last = !owes && now.failed.empty() ? Record::DropSql() : last + Record::EndSql();
    VGDB::CloseAll();
    if (VGDB::ExecuteLoosely(DB_SYSTEM, last))
        UPG_LOG("Failed to close the record of the upgrade; the next upgrade does.\n");
}
