#include "control/rehearse/watched.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstring>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "control/rehearse/compare.h"
#include "control/rehearse/row_json.h"
#include "platform/base/strings.h"
#include "platform/base/watch.h"
#include "upgrader/registry.h"

namespace {

constexpr uint64_t kRowsAtATime = 1'000'000;
constexpr const char* kMainDatabase = "system.db";  // keys and entries are noted there, and undone with it

// As it was described last; in the stream it has a new number each time.
struct Table {
    std::string database, name;
    std::vector<std::string> columns, key;
};

struct KeySet {
    std::string file, key;
    std::optional<std::string> value;
};

struct Step {
    std::vector<std::pair<uint64_t, uint64_t>> places;  // in the stream, from and to: two when it ran twice
    uint64_t rows = 0;
    int result = 0;
    double ms = 0;
    std::vector<KeySet> keys;
    Json::Value entries{Json::objectValue};  // {"log", "log_counts"}
    std::vector<std::string> files;
    Json::Value owners{Json::arrayValue};
};

// What is told of a row. Those of one row are added up.
struct RowSum {
    uint64_t table, row, sum;
    int64_t more;
};

VGDB::FieldValue ReadValue(WatchReader& reader) {
    using Kind = VGDB::FieldValue::Kind;
    static constexpr Kind kKinds[] = {Kind::Null, Kind::Integer, Kind::Real,
                                      Kind::Text, Kind::Blob,    Kind::Null};
    VGDB::FieldValue value;
    value.kind = kKinds[std::min<uint64_t>(reader.Number(), 5)];  // SQLite's numbers, 5 being NULL
    if (value.kind == Kind::Integer)
        value.integer = reader.Signed();
    else if (value.kind != Kind::Null)
        value.bytes = reader.Text();
    if (value.kind == Kind::Real && value.bytes.size() == sizeof(value.real)) {
        std::memcpy(&value.real, value.bytes.data(), sizeof(value.real));
        value.bytes.clear();
    }
    return value;
}

bool IsSame(const VGDB::FieldValue& a, const VGDB::FieldValue& b) {
    using Kind = VGDB::FieldValue::Kind;
    if (a.kind == Kind::Integer && b.kind == Kind::Real)
        return static_cast<double>(a.integer) == b.real;
    return a == b || (a.kind == Kind::Real && b.kind == Kind::Integer && IsSame(b, a));
}

class Reading {
public:
    Reading(int fd, const WatchScope& scope, const Json::Value& whole)
        : m_reader(fd), m_scope(scope), m_whole(whole) {}

    int Run(Json::Value& migrations) {
        if (!ReadSteps())
            return -1;
        // In the order in which they ran.
        std::vector<int> order;
        for (const auto& [number, step] : m_steps)
            order.push_back(number);
        std::stable_sort(order.begin(), order.end(), [](int a, int b) {
            const auto rank = [](int number) { return number == Watch::Delivery ? INT_MAX : number; };
            return rank(a) < rank(b);
        });
        migrations = Json::Value(Json::arrayValue);
        for (const int number : order) {
            Json::Value entry = ToJson(number, m_steps[number]);
            const bool changes = std::any_of(std::begin(kParts), std::end(kParts),
                                             [&](const char* part) { return !entry[part].empty(); });
            if (changes || entry["result"].asInt() < 0)
                migrations.append(std::move(entry));
        }
        return 0;
    }

private:
    static constexpr const char* kParts[] = {"databases", "settings", "files", "owners", "log"};

    // --- once through the stream ---

    bool ReadSteps() {
        Step* step = nullptr;
        for (;;) {
            const uint64_t at = m_reader.At();
            const char kind = m_reader.Next();
            if ((kind == 'P' || kind == 'Z') && step)
                step->places.back().second = at;
            if (kind == 'Z')
                return true;
            if (kind == 'P') {
                step = &m_steps[static_cast<int>(m_reader.Signed())];
                step->places.emplace_back(m_reader.At(), 0);
            } else if (kind == 0 || !ReadFact(kind, at, step)) {
                return false;
            }
        }
    }

    // Rows that are changed before the first step are those of the program itself.
    bool ReadFact(char kind, uint64_t at, Step* step) {
        Step none;
        Step& into = step ? *step : none;
        switch (kind) {
            case 'E':
                into.result = static_cast<int>(m_reader.Signed());
                into.ms = static_cast<double>(m_reader.Number()) / 1000;
                return true;
            case 'T':
                ReadTable();
                return true;
            case 'w':
            case 'W':
                ++into.rows;
                (void)ReadRow(kind);
                return true;
            case 'K': {
                KeySet set{.file = m_reader.Text(), .key = m_reader.Text(), .value = {}};
                const bool isThere = m_reader.Number() != 0;
                std::string value = m_reader.Text();
                if (isThere)
                    set.value = std::move(value);
                into.keys.push_back(std::move(set));
                return true;
            }
            case 'L': {
                Json::Value entry(Json::objectValue);
                entry["log_type"] = Json::Int64{m_reader.Signed()};
                entry["item_id"] = Json::Int64{m_reader.Signed()};
                entry["params"] = MaskedText(m_reader.Text());
                AddEntry(entry, m_scope.entries, into.entries);
                return true;
            }
            case 'F':
                into.files.push_back(WithoutPrefix(m_reader.Text()));
                return true;
            case 'O':
                ReadOwner(into);
                return true;
            case 'U':
                Undo(m_reader.Text(), at);
                return true;
            default:
                return false;
        }
    }

    static Json::Value MaskedText(const std::string& text) {
        return ::ToJson("params",
                        {.kind = VGDB::FieldValue::Kind::Text, .integer = 0, .real = 0, .bytes = text});
    }

    std::string WithoutPrefix(const std::string& path) const {
        return path.starts_with(m_scope.prefix) ? path.substr(m_scope.prefix.size()) : path;
    }

    void ReadTable() {
        const uint64_t number = m_reader.Number();
        Table table{.database = m_reader.Text(), .name = m_reader.Text(), .columns = {}, .key = {}};
        std::map<uint64_t, std::string> key;
        for (uint64_t columns = m_reader.Number(); columns > 0 && table.columns.size() < columns;) {
            table.columns.push_back(m_reader.Text());
            key[m_reader.Number()] = table.columns.back();
        }
        key.erase(0);
        for (const auto& [place, name] : key)
            table.key.push_back(name);
        const uint64_t id = m_ids.try_emplace({table.database, table.name}, m_tables.size()).first->second;
        m_tables.resize(std::max<size_t>(m_tables.size(), id + 1));
        m_tables[id] = std::move(table);
        m_numbers[number] = id;
    }

    void ReadOwner(Step& step) {
        Json::Value entry(Json::objectValue);
        entry["path"] = WithoutPrefix(m_reader.Text());
        for (const char* member : {"before", "after"}) {
            const auto user = static_cast<unsigned>(m_reader.Number()),
                       group = static_cast<unsigned>(m_reader.Number());
            entry[member] = OwnerInWords(user, group, static_cast<unsigned>(m_reader.Number()));
        }
        if (entry["before"] != entry["after"])
            step.owners.append(entry);
    }

    void Undo(const std::string& database, uint64_t at) {
        m_undoneUntil[database] = at;
        for (auto& [number, step] : m_steps) {
            if (database == kMainDatabase) {
                step.keys.clear();
                step.entries = Json::Value(Json::objectValue);
            }
        }
    }

    // --- rows ---

    struct Row {
        RowSum sum;
        std::optional<VGDB::TableRow> before, after;  // of one that is told in full
    };

    Row ReadRow(char kind) {
        Row row{};
        row.sum.table = m_numbers[m_reader.Number()];
        row.sum.row = m_reader.Fixed();
        row.sum.more = m_reader.Signed();
        row.sum.sum = m_reader.Fixed();
        if (kind != 'W')
            return row;
        for (const auto& [values, isThere] :
             {std::pair(&row.before, row.sum.more <= 0), std::pair(&row.after, row.sum.more >= 0)}) {
            if (!isThere)
                continue;
            values->emplace();
            for (const std::string& column : m_tables[row.sum.table].columns)
                (*values)->emplace_back(column, ReadValue(m_reader));
        }
        return row;
    }

    struct TableSum {
        VGDB::TableChanges changes;
        std::array<std::vector<VGDB::RowChange>, 3> samples;  // come, gone, changed
    };
    using TableSums = std::map<std::pair<std::string, std::string>, TableSum>;  // by database and table

    // Those rows of the step whose number falls into the part.
    void AddRows(const Step& step, uint64_t part, uint64_t parts, TableSums& sums) {
        std::vector<RowSum> rows;
        std::vector<std::pair<uint64_t, uint64_t>> order;  // of those that are told in full
        std::map<std::pair<uint64_t, uint64_t>, VGDB::RowChange> full;
        for (const auto& [from, to] : step.places) {
            for (m_reader.GoTo(from); m_reader.At() < to;) {
                const uint64_t at = m_reader.At();
                const char kind = m_reader.Next();
                if (kind != 'w' && kind != 'W') {
                    (void)ReadFactAgain(kind);
                    continue;
                }
                Row row = ReadRow(kind);
                if (row.sum.row % parts != part || at < m_undoneUntil[m_tables[row.sum.table].database])
                    continue;
                rows.push_back(row.sum);
                if (kind != 'W') {
                    full.erase({row.sum.table, row.sum.row});  // what it is now is not told
                    continue;
                }
                const auto [found, isFirst] = full.try_emplace({row.sum.table, row.sum.row});
                if (isFirst) {
                    order.push_back(found->first);
                    found->second.before = std::move(row.before);
                }
                found->second.after = std::move(row.after);
            }
        }
        Count(rows, sums);
        for (const auto& one : order)
            if (const auto found = full.find(one); found != full.end())
                AddSample(m_tables[one.first], std::move(found->second), sums);
    }

    void Count(std::vector<RowSum>& rows, TableSums& sums) {
        std::sort(rows.begin(), rows.end(), [](const RowSum& a, const RowSum& b) {
            return std::pair(a.table, a.row) < std::pair(b.table, b.row);
        });
        for (auto row = rows.begin(); row != rows.end();) {
            RowSum all = *row;
            for (++row; row != rows.end() && row->table == all.table && row->row == all.row; ++row) {
                all.more += row->more;
                all.sum += row->sum;
            }
            if (all.more == 0 && all.sum == 0)
                continue;
            const Table& table = m_tables[all.table];
            VGDB::TableChanges& changes = sums[{table.database, table.name}].changes;
            changes.table = table.name;
            changes.key = table.key;
            (all.more > 0   ? changes.inserted
             : all.more < 0 ? changes.deleted
                            : changes.updated) +=
                all.more == 0 ? 1 : static_cast<uint64_t>(std::abs(all.more));
        }
    }

    void AddSample(const Table& table, VGDB::RowChange change, TableSums& sums) const {
        if (!change.before && !change.after)
            return;
        for (size_t i = 0; change.before && change.after && i < change.after->size(); ++i)
            if (i < change.before->size() && !IsSame((*change.before)[i].second, (*change.after)[i].second))
                change.changed.push_back((*change.after)[i].first);
        if (change.before && change.after && change.changed.empty())
            return;
        auto& samples = sums[{table.database, table.name}].samples[!change.before  ? 0
                                                                   : !change.after ? 1
                                                                                   : 2];
        if (samples.size() < m_scope.samples)
            samples.push_back(std::move(change));
    }

    // A second time, only to come behind it.
    bool ReadFactAgain(char kind) {
        if (kind == 'U') {
            m_reader.Text();
            return true;
        }
        Step none;
        return ReadFact(kind, 0, &none);
    }

    // --- what is told of a step ---

    Json::Value ToJson(int number, const Step& step) {
        static const std::map<int, std::pair<const char*, const char*>> kOthers = {
            {Watch::Owed, {"owed", "keys and log entries that an earlier upgrade owes"}},
            {Watch::SchemaRepair, {"schema repair", "what the schema files declare and the databases lack"}},
            {Watch::Delivery, {"delivery", "the stamp, and the log entries of all migrations"}}};
        Json::Value entry(Json::objectValue);
        if (const auto other = kOthers.find(number); other != kOthers.end()) {
            entry["row"] = Json::Value();
            entry["name"] = other->second.first;
            entry["concerns"] = other->second.second;
        } else {
            const size_t row = std::min<size_t>(static_cast<size_t>(number), kMigrationCount - 1);
            entry["row"] = number;
            entry["name"] = MigrationAt(row).name;
            entry["concerns"] = MigrationAt(row).concerns;
        }
        entry["result"] = step.result;
        entry["ms"] = std::round(step.ms * 100) / 100;
        entry["databases"] = RowsOf(step);
        if (number == Watch::SchemaRepair)
            AddSchema(entry["databases"]);
        for (const char* member : {"settings", "owners", "files", "log", "log_counts"})
            entry[member] = Json::Value(Json::arrayValue);
        if (m_scope.rowsAlone)
            return entry;
        entry["settings"] = SettingsOf(step);
        entry["owners"] = step.owners;
        entry["files"] = FilesOf(step);
        for (const std::string& member : step.entries.getMemberNames())
            entry[member] = step.entries[member];
        return entry;
    }

    Json::Value RowsOf(const Step& step) {
        TableSums sums;
        const uint64_t parts = step.rows / kRowsAtATime + 1;
        for (uint64_t part = 0; part < parts && step.rows > 0; ++part)
            AddRows(step, part, parts, sums);
        Json::Value databases(Json::arrayValue);
        std::map<std::string, VGDB::DatabaseChanges> byDatabase;
        for (auto& [name, sum] : sums) {
            sum.changes.samples = VGDB::PickSamples(std::move(sum.samples), m_scope.samples);
            byDatabase[name.first].tables.push_back(std::move(sum.changes));
        }
        for (const auto& [database, changes] : byDatabase)
            databases.append(::ToJson(database, changes));
        return databases;
    }

    // The repair alone changes schemas.
    void AddSchema(Json::Value& databases) const {
        for (const Json::Value& database : m_whole["databases"]) {
            const auto same = [&](const Json::Value& one) { return one["database"] == database["database"]; };
            auto found = std::find_if(databases.begin(), databases.end(), same);
            if (database["schema"].empty())
                continue;
            if (found == databases.end()) {
                Json::Value& made = databases.append(Json::objectValue);
                made["database"] = database["database"];
                made["tables"] = Json::Value(Json::arrayValue);
                made["schema"] = database["schema"];
            } else {
                (*found)["schema"] = database["schema"];
            }
        }
    }

    // Each from what the steps before have left.
    Json::Value SettingsOf(const Step& step) {
        std::map<std::pair<std::string, std::string>, std::optional<std::string>> was;
        std::vector<std::pair<std::string, std::string>> order;
        for (const KeySet& set : step.keys) {
            if (!m_keys.contains(set.file)) {
                const auto before = m_scope.keysBefore(set.file);
                m_keys[set.file].insert(before.begin(), before.end());
            }
            auto& keys = m_keys[set.file];
            const auto old = keys.find(set.key);
            if (was.try_emplace({set.file, set.key},
                                old == keys.end() ? std::nullopt : std::optional(old->second))
                    .second)
                order.emplace_back(set.file, set.key);
            if (set.value)
                keys[set.key] = *set.value;
            else
                keys.erase(set.key);
        }
        Json::Value settings(Json::arrayValue);
        for (const auto& one : order) {
            const auto& before = was[one];
            const auto now = m_keys[one.first].find(one.second);
            const std::string* const after = now == m_keys[one.first].end() ? nullptr : &now->second;
            if (before.has_value() != (after != nullptr) || (after && *before != *after))
                settings.append(SettingsChange(one.first, one.second, before ? &*before : nullptr, after));
        }
        return settings;
    }

    Json::Value FilesOf(const Step& step) const {
        Json::Value files(Json::arrayValue);
        for (const Json::Value& file : m_whole["files"]) {
            const std::string path = file["path"].asString();
            if (std::any_of(step.files.begin(), step.files.end(), [&](const std::string& one) {
                    return path == one || path.starts_with(one + '/');
                }))
                files.append(file);
        }
        return files;
    }

    WatchReader m_reader;
    const WatchScope& m_scope;
    const Json::Value& m_whole;
    std::map<int, Step> m_steps;
    std::vector<Table> m_tables{1};  // as described last; the first stands for none
    std::map<std::pair<std::string, std::string>, uint64_t>
        m_ids;                               // their places there, by database and name
    std::map<uint64_t, uint64_t> m_numbers;  // the same by their numbers in the stream
    std::map<std::string, uint64_t>
        m_undoneUntil;  // by database: what was told before that place does not count
    std::map<std::string, std::map<std::string, std::string>>
        m_keys;  // by settings file, as the steps leave them
};

}  // namespace

int ReadWatched(int fd, const WatchScope& scope, const Json::Value& whole, Json::Value& migrations) {
    return Reading(fd, scope, whole).Run(migrations);
}
