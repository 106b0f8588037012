#include "control/rehearse/text_form.h"

#include <utility>

#include "control/rehearse/page.h"
#include "control/text.h"
#include "platform/base/strings.h"

namespace {

constexpr size_t kLongest = 40;     // of a value
constexpr size_t kLongestKey = 24;  // of one that tells a row apart
constexpr size_t kMostColumns = 8;  // of a row that comes or goes

std::string Shortened(const std::string& text, size_t longest) {
    if (WidthOf(text) <= longest)
        return text;
    size_t end = 0;
    for (size_t width = 0; width < longest; ++width)
        do
            ++end;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80);
    return text.substr(0, end) + "… (" + InBytes(text.size()) + ")";
}

std::string Shown(const Json::Value& value, size_t longest = kLongest) {
    return value.isString() ? '\'' + Shortened(value.asString(), longest) + '\'' : ValueInWords(value);
}

std::string Count(const Json::Value& count) {
    return count.asUInt64() == 0 ? "" : std::to_string(count.asUInt64());
}

// The table's first column tells the row apart; what changes follows.
void AddSample(const Json::Value& columns, const Json::Value& sample, TextTable& table) {
    const Json::Value& before = sample["before"];
    const Json::Value& after = sample["after"];
    const Json::Value& row = after.isNull() ? before : after;
    const std::string first = columns.empty() ? "" : columns[0].asString();
    const std::string name = first + '=' + Shown(row[first], kLongestKey);
    if (!before.isNull() && !after.isNull()) {
        std::string what = "~ " + name;
        for (const std::string& column : ShownColumns(columns, sample))
            table.Add({std::exchange(what, ""), column,
                       (before.isMember(column) ? Shown(before[column]) + " -> " : "new: ") +
                           (after.isMember(column) ? Shown(after[column]) : "gone")});
        return;
    }
    std::vector<std::string> fields;
    for (const Json::Value& column : columns)
        if (column != first && row.isMember(column.asString()) && fields.size() < kMostColumns)
            fields.push_back(column.asString() + '=' + Shown(row[column.asString()]));
    const size_t more = row.size() - fields.size() - 1;
    table.Add({(after.isNull() ? "- " : "+ ") + name, "",
               JoinStrings(fields, ", ") + (more > 0 ? ", and " + std::to_string(more) + " more" : "")});
}

std::string PrintDatabase(const Json::Value& database) {
    std::string text = Toned(Tone::Strong, Escaped(database["database"].asString())) + '\n';
    std::vector<std::string> schema;
    for (const Json::Value& change : database["schema"])
        schema.push_back(change.asString());
    if (!schema.empty()) {
        TextTable table({"", ""}, 2);
        std::string title = "schema";
        for (const std::string& names : GroupedByKind(schema, " "))
            table.Add({std::exchange(title, ""), names});
        text += table.ToString();
    }
    if (database["tables"].empty())
        return text;
    TextTable counts({"table", ">new", ">changed", ">gone"}, 2);
    for (const Json::Value& table : database["tables"])
        counts.Add({table["table"].asString(), Count(table["inserted"]), Count(table["updated"]),
                    Count(table["deleted"])});
    text += counts.ToString();
    for (const Json::Value& table : database["tables"]) {
        if (table["samples"].empty())
            continue;
        text += "  " + Toned(Tone::Faint, "some of " + Escaped(table["table"].asString())) + '\n';
        TextTable samples({"", "", ""}, 4);
        for (const Json::Value& sample : table["samples"])
            AddSample(table["columns"], sample, samples);
        text += samples.ToString();
    }
    return text;
}

// A title with a table below it; nothing for an empty table.
std::string Section(const std::string& title, const TextTable& table) {
    return table.IsEmpty() ? "" : Toned(Tone::Strong, title) + '\n' + table.ToString();
}

std::string PrintRows(const std::string& title, const Json::Value& rows) {
    TextTable table({">row", "name"}, 2);
    for (const Json::Value& row : rows)
        table.Add({std::to_string(row["row"].asUInt()), row["name"].asString()});
    return Section(title, table);
}

}  // namespace

std::string RehearsalText(const Json::Value& result) {
    const int status = result["status"].asInt();
    std::string text = "Rehearsed on a copy: upgrade from build " +
                       std::to_string(result["old_build"].asUInt()) +
                       StringPrintf(", %.2f s, ", result["seconds"].asDouble()) +
                       (status == 0 ? Toned(Tone::Good, "it succeeds")
                                    : Toned(Tone::Bad, "it fails with status " + std::to_string(status))) +
                       ". The system was not touched.\n";
    text += PrintRows("Failed", result["failed"]);
    for (const Json::Value& database : result["databases"])
        text += PrintDatabase(database);

    TextTable settings({"key", "change"}, 2);
    for (const Json::Value& change : result["settings"]) {
        const std::string file = change["file"].asString();
        settings.Add({file.substr(file.rfind('/') + 1) + ": " + change["key"].asString(),
                      (change["before"].isNull() ? "new: " : Shown(change["before"]) + " -> ") +
                          (change["after"].isNull() ? "gone" : Shown(change["after"]))});
    }
    text += Section("Settings", settings);

    TextTable files({"change", "file"}, 2);
    for (const Json::Value& file : result["files"])
        files.Add({file["change"].asString(), file["path"].asString()});
    text += Section("Files", files);

    TextTable log({"type", ">item", "parameters"}, 2);
    for (const Json::Value& entry : result["log"])
        log.Add({entry["log_type"].isInt64()
                     ? StringPrintf("0x%08llX", static_cast<unsigned long long>(entry["log_type"].asInt64()))
                     : ValueInWords(entry["log_type"]),
                 ValueInWords(entry["item_id"]), ValueInWords(entry["params"])});
    text += Section("Log entries that the user sees", log);

    TextTable messages({""}, 2);
    for (const Json::Value& message : result["messages"])
        messages.Add({message.asString()});
    text += Section("Package log", messages);
    text += PrintRows("Not rehearsed: they work on files that are not in the copy", result["not_rehearsed"]);
    if (result["kept"].isString())
        text += "Kept: " + Escaped(result["kept"].asString()) + '\n';
    return text;
}
