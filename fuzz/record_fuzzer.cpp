// The reader of the record of an upgrade. Input: a row a line, its fact, subject, name and value between tabs; a
// value of \N is NULL.
#include <string>
#include <vector>

#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/base/strings.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/record.h"

namespace {

void Execute(const std::string& sql) {
    Expect(VGDB::Execute(DB_SYSTEM, sql) == 0, "the record can be written");
}

void MakeRecord(std::string_view input) {
    Execute(Record::MakeSql(true));
    while (!input.empty()) {
        std::vector<std::string> fields = SplitString(TakeLine(input), '\t');
        fields.resize(4);
        std::string values;
        for (const std::string& field : fields)
            values += (values.empty() ? "" : ", ") + (field == "\\N" ? "NULL" : VGDB::QuoteEscape(field));
        Execute(std::string("INSERT INTO ") + Record::kTable + "(fact, subject, name, value) VALUES(" +
                values + ");");
    }
}

// Notes the facts in a record of their own, with the texts that a program notes them with.
void Note(const Record::Facts& facts) {
    Execute(Record::MakeSql(true));
    Execute(Record::BeginSql(facts.oldBuild.value_or(0), facts.missing) + Record::DoneSql(facts.done));
    for (const Record::NotedMigration& row : facts.failed)
        Execute(Record::FailedSql(row));
    for (const KeyChange& change : facts.keys)
        Execute(Record::OwedSql(change));
    if (facts.place > 0)
        Execute(Record::PlaceSql(facts.place));
}

std::vector<Record::OwedEntry> Entries() {
    std::vector<Record::OwedEntry> entries;
    Expect(Record::ReadEntries(0, 1'000'000, entries) == 0, "entries can be read");
    return entries;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::MakeWithMainDatabase();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view input = AsText(data, size);
    if (!IsColumnText(input))
        return 0;
    FuzzTree::EmptyLog();
    MakeRecord(input);
    Record::Facts facts;
    Expect(Record::Read(facts) == 0 && facts.exists && !facts.strange,
           "a record can be read whatever it holds");
    const std::vector<Record::OwedEntry> entries = Entries();
    Expect(static_cast<long long>(entries.size()) == facts.entries, "as many entries as were counted");

    Note(facts);
    std::vector<UserLogEntry> sound;
    for (const Record::OwedEntry& owed : entries)
        if (owed.entry)
            sound.push_back(*owed.entry);
    Expect(Record::AddEntries(sound) == 0, "entries are noted");

    Record::Facts again;
    Expect(Record::Read(again) == 0 && again.nonsense.empty(), "what is noted makes sense");
    Expect(again.oldBuild == facts.oldBuild.value_or(0) && again.done == facts.done &&
               again.missing == facts.missing && again.place == facts.place &&
               again.entries == static_cast<long long>(sound.size()),
           "facts that are noted read back");
    for (const Record::OwedEntry& owed : Entries())
        Expect(owed.entry.has_value(), "entries that are noted read back");

    Execute(Record::EndSql() + Record::AllEntriesDeliveredSql());
    Expect(Record::Read(again) == 0 && !again.oldBuild && again.done.empty() && again.entries == 0 &&
               (again.failed.empty() == facts.failed.empty()) && (again.keys.empty() == facts.keys.empty()),
           "an upgrade that ends leaves failures and debts");
    return 0;
}
