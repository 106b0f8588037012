// check: the integrity of the 17 databases, their schema against the schema files, and the settings files. What is
// there beyond what the schema asks for is no problem.
#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "control/command.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/settings/key_value_text.h"
#include "platform/vgdb/schema_compare.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/dataaccess/sql.h"

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kSettingsFolder = "/var/packages/Vigilo/etc";

using Problems = std::vector<std::string>;

Json::Value ToJson(const char* kind, const std::string& name, const Problems& problems) {
    Json::Value object(Json::objectValue);
    object[kind] = name;
    object["ok"] = problems.empty();
    object["problems"] = Json::Value(Json::arrayValue);
    for (const std::string& problem : problems)
        object["problems"].append(problem);
    return object;
}

// --- databases ----------------------------------------------------------------------------------------------

// SQLite's own findings, one a line.
void CheckIntegrity(DB_INSTANCE db, const char* pragma, Problems& problems) {
    Rows findings;
    if (QuerySql(db, std::string("PRAGMA ") + pragma + ';', findings, "Failed to execute sql: %s\n")) {
        problems.emplace_back("is damaged, and cannot be read to its end");
        return;
    }
    while (findings.Next()) {
        const std::string finding = findings.String(pragma);
        if (finding == "ok")
            continue;
        for (const std::string& line : SplitString(finding, '\n'))
            if (!line.empty())
                problems.push_back(line);
    }
}

void CheckSchema(DB_INSTANCE db, Problems& problems) {
    const std::string path = VGDB::GetDBPath(db);
    const std::string schema = VGDB::GetSqlFile(path);
    VGDB::SchemaDifferences differences;
    if (VGDB::CompareSchema(path, schema, differences)) {
        problems.push_back("cannot be compared with its schema file " + schema);
        return;
    }
    const struct {
        const char* words;
        const Problems& names;
    } kinds[] = {{"missing table: ", differences.tables},
                 {"missing column: ", differences.columns},
                 {"missing table, cannot be added: ", differences.tablesNotAddable},
                 {"missing column, cannot be added: ", differences.columnsNotAddable},
                 {"missing index: ", differences.indexes},
                 {"missing index, cannot be made: ", differences.indexesLeftOut},
                 {"type that differs: ", differences.typesThatDiffer}};
    for (const auto& [words, names] : kinds)
        for (const std::string& name : names)
            problems.push_back(words + name);
}

Problems CheckDatabase(DB_INSTANCE db, const char* pragma) {
    if (const std::string why = WhyUnreadable(db, VGDB::Probe(db)); !why.empty())
        return {why};
    Problems problems;
    CheckIntegrity(db, pragma, problems);
    CheckSchema(db, problems);
    return problems;
}

// --- settings -----------------------------------------------------------------------------------------------

// The settings files by the package's paths, in the order of their names.
std::vector<std::string> SettingsFiles(Problems& problems) {
    std::vector<std::string> files;
    const std::string folder = ResolvePath(kSettingsFolder);
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
        if (entry->path().extension() == ".conf")
            files.push_back(std::string(kSettingsFolder) + '/' + entry->path().filename().string());
    if (error)
        problems.push_back("cannot be listed: " + error.message());
    std::sort(files.begin(), files.end());
    files.emplace_back(kVariableConf);
    return files;
}

// The problems of a file; false when there is no such file.
bool CheckSettings(const std::string& file, Problems& problems) {
    std::string content;
    const int found = ReadWholeFile(ResolvePath(file), content);
    if (found < 0)
        problems.emplace_back("cannot be read");
    else
        for (const LineProblem& problem : FindLineProblems(content))
            problems.push_back(InWords(problem));
    return found != 0;
}

Json::Value CheckAllSettings() {
    Json::Value result(Json::arrayValue);
    Problems listing;
    for (const std::string& file : SettingsFiles(listing))
        if (Problems problems; CheckSettings(file, problems))
            result.append(ToJson("file", file, problems));
    if (!listing.empty())
        result.append(ToJson("file", std::string(kSettingsFolder), listing));
    return result;
}

bool HasProblems(const Json::Value& checked) {
    return std::any_of(checked.begin(), checked.end(),
                       [](const Json::Value& one) { return !one["ok"].asBool(); });
}

std::string PrintPart(const Json::Value& checked, const char* kind) {
    TextTable table({"", ""});
    for (const Json::Value& one : checked) {
        std::string name = one[kind].asString();
        if (one["ok"].asBool())
            table.Add({name, {"ok", Tone::Good}});
        Problems problems;
        for (const Json::Value& problem : one["problems"])
            problems.push_back(problem.asString());
        for (const std::string& text : GroupedByKind(problems, ": "))
            table.Add({std::exchange(name, ""), {text, Tone::Bad}});
    }
    return table.ToString();
}

class Check : public Command {
public:
    Check()
        : Command("check", "Integrity and schema of the databases, and the settings files", Access::Reads) {
        m_options = {{"--full", &m_full, "Read every index too (PRAGMA integrity_check)"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    bool m_full = false;
};

}  // namespace

Outcome Check::Run(const General& /*general*/) {
    const char* const pragma = m_full ? "integrity_check" : "quick_check";
    Json::Value result(Json::objectValue);
    result["databases"] = Json::Value(Json::arrayValue);
    for (int number = 0; number < DB_INSTANCE_COUNT; ++number) {
        const auto db = static_cast<DB_INSTANCE>(number);
        SetProgressLine(
            StringPrintf("[%d/%d] %s", number + 1, DB_INSTANCE_COUNT, VGDB::GetDBName(db).c_str()));
        result["databases"].append(ToJson("database", VGDB::GetDBName(db), CheckDatabase(db, pragma)));
    }
    SetProgressLine("");
    result["settings"] = CheckAllSettings();
    const bool hasProblems = HasProblems(result["databases"]) || HasProblems(result["settings"]);
    return Outcome::Done(std::move(result), hasProblems);
}

std::string Check::Print(const Json::Value& result) const {
    return PrintPart(result["databases"], "database") + PrintPart(result["settings"], "file");
}

std::unique_ptr<Command> MakeCheck() { return std::make_unique<Check>(); }
