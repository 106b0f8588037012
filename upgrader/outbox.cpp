#include "upgrader/outbox.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "platform/base/watch.h"
#include "platform/settings/settings_files.h"
#include "upgrader/log.h"

namespace {

// How many entries are held as parameters at a time: an upgrade can have hundreds of thousands.
constexpr size_t kEntriesAtOnce = 2'000;

constexpr const char* kStaysOwed = "Failed to deliver %s, it stays owed to the next upgrade.\n";

// What the migration that has just run leaves to be delivered, for a rehearsal.
void Tell(const std::vector<KeyChange>& keys, const std::vector<UserLogEntry>& entries) {
    Watch* const watch = Watch::Current();
    for (size_t i = 0; watch && i < keys.size(); ++i)
        watch->Key(keys[i].file, keys[i].key, keys[i].value);
    for (size_t i = 0; watch && i < entries.size(); ++i)
        watch->Entry(entries[i].logType, entries[i].itemId, entries[i].params);
}

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
        if (SettingsFiles::Current().Apply(changes)) {
            UPG_LOG(kStaysOwed, ("keys of " + file).c_str());
            result = -1;
        } else {
            strike += Record::DeliveredKeysSql(file);
        }
    }
    return result;
}

// --- entries ------------------------------------------------------------------------------------------------

// The ids of entries in the log are chosen before they are written, and noted. So whoever comes after an interrupted
// delivery sees by the id of the first one whether they are there: they are written together.
int ChoosePlace(long long& place) {
    if (VGLogLastId(place))
        return -1;
    ++place;
    return 0;
}

// How many of the owed entries are in the log, the first at that place; -1 when it cannot be told. `last` is the number
// of the last of them. All or none, but for a delivery whose end could not be noted and after which others were owed.
long long CountDelivered(long long place, long long& last) {
    long long count = 0;
    std::vector<Record::OwedEntry> owed;
    for (last = 0;;) {
        if (Record::ReadEntries(last, kEntriesAtOnce, owed))
            return -1;
        if (owed.empty())
            return count;
        for (const Record::OwedEntry& one : owed) {
            const int held = one.entry ? VGLogHolds(place + count, *one.entry) : 1;
            if (held <= 0)
                return held < 0 ? -1 : count;
            count += one.entry.has_value();
            last = one.number;
        }
    }
}

// Writes all entries in the transaction of the log database that is held.
int WriteEntries(long long place) {
    std::vector<Record::OwedEntry> owed;
    for (long long last = 0;; last = owed.back().number) {
        if (Record::ReadEntries(last, kEntriesAtOnce, owed))
            return -1;
        if (owed.empty())
            return 0;
        std::vector<UserLogEntry> entries;
        for (Record::OwedEntry& one : owed)
            if (one.entry)
                entries.push_back(std::move(*one.entry));
        if (VGLogWrite(entries, place))
            return -1;
        place += static_cast<long long>(entries.size());
    }
}

int WriteAt(long long place) {
    VGDB::Hold(VGDB::Holding::All);
    const bool written = WriteEntries(place) == 0;
    const bool committed = written && VGDB::CommitOthers().empty();
    VGDB::Hold(VGDB::Holding::None);
    if (committed)
        return 0;
    // A commit whose last flush fails is reported as failed, but stands.
    long long last = 0;
    return written && CountDelivered(place, last) > 0 ? 0 : -1;
}

// The place that was noted is used when nothing has come there since.
int WriteEntriesOnce(const Record::Facts& facts) {
    std::string note;
    if (facts.place > 0) {
        long long last = 0;
        const long long delivered = CountDelivered(facts.place, last);
        if (delivered < 0 || delivered == facts.entries)
            return delivered < 0 ? -1 : 0;
        if (delivered > 0)
            note = Record::DeliveredEntriesSql(last);
    }
    long long place = 0;
    if (ChoosePlace(place))
        return -1;
    if (place != facts.place)
        note += Record::PlaceSql(place);
    if (!note.empty() && VGDB::Execute(DB_SYSTEM, note))
        return -1;
    return WriteAt(place);
}

int DeliverEntries(const Record::Facts& facts, std::string& strike) {
    const int log = VGLogFind();
    if (log < 0 || (log > 0 && WriteEntriesOnce(facts)))
        return UPG_FAIL(kStaysOwed, "log entries");
    if (log == 0)
        LogLost(static_cast<size_t>(facts.entries));
    strike += Record::AllEntriesDeliveredSql();
    return 0;
}

}  // namespace

void Outbox::Collect(const std::vector<KeyChange>& owed) {
    Stop();
    SettingsFiles::Current().Collect(owed);
}

void Outbox::Stop() {
    SettingsFiles::Current().Stop();
    (void)VGLogTake();  // forgotten
}

int Outbox::Note() {
    const std::vector<KeyChange> keys = SettingsFiles::Current().Take();
    const std::vector<UserLogEntry> entries = VGLogTake();
    Tell(keys, entries);
    if (keys.empty() && entries.empty())
        return 0;
    std::string sql = Record::MakeSql(false);
    for (const KeyChange& change : keys)
        sql += Record::OwedSql(change);
    if (VGDB::Execute(DB_SYSTEM, sql))
        return -1;
    for (std::span rest(entries); !rest.empty(); rest = rest.subspan(std::min(kEntriesAtOnce, rest.size())))
        if (Record::AddEntries(rest.first(std::min(kEntriesAtOnce, rest.size()))))
            return -1;
    return 1;
}

// A log that cannot be asked now is asked again when the entries are delivered.
std::string Outbox::PlaceSql() {
    Record::Facts facts;
    long long place = 0;
    if (Record::Read(facts) || facts.entries == 0 || facts.place > 0 || VGLogFind() <= 0 ||
        ChoosePlace(place))
        return "";
    return Record::PlaceSql(place);
}

void Outbox::WriteDirectly() {
    const std::vector<KeyChange> keys = SettingsFiles::Current().Take();
    const std::vector<UserLogEntry> entries = VGLogTake();
    Tell(keys, entries);
    if (!keys.empty())
        (void)SettingsFiles::Current().Apply(keys);  // logged there
    if (!entries.empty() && (VGLogFind() <= 0 || VGLogWrite(entries)))
        LogLost(entries.size());
}

int Outbox::Deliver(std::string& strike) {
    Record::Facts facts;
    if (Record::Read(facts))
        return -1;
    const int keys = DeliverKeys(facts.keys, strike);
    const int entries = facts.entries > 0 ? DeliverEntries(facts, strike) : 0;
    return keys || entries ? -1 : 0;
}

int Outbox::DeliverOwed(Record::Facts& facts) {
    if (!facts.Owes())
        return 0;
    if (Watch* const watch = Watch::Current())
        watch->BeginStep(Watch::Owed);
    Tell(facts.keys, {});
    std::string strike;
    const int delivered = Deliver(strike);
    if (delivered == 0 && !facts.oldBuild && facts.failed.empty())
        strike = Record::DropSql();
    // What is struck off twice does no harm.
    if (!strike.empty() && VGDB::Execute(DB_SYSTEM, strike) == 0) {
        Record::Facts now;
        if (Record::Read(now) == 0) {
            facts.exists = now.exists;
            facts.keys = now.keys;
            facts.entries = now.entries;
            facts.place = now.place;
        }
    }
    return delivered;
}
