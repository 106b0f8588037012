#include "upgrader/outbox.h"

#include <map>

#include "platform/support/strings.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/log.h"

namespace {

constexpr const char* kMarkTable = "vgupgrader_delivered";

// How many entries are held as SQL text at a time: an upgrade can have hundreds of thousands.
constexpr size_t kEntriesAtOnce = 2'000;

// How long readers of the log are waited for.
constexpr std::chrono::seconds kLogPatience{10};

constexpr const char* kStaysOwed = "Failed to deliver %s, it stays owed to the next upgrade.\n";

void LogLost(size_t entries) {
    if (entries > 0)
        UPG_LOG("%zu user-visible log entries are lost.\n", entries);
}

// --- keys ---------------------------------------------------------------------------------------------------

// Each file by itself.
int DeliverKeys(const std::vector<KeyChange>& owed, std::string& strike) {
    std::map<std::string, std::vector<KeyChange>> byFile;
    for (const KeyChange& change : owed)
        byFile[change.file].push_back(change);
    int result = 0;
    for (const auto& [file, changes] : byFile) {
        if (PendingKeys::Apply(changes)) {
            UPG_LOG(kStaysOwed, ("keys of " + file).c_str());
            result = -1;
        } else {
            strike += Record::DeliveredKeysSql(file);
        }
    }
    return result;
}

// --- entries ------------------------------------------------------------------------------------------------

// The number of the last entry that the log database holds; 0 when it holds none. Returns -1 when that cannot be
// told.
int ReadMark(long long& last) {
    last = 0;
    if (const int found = VGDB::FindTable(DB_LOG, kMarkTable); found <= 0)
        return found;
    QueryResult mark;
    if (QuerySql(DB_LOG, std::string("SELECT max(last) AS last FROM ") + kMarkTable + ";", mark,
                 "Failed to execute sql: %s\n"))
        return -1;
    if (mark.Next())
        last = mark.Int64("last");
    return 0;
}

// Writes the entries beyond the mark, in the transaction that is held.
int WriteEntries(long long& last) {
    std::vector<Record::OwedEntry> owed;
    for (;;) {
        if (Record::ReadEntries(last, kEntriesAtOnce, owed))
            return -1;
        if (owed.empty())
            break;
        std::vector<UserLogEntry> entries;
        for (Record::OwedEntry& one : owed)
            if (one.entry)
                entries.push_back(std::move(*one.entry));
        if (!entries.empty() && VGLogWrite(entries))
            return -1;
        last = owed.back().number;
    }
    return VGDB::Execute(DB_LOG, StringPrintf("CREATE TABLE IF NOT EXISTS %s(last INTEGER);"
                                              "DELETE FROM %s; INSERT INTO %s VALUES(%lld);",
                                              kMarkTable, kMarkTable, kMarkTable, last));
}

int WriteEntriesOnce(long long& last) {
    if (ReadMark(last))
        return -1;
    long long reached = last;
    VGDB::HoldTransaction(DB_LOG);
    const bool written = WriteEntries(reached) == 0;
    if (written && VGDB::CommitHeld(DB_LOG, kLogPatience) == 0) {
        last = reached;
        return 0;
    }
    VGDB::RollbackHeld(DB_LOG);
    // A commit whose last flush fails is reported as failed, but stands.
    return written && ReadMark(last) == 0 && last == reached ? 0 : -1;
}

// Without the mark the numbers of the record may begin anew, so it goes before they do.
int RemoveMark(std::string& strike) {
    const int found = VGLogFind() == 0 ? 0 : VGDB::FindTable(DB_LOG, kMarkTable);
    if (found < 0 || (found > 0 && VGDB::DropTable(DB_LOG, kMarkTable)))
        return -1;
    strike += Record::MarkRemovedSql();
    return 0;
}

int DeliverEntries(long long count, std::string& strike) {
    const int log = VGLogFind();
    if (log == 0) {
        LogLost(static_cast<size_t>(count));
        strike += Record::LostEntriesSql();
        return 0;
    }
    long long last = 0;
    if (log < 0 || WriteEntriesOnce(last) || VGDB::ExecuteNow(DB_SYSTEM, Record::DeliveredEntriesSql(last))) {
        UPG_LOG(kStaysOwed, "log entries");
        return -1;
    }
    return RemoveMark(strike);
}

}  // namespace

void Outbox::Collect(const std::vector<KeyChange>& owed) {
    Stop();
    PendingKeys::Collect(owed);
}

void Outbox::Stop() {
    PendingKeys::Stop();
    (void)VGLogTake();  // forgotten
}

int Outbox::Note() {
    std::string sql;
    for (const KeyChange& change : PendingKeys::Take())
        sql += Record::OwedSql(change);
    const std::vector<UserLogEntry> entries = VGLogTake();
    for (size_t begin = 0; begin < entries.size(); begin += kEntriesAtOnce) {
        const auto first = entries.begin() + static_cast<std::ptrdiff_t>(begin);
        const size_t count = std::min(kEntriesAtOnce, entries.size() - begin);
        sql += Record::OwedSql({first, first + static_cast<std::ptrdiff_t>(count)});
        if (VGDB::Execute(DB_SYSTEM, std::exchange(sql, {})))
            return -1;
    }
    return sql.empty() ? 0 : VGDB::Execute(DB_SYSTEM, sql);
}

void Outbox::WriteDirectly() {
    if (const std::vector<KeyChange> keys = PendingKeys::Take(); !keys.empty())
        (void)PendingKeys::Apply(keys);  // logged there
    const std::vector<UserLogEntry> entries = VGLogTake();
    if (!entries.empty() && (VGLogFind() <= 0 || VGLogWrite(entries)))
        LogLost(entries.size());
}

int Outbox::Deliver(std::string& strike) {
    Record::Facts facts;
    if (Record::Read(facts))
        return -1;
    const int keys = DeliverKeys(facts.keys, strike);
    int entries = 0;
    if (facts.entries > 0)
        entries = DeliverEntries(facts.entries, strike);
    else if (facts.delivered)
        entries = RemoveMark(strike);
    return keys || entries ? -1 : 0;
}

void Outbox::DeliverOwed(Record::Facts& facts) {
    if (!facts.Owes())
        return;
    std::string strike;
    const bool delivered = Deliver(strike) == 0;
    if (delivered && !facts.oldBuild && facts.failed.empty())
        strike = Record::DropSql();
    if (!strike.empty() && VGDB::ExecuteNow(DB_SYSTEM, strike) == 0)
        (void)Record::Read(facts);  // what is struck off twice does no harm
}
