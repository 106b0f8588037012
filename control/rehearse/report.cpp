#include "control/rehearse/report.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

#include "control/rehearse/difference.h"
#include "platform/base/strings.h"

namespace {

constexpr size_t kLongest = 36;      // of a value
constexpr size_t kLongestName = 32;  // of one that tells a row apart
constexpr size_t kMostColumns = 12;  // of a row
constexpr size_t kMostLines = 40;    // of files, owners, entries and messages

// "NULL", a text in quotes, a blob by its first bytes.
std::string InWords(const Json::Value& value) {
    constexpr size_t kShown = 32;
    if (value.isNull())
        return "NULL";
    if (value.isString())
        return '\'' + value.asString() + '\'';
    if (!value.isObject())
        return value.asString();
    const std::string hex = value["blob"].asString();
    return "x'" + hex.substr(0, kShown) + (hex.size() > kShown ? "…" : "") + "' (" + InBytes(hex.size() / 2) +
           ")";
}

std::string Plain(const Json::Value& value) { return value.isString() ? value.asString() : InWords(value); }

// A log text's number as the log writes it.
std::string LogType(const Json::Value& type) {
    return type.isInt64() ? StringPrintf("0x%08llX", static_cast<unsigned long long>(type.asInt64()))
                          : InWords(type);
}

std::string Count(const Json::Value& count) {
    return count.asUInt64() == 0 ? "" : std::to_string(count.asUInt64());
}

class Report {
public:
    Report(const Json::Value& result, bool full) : m_result(result), m_full(full) {}

    Document OfRehearsal();
    Document OfDiff();

private:
    // "before -> after", with what differs marked; `none` stands for a side that is not there.
    DocumentCell Change(const Json::Value* before, const Json::Value* after) const {
        if (!before || !after)
            return DocumentCell::Value({{before ? "gone: " : "new: "},
                                        {m_full ? InWords(before ? *before : *after)
                                                : Shortened(InWords(before ? *before : *after), kLongest),
                                         before ? Mark::Was : Mark::Is}});
        auto [was, is] = Difference(InWords(*before), InWords(*after), !m_full);
        was.push_back({" -> "});
        was.insert(was.end(), is.begin(), is.end());
        return DocumentCell::Value(std::move(was));
    }

    // --- rows ---

    // What tells the row apart: its key, and a name.
    std::vector<std::string> NamingColumns(const Json::Value& table, const Json::Value& row) const {
        std::vector<std::string> names;
        for (const Json::Value& column : table["key"])
            if (row.isMember(column.asString()))
                names.push_back(column.asString());
        if (names.empty() && !table["columns"].empty())
            names.push_back(table["columns"][0].asString());
        for (const char* name : {"name", "title", "label", "subject", "username", "text"})
            if (row.isMember(name) && std::find(names.begin(), names.end(), name) == names.end()) {
                names.emplace_back(name);
                break;
            }
        return names;
    }

    void AddSample(const Json::Value& table, const Json::Value& sample, Block& rows) const {
        const Json::Value& before = sample["before"];
        const Json::Value& after = sample["after"];
        const Json::Value& row = after.isNull() ? before : after;
        const bool changes = !before.isNull() && !after.isNull();
        const std::vector<std::string> naming = NamingColumns(table, row);
        std::vector<std::string> named;
        for (const std::string& column : naming)
            named.push_back(column + '=' + Shortened(Plain(row[column]), kLongestName));
        DocumentCell what((changes ? "~ " : after.isNull() ? "- " : "+ ") + JoinStrings(named, ", "));

        std::vector<std::string> columns;
        for (const Json::Value& column : changes  ? sample["changed"]
                                         : m_full ? table["columns"]
                                                  : Json::Value())
            columns.push_back(column.asString());
        const size_t shown = m_full ? columns.size() : std::min(columns.size(), kMostColumns);
        for (size_t i = 0; i < shown; ++i) {
            const std::string& column = columns[i];
            const auto side = [&](const Json::Value& one) {
                return one.isObject() && one.isMember(column) ? &one[column] : nullptr;
            };
            rows.rows.push_back({std::exchange(what, ""), column, Change(side(before), side(after))});
        }
        const size_t others = (changes ? columns.size() : row.size() - naming.size()) - shown;
        if (shown == 0 || (changes && others > 0))
            rows.rows.push_back({std::exchange(what, ""), "",
                                 others == 0 ? "" : "and " + Counted(others, "column", "columns")});
    }

    Block Samples(const Json::Value& table) const {
        Block rows = Block::Table({"row", "column", "change"});
        for (const Json::Value& sample : table["samples"])
            AddSample(table, sample, rows);
        return rows;
    }

    Block SchemaOf(const Json::Value& database) const {
        std::vector<std::string> changes;
        std::set<std::string> withRows, alone;
        for (const Json::Value& table : database["tables"])
            withRows.insert(table["table"].asString());
        for (const Json::Value& change : database["schema"]) {
            changes.push_back(change.asString());
            const std::string name = changes.back().substr(changes.back().find(' ') + 1);
            if (changes.back().substr(1, 6) == "index ")
                continue;
            if (const std::string table = name.substr(0, name.find('.')); !withRows.contains(table))
                alone.insert(table);
        }
        if (changes.empty())
            return {};
        Block list = Block::Table({""});
        for (const std::string& names : GroupedByKind(changes, " "))
            list.rows.push_back({names});
        std::string others;
        for (const std::string& table : alone)
            others += (others.empty() ? "; no row of " : ", ") + table;
        return Block::Part({"schema", Counted(changes.size(), "change", "changes") + others},
                           {std::move(list)});
    }

    std::string CountsOf(const Json::Value& table) const {
        std::vector<std::string> counts;
        for (const auto& [member, words] :
             {std::pair("inserted", " new"), std::pair("updated", " changed"), std::pair("deleted", " gone")})
            if (table[member].asUInt64() > 0)
                counts.push_back(Count(table[member]) + words);
        return JoinStrings(counts, ", ");
    }

    Block Databases(const Json::Value& databases, bool opens) const {
        Block section = Block::Section("In all");
        for (const Json::Value& database : databases) {
            Block inside = Block::Section(database["database"].asString());
            for (const Json::Value& table : database["tables"]) {
                Block part = Block::Part({table["table"].asString(), CountsOf(table)}, {Samples(table)});
                part.opensInText = opens;
                inside.inside.push_back(std::move(part));
            }
            inside.Add(SchemaOf(database));
            section.Add(std::move(inside));
        }
        return section;
    }

    // --- settings, files, entries ---

    // So many lines as are to be shown, and how many there are more.
    Block Lines(const std::string& title, std::vector<std::string> columns, std::vector<DocumentRow> rows,
                size_t all = 0) const {
        Block table = Block::Table(std::move(columns));
        const size_t shown = m_full ? rows.size() : std::min(rows.size(), kMostLines);
        const size_t more = std::max(all, rows.size()) - shown;
        rows.resize(shown, {});
        table.rows = std::move(rows);
        Block section = Block::Section(title);
        section.Add(std::move(table));
        if (more > 0)
            section.Add(Block::Paragraph("and " + std::to_string(more) + " more"));
        return section;
    }

    Block Settings(const Json::Value& settings) const {
        std::vector<DocumentRow> rows;
        for (const Json::Value& change : settings) {
            const std::string file = change["file"].asString();
            const auto side = [&](const char* member) {
                return change[member].isNull() ? nullptr : &change[member];
            };
            rows.push_back({file.substr(file.rfind('/') + 1), change["key"].asString(),
                            Change(side("before"), side("after"))});
        }
        Block section = Lines("Settings", {"file", "key", "change"}, {});
        if (rows.empty())
            return section;
        Block table = Block::Table({"file", "key", "change"});
        table.rows = std::move(rows);
        section.Add(std::move(table));
        return section;
    }

    Block Files(const Json::Value& files) const {
        std::vector<DocumentRow> rows;
        for (const Json::Value& file : files)
            rows.push_back({file["change"].asString(), file["path"].asString()});
        return Lines("Files", {"change", "file"}, std::move(rows));
    }

    // Files with the same change stand together.
    Block Owners(const Json::Value& owners) const {
        std::map<std::string, std::vector<std::string>> paths;
        for (const Json::Value& owner : owners)
            paths[owner["before"].asString() + " -> " + owner["after"].asString()].push_back(
                owner["path"].asString());
        std::vector<DocumentRow> rows;
        for (const auto& [change, files] : paths)
            rows.push_back({change, JoinStrings(files, " ")});
        return Lines("Owners and modes", {"change", "files"}, std::move(rows));
    }

    Block Entries(const Json::Value& object) const {
        std::vector<DocumentRow> rows;
        uint64_t all = 0;
        Block counts = Block::Table({"type", ">entries"});
        for (const Json::Value& count : object["log_counts"]) {
            counts.rows.push_back({LogType(count["log_type"]), Count(count["entries"])});
            all += count["entries"].asUInt64();
        }
        for (const Json::Value& entry : object["log"])
            rows.push_back({LogType(entry["log_type"]), Plain(entry["item_id"]), Plain(entry["params"])});
        Block section =
            Lines("Log entries that the user sees", {"type", ">item", "parameters"}, std::move(rows), all);
        if (object["log_counts"].size() > 1)
            section.Add(std::move(counts));
        return section;
    }

    // --- migrations ---

    std::string InShort(const Json::Value& migration) const {
        std::vector<std::string> parts;
        if (migration["result"].asInt() < 0)
            parts.emplace_back("failed");
        uint64_t schema = 0, entries = 0;
        for (const Json::Value& database : migration["databases"]) {
            for (const Json::Value& table : database["tables"])
                parts.push_back(table["table"].asString() + ": " + CountsOf(table));
            schema += database["schema"].size();
        }
        if (schema > 0)
            parts.push_back(Counted(schema, "change", "changes") + " of the schema");
        for (const Json::Value& count : migration["log_counts"])
            entries += count["entries"].asUInt64();
        for (const auto& [number, one, many] :
             {std::tuple(uint64_t{migration["settings"].size()}, "key", "keys"),
              std::tuple(entries, "log entry", "log entries"),
              std::tuple(uint64_t{migration["files"].size()}, "file", "files"),
              std::tuple(uint64_t{migration["owners"].size()}, "owner", "owners")})
            if (number > 0)
                parts.push_back(Counted(number, one, many));
        return JoinStrings(parts, "; ");
    }

    Block Migrations() const {
        Block section = Block::Section("By migration");
        if (m_result["migrations"].isNull())
            section.Add(Block::Paragraph("What each migration did could not be watched.", Tone::Bad));
        for (const Json::Value& migration : m_result["migrations"]) {
            std::vector<Block> inside;
            inside.push_back(Block::Paragraph(migration["concerns"].asString(), Tone::Faint));
            for (const Json::Value& database : migration["databases"]) {
                for (const Json::Value& table : database["tables"])
                    inside.push_back(Block::Section(database["database"].asString() + ' ' +
                                                        table["table"].asString() + ": " + CountsOf(table),
                                                    {Samples(table)}));
                if (Block schema = SchemaOf(database); !schema.IsEmpty())
                    inside.push_back(std::move(schema));
            }
            for (Block block : {Settings(migration["settings"]), Files(migration["files"]),
                                Owners(migration["owners"]), Entries(migration)})
                if (!block.IsEmpty())
                    inside.push_back(std::move(block));
            Block part =
                Block::Part({migration["row"].isNull() ? "" : std::to_string(migration["row"].asInt()),
                             {migration["name"].asString(), Tone::Strong},
                             {InShort(migration), migration["result"].asInt() < 0 ? Tone::Bad : Tone::Plain}},
                            std::move(inside));
            part.opensInText = m_full || m_narrow;
            section.inside.push_back(std::move(part));
        }
        return section;
    }

    Block List(const std::string& title, const Json::Value& migrations) const {
        Block table = Block::Table({">row", "name"});
        for (const Json::Value& one : migrations)
            table.rows.push_back({Plain(one["row"]), Plain(one["name"])});
        Block section = Block::Section(title);
        section.Add(std::move(table));
        return section;
    }

    uint64_t SumOf(const char* member) const {
        uint64_t sum = 0;
        for (const Json::Value& database : m_result["databases"])
            for (const Json::Value& table : database["tables"])
                sum += table[member].asUInt64();
        return sum;
    }

    // "12 rows new, 3 changed, 0 gone; 4 keys"
    std::string Totals() const {
        uint64_t entries = 0;
        for (const Json::Value& count : m_result["log_counts"])
            entries += count["entries"].asUInt64();
        return Counted(SumOf("inserted"), "row new, ", "rows new, ") + std::to_string(SumOf("updated")) +
               " changed, " + std::to_string(SumOf("deleted")) + " gone; " +
               Counted(m_result["settings"].size(), "key", "keys") + "; " +
               Counted(m_result["owners"].size(), "owner", "owners") + "; " +
               Counted(entries, "log entry", "log entries");
    }

    void AddWhole(Block& body) const {
        body.Add(Databases(m_result["databases"], true));
        body.Add(Settings(m_result["settings"]));
        body.Add(Owners(m_result["owners"]));
        body.Add(Files(m_result["files"]));
        body.Add(Entries(m_result));
    }

    const Json::Value& m_result;
    bool m_full;
    bool m_narrow = false;
};

Document Report::OfRehearsal() {
    m_narrow = m_result["narrowed"].isObject();
    const int status = m_result["status"].asInt();
    Document document;
    document.title =
        "Upgrade from build " + std::to_string(m_result["old_build"].asUInt()) + ", rehearsed on a copy";
    const size_t outside = m_result["not_rehearsed"].size();
    std::string outcome = status == 0 ? "It succeeds"
                                      : "It fails with status " + std::to_string(status) + ": " +
                                            Counted(m_result["failed"].size(), "migration", "migrations");
    if (outside > 0)
        outcome += ", as far as rehearsed: " +
                   (outside == 1 ? "1 migration works" : std::to_string(outside) + " migrations work") +
                   " on files outside the copy";
    document.body.Add(
        Block::Paragraph(outcome + ". The system was not touched.", status == 0 ? Tone::Good : Tone::Bad));
    document.facts = {
        {"host", Plain(m_result["host"])},
        {"taken", Plain(m_result["taken"])},
        {"data of", m_result["stamp"].isNull() ? "an unknown version" : Plain(m_result["stamp"])},
        {"upgraded to", m_result["version"].isNull() ? "an unknown version" : Plain(m_result["version"])},
        {"took", StringPrintf("%.2f s", m_result["seconds"].asDouble())},
        {"changes", Totals()}};
    if (m_result["from"].isString())
        document.facts.insert(document.facts.begin(), {"snapshot", m_result["from"].asString()});
    document.body.Add(List("Failed", m_result["failed"]));
    document.body.Add(Migrations());
    AddWhole(document.body);
    std::vector<DocumentRow> messages;
    for (const Json::Value& message : m_result["messages"])
        messages.push_back({message.asString()});
    document.body.Add(Lines("Package log", {""}, std::move(messages)));
    document.body.Add(List("Not rehearsed: they work on files outside the copy", m_result["not_rehearsed"]));
    if (m_result["kept"].isString())
        document.body.Add(Block::Paragraph("Kept: " + m_result["kept"].asString()));
    return document;
}

Document Report::OfDiff() {
    const auto named = [](const Json::Value& snapshot) {
        return snapshot.isNull()
                   ? std::string("the system as it stands")
                   : "snapshot " + Plain(snapshot["name"]) + ", taken " + Plain(snapshot["taken"]);
    };
    Document document;
    document.title = "From " + named(m_result["from"]) + " to " + named(m_result["to"]);
    document.facts = {{"changes", Totals()}};
    AddWhole(document.body);
    if (document.body.IsEmpty())
        document.body.Add(Block::Paragraph("Nothing differs."));
    return document;
}

}  // namespace

Document RehearsalReport(const Json::Value& result, bool full) { return Report(result, full).OfRehearsal(); }

Document DiffReport(const Json::Value& result, bool full) { return Report(result, full).OfDiff(); }
