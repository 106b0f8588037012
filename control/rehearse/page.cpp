#include "control/rehearse/page.h"

#include <algorithm>

#include "control/text.h"
#include "platform/base/strings.h"

namespace {

constexpr const char* kHead = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<meta name="color-scheme" content="light dark">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'; img-src data:">
<link rel="icon" href="data:,">
<title>Rehearsed upgrade</title>
<style>
:root { --ink: #1d2329; --faint: #5b6671; --paper: #fff; --panel: #f4f6f8; --line: #d5dbe1;
        --good: #14713a; --bad: #b3261e; --was: #fdeceb; --is: #e7f5ec; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e3e7eb; --faint: #9aa5b0; --paper: #14181c; --panel: #1d2329; --line: #37414b;
          --good: #6fd196; --bad: #ff9b92; --was: #3a2321; --is: #1b3325; }
}
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 1rem; max-width: 72rem; color: var(--ink); background: var(--paper);
       font: 16px/1.45 system-ui, sans-serif; overflow-wrap: anywhere; }
h1 { font-size: 1.5rem; margin: .5rem 0; }
h2 { font-size: 1.15rem; margin: 2rem 0 .5rem; padding-top: .75rem; border-top: 1px solid var(--line); }
h3 { font-size: 1rem; margin: 1.25rem 0 .4rem; }
.good { color: var(--good); } .bad { color: var(--bad); } .faint { color: var(--faint); }
dl { display: grid; grid-template-columns: repeat(auto-fit, minmax(8.5rem, 1fr)); gap: .6rem; margin: 1rem 0; }
dl div { padding: .6rem .75rem; border-radius: .4rem; background: var(--panel); }
dt { color: var(--faint); font-size: .85rem; } dd { margin: 0; font-size: 1.2rem; font-weight: 600; }
.scroll { overflow-x: auto; border: 1px solid var(--line); border-radius: .4rem; margin: .5rem 0; }
table { border-collapse: collapse; width: 100%; overflow-wrap: normal; }
th, td { padding: .35rem .6rem; text-align: left; vertical-align: top; border-bottom: 1px solid var(--line); }
tr:last-child > * { border-bottom: 0; }
thead th { background: var(--panel); font-weight: 600; white-space: nowrap; }
tbody th { font-weight: 400; white-space: nowrap; }
td.n, th.n { text-align: right; font-variant-numeric: tabular-nums; }
td.v { font: .85rem/1.4 ui-monospace, monospace; white-space: pre-wrap; overflow-wrap: anywhere; min-width: 9rem; }
td.was { background: var(--was); } td.is { background: var(--is); }
details { margin: .4rem 0; } summary { cursor: pointer; color: var(--faint); }
ul.log { padding-left: 1.1rem; font: .85rem/1.5 ui-monospace, monospace; }
</style>
</head>
<body>
)";

// Text between tags and in attributes. Characters that are not to be seen stand as escapes.
std::string Html(const std::string& text) {
    std::string html;
    for (const char c : Escaped(text)) {
        switch (c) {
            case '&':
                html += "&amp;";
                break;
            case '<':
                html += "&lt;";
                break;
            case '>':
                html += "&gt;";
                break;
            case '"':
                html += "&quot;";
                break;
            default:
                html += c;
        }
    }
    return html;
}

std::string Html(const Json::Value& value) { return Html(ValueInWords(value)); }

std::string Number(const Json::Value& count) {
    return "<td class=n>" + (count.asUInt64() == 0 ? std::string() : std::to_string(count.asUInt64())) +
           "</td>";
}

std::string Fact(const std::string& name, const std::string& value, const char* tone = "") {
    return "<div><dt>" + name + "</dt><dd class=\"" + tone + "\">" + value + "</dd></div>\n";
}

// One with its rows; nothing without.
std::string TableOf(const std::string& titles, const std::string& rows) {
    if (rows.empty())
        return "";
    return "<div class=scroll tabindex=0><table><thead><tr>" + titles + "</tr></thead><tbody>\n" + rows +
           "</tbody></table></div>\n";
}

std::string Section(const std::string& title, const std::string& content) {
    return content.empty() ? "" : "<h2>" + title + "</h2>\n" + content;
}

uint64_t SumOf(const Json::Value& databases, const char* member) {
    uint64_t sum = 0;
    for (const Json::Value& database : databases)
        for (const Json::Value& table : database["tables"])
            sum += table[member].asUInt64();
    return sum;
}

// Of a row that may not be there, or lack the column.
std::string Cell(const Json::Value& row, const std::string& column, const char* tone) {
    const bool isThere = row.isObject() && row.isMember(column);
    return std::string("<td class=\"v ") + (isThere ? tone : "") + "\">" +
           (isThere ? Html(row[column]) : "") + "</td>";
}

std::string SampleRows(const std::vector<std::string>& columns, const Json::Value& sample, bool marked) {
    std::string rows;
    for (const std::string& column : columns)
        rows += "<tr><th scope=row>" + Html(column) + "</th>" +
                Cell(sample["before"], column, marked ? "was" : "") +
                Cell(sample["after"], column, marked ? "is" : "") + "</tr>\n";
    return rows;
}

std::string Sample(const Json::Value& columns, const Json::Value& sample) {
    constexpr const char* kTitles = "<th>column</th><th>before</th><th>after</th>";
    const Json::Value& row = sample["after"].isNull() ? sample["before"] : sample["after"];
    const std::string key = columns.empty() ? "" : columns[0].asString();
    const char* const what = sample["before"].isNull()  ? "new"
                             : sample["after"].isNull() ? "gone"
                                                        : "changed";
    const std::vector<std::string> changed = ShownColumns(columns, sample);
    std::vector<std::string> others;
    for (const Json::Value& column : columns)
        if (std::find(changed.begin(), changed.end(), column.asString()) == changed.end())
            others.push_back(column.asString());
    std::string html = "<h3>" + Html(key) + " = " + Html(row[key]) + " <span class=faint>" + what +
                       "</span></h3>\n" + TableOf(kTitles, SampleRows(changed, sample, true));
    if (!others.empty())
        html += "<details><summary>" +
                Counted(others.size(), "column stays as it was", "columns stay as they were") + "</summary>" +
                TableOf(kTitles, SampleRows(others, sample, false)) + "</details>\n";
    return html;
}

std::string Database(const Json::Value& database) {
    std::string counts, samples, schema;
    for (const Json::Value& table : database["tables"]) {
        counts += "<tr><th scope=row>" + Html(table["table"]) + "</th>" + Number(table["inserted"]) +
                  Number(table["updated"]) + Number(table["deleted"]) + "</tr>\n";
        std::string some;
        for (const Json::Value& sample : table["samples"])
            some += Sample(table["columns"], sample);
        if (!some.empty())
            samples +=
                "<details><summary>Some of " + Html(table["table"]) + "</summary>\n" + some + "</details>\n";
    }
    for (const Json::Value& change : database["schema"])
        schema += "<li>" + Html(change) + "</li>\n";
    if (!schema.empty())
        schema = "<details><summary>" + Counted(database["schema"].size(), "change", "changes") +
                 " of the schema</summary><ul class=log>\n" + schema + "</ul></details>\n";
    return TableOf("<th>table</th><th class=n>new</th><th class=n>changed</th><th class=n>gone</th>",
                   counts) +
           samples + schema;
}

std::string RowList(const Json::Value& rows) {
    std::string html;
    for (const Json::Value& row : rows)
        html += "<tr><td class=n>" + Html(row["row"]) + "</td><th scope=row>" + Html(row["name"]) +
                "</th></tr>\n";
    return TableOf("<th class=n>row</th><th>name</th>", html);
}

}  // namespace

std::string ValueInWords(const Json::Value& value) {
    constexpr size_t kShown = 32;
    if (value.isNull())
        return "NULL";
    if (!value.isObject())
        return value.asString();
    const std::string hex = value["blob"].asString();
    return "x'" + hex.substr(0, kShown) + (hex.size() > kShown ? "…" : "") + "' (" + InBytes(hex.size() / 2) +
           ")";
}

std::vector<std::string> ShownColumns(const Json::Value& columns, const Json::Value& sample) {
    const bool isUpdate = !sample["before"].isNull() && !sample["after"].isNull();
    std::vector<std::string> shown;
    for (const Json::Value& column : isUpdate ? sample["changed"] : columns)
        shown.push_back(column.asString());
    return shown;
}

std::string RehearsePage(const Json::Value& result) {
    const int status = result["status"].asInt();
    const Json::Value& databases = result["databases"];
    std::string html = kHead;
    html +=
        "<h1>Upgrade from build " + std::to_string(result["old_build"].asUInt()) +
        ", rehearsed</h1>\n<p class=\"" +
        (status == 0 ? "good\">It succeeds." : "bad\">It fails with status " + std::to_string(status) + ".") +
        "</p>\n<p class=faint>It ran on a copy; the system was not touched.</p>\n<dl>\n";
    html += Fact("seconds", StringPrintf("%.2f", result["seconds"].asDouble()));
    html += Fact("rows new", std::to_string(SumOf(databases, "inserted")));
    html += Fact("rows changed", std::to_string(SumOf(databases, "updated")));
    html += Fact("rows gone", std::to_string(SumOf(databases, "deleted")));
    html += Fact("settings", std::to_string(result["settings"].size()));
    html += Fact("log entries", std::to_string(result["log"].size()));
    html +=
        Fact("rows failed", std::to_string(result["failed"].size()), result["failed"].empty() ? "" : "bad");
    html += "</dl>\n";

    html += Section("Failed migrations", RowList(result["failed"]));
    for (const Json::Value& database : databases)
        html += Section(Html(database["database"]), Database(database));

    std::string rows;
    for (const Json::Value& change : result["settings"]) {
        const std::string file = change["file"].asString();
        rows += "<tr><th scope=row>" + Html(file.substr(file.rfind('/') + 1)) + "</th><th>" +
                Html(change["key"]) + "</th>" +
                (change["before"].isNull() ? "<td></td>" : Cell(change, "before", "was")) +
                (change["after"].isNull() ? "<td></td>" : Cell(change, "after", "is")) + "</tr>\n";
    }
    html += Section("Settings", TableOf("<th>file</th><th>key</th><th>before</th><th>after</th>", rows));
    rows.clear();
    for (const Json::Value& file : result["files"])
        rows += "<tr><th scope=row>" + Html(file["change"]) + "</th><td class=v>" + Html(file["path"]) +
                "</td></tr>\n";
    html += Section("Files", TableOf("<th>change</th><th>file</th>", rows));
    rows.clear();
    for (const Json::Value& entry : result["log"])
        rows += "<tr><td class=n>" + Html(entry["log_type"]) + "</td><td class=n>" + Html(entry["item_id"]) +
                "</td><td class=v>" + Html(entry["params"]) + "</td></tr>\n";
    html += Section("Log entries that the user sees",
                    TableOf("<th class=n>type</th><th class=n>item</th><th>parameters</th>", rows));
    rows.clear();
    for (const Json::Value& message : result["messages"])
        rows += "<li>" + Html(message) + "</li>\n";
    html += Section("Package log", rows.empty() ? "" : "<ul class=log>\n" + rows + "</ul>\n");
    html += Section("Not rehearsed", result["not_rehearsed"].empty()
                                         ? ""
                                         : "<p>These work on files that are not in the copy.</p>\n" +
                                               RowList(result["not_rehearsed"]));
    return html + "</body>\n</html>\n";
}
