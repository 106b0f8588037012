// report: one JSON document for a support case, at most 1 MB, without a row's value and without a secret: what the other
// commands that look tell, the end of the package log, and of each database its tables with the number of their rows,
// its schema, and how its file is made.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <string>
#include <vector>

#include "control/command.h"
#include "control/json.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/local_time.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/files/file_replacement.h"
#include "platform/vgdb/rows.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/restore_mark.h"

std::unique_ptr<Command> MakeStatus();
std::unique_ptr<Command> MakeHistory();
std::unique_ptr<Command> MakeCheck();
std::unique_ptr<Command> MakePlan();

namespace {

// What the whole and its larger parts may take, in bytes; the rest is small by nature, or cut as a whole.
constexpr size_t kMostBytes = 1'000'000;
constexpr size_t kMostHistory = 200'000;
constexpr size_t kMostLog = 100'000;
constexpr size_t kMostSchema = 300'000;
constexpr mode_t kFileMode = 0600;

// --- texts without values -----------------------------------------------------------------------------------

bool IsPlainNumber(std::string_view text) {
    return text.find_first_not_of("0123456789abcdefx.,-") == std::string_view::npos;
}

// A message as far as it holds nothing that stood in a row or a settings file: up to the first statement, quoted text,
// value in brackets, or path outside the package.
std::string WithoutValues(const std::string& message) {
    static constexpr const char* kStatements[] = {"SELECT ", "INSERT ", "UPDATE ", "DELETE ", "REPLACE ",
                                                  "CREATE ", "ALTER ",  "DROP ",   "PRAGMA ", "WITH ",
                                                  "sql: ",   "cmd: ",   "command "};
    size_t end = std::min(message.find('\''), message.find('"'));
    for (const char* statement : kStatements)
        end = std::min(end, message.find(statement));
    for (size_t open = message.find('['); open < end; open = message.find('[', open + 1)) {
        const size_t close = message.find(']', open);
        if (close == std::string::npos || !IsPlainNumber(message.substr(open + 1, close - open - 1)))
            end = open;
    }
    for (size_t slash = message.find(" /"); slash < end; slash = message.find(" /", slash + 1))
        if (message.compare(slash + 1, 22, "/var/packages/Vigilo/e") != 0 &&
            message.compare(slash + 1, 29, kTargetDir) != 0)
            end = slash + 1;
    return end == std::string::npos ? message : message.substr(0, end) + "…";
}

// The reasons of failures are lines of the log.
void RemoveValues(Json::Value& value) {
    if (value.isObject() && value.isMember("reason") && value["reason"].isString())
        value["reason"] = WithoutValues(value["reason"].asString());
    if (value.isObject() || value.isArray())
        for (Json::Value& member : value)
            RemoveValues(member);
}

// The last lines, of which the first may be cut.
Json::Value EndOfLog() {
    Json::Value lines(Json::arrayValue);
    const UniqueFd file(open(ResolvePath(kPackageLog).c_str(), kReadFlags));
    struct stat status {};
    if (!file || fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
        return lines;
    std::string text(std::min(kMostLog, static_cast<size_t>(status.st_size)), '\0');
    const ssize_t size =
        pread(file.Get(), text.data(), text.size(), status.st_size - static_cast<off_t>(text.size()));
    text.resize(size > 0 ? static_cast<size_t>(size) : 0);
    for (const std::string& line : SplitString(text, '\n')) {
        // "TIME vgupgrader:LINE (FUNCTION): MESSAGE"
        const size_t message = line.find("): ");
        if (message != std::string::npos)
            lines.append(line.substr(0, message + 3) + WithoutValues(line.substr(message + 3)));
    }
    return lines;
}

// --- databases ----------------------------------------------------------------------------------------------

std::string QuotedName(const std::string& name) {
    std::string quoted = "\"";
    for (const char byte : name)
        quoted += byte == '"' ? std::string("\"\"") : std::string(1, byte);
    return quoted + '"';
}

// What the first bytes of the file tell, whoever holds it.
void AddHeader(const std::string& path, Json::Value& object) {
    const UniqueFd file(open(path.c_str(), kReadFlags));
    unsigned char header[100] = {};
    if (!file || pread(file.Get(), header, sizeof header, 0) != sizeof header ||
        std::memcmp(header, "SQLite format 3", 16) != 0)
        return;
    static constexpr const char* kEncodings[] = {"UTF-8", "UTF-8", "UTF-16le", "UTF-16be"};
    const unsigned size = header[16] * 256U + header[17];
    object["page_size"] = size == 1 ? 65536 : size;
    object["journal_mode"] = header[18] == 2 ? "wal" : "delete";
    object["encoding"] = kEncodings[header[59] & 3];
}

Json::Value DescribeDatabase(DB_INSTANCE db, size_t& schemaBytes) {
    Json::Value object(Json::objectValue);
    const std::string path = VGDB::GetDBPath(db);
    object["database"] = VGDB::GetDBName(db);
    struct stat status {};
    if (stat(path.c_str(), &status) == 0) {
        object["bytes"] = Json::Int64{status.st_size};
        object["owner"] = std::to_string(status.st_uid) + ':' + std::to_string(status.st_gid);
        object["mode"] = StringPrintf("%04o", status.st_mode & 07777);
        AddHeader(path, object);
    }
    if (const std::string problem = WhyUnreadable(db, VGDB::Probe(db)); !problem.empty()) {
        object["problem"] = problem;
        return object;
    }
    object["tables"] = Json::Value(Json::arrayValue);
    object["schema"] = Json::Value(Json::arrayValue);
    Rows items;
    if (Query(db, "SELECT type, name, sql FROM sqlite_master WHERE sql IS NOT NULL ORDER BY rowid;", items)) {
        object["problem"] = "its schema cannot be read";
        return object;
    }
    while (items.Next()) {
        const std::string sql = items.String("sql");
        if (schemaBytes + sql.size() > kMostSchema) {
            object["left_out"] = true;
            break;
        }
        schemaBytes += sql.size() + 100;
        object["schema"].append(sql);
        if (items.String("type") != "table")
            continue;
        Json::Value& table = object["tables"].append(Json::objectValue);
        table["table"] = items.String("name");
        Rows count;
        if (Query(db, "SELECT count(*) AS n FROM " + QuotedName(items.String("name")) + ';', count) == 0 &&
            count.Next())
            table["rows"] = Json::Int64{count.Int64("n")};
    }
    return object;
}

// --- the whole ----------------------------------------------------------------------------------------------

// What a command tells, or why it cannot.
Json::Value AnswerOf(const std::unique_ptr<Command>& command, const General& general) {
    Outcome outcome = command->Run(general);
    if (outcome.error.empty())
        return std::move(outcome.result);
    Json::Value error(Json::objectValue);
    error["error"] = outcome.error;
    return error;
}

// As many of the first elements as have room.
Json::Value Beginning(const Json::Value& array, size_t most) {
    Json::Value beginning(Json::arrayValue);
    size_t bytes = 0;
    for (const Json::Value& one : array) {
        bytes += JsonDocument(one).size();
        if (bytes > most)
            break;
        beginning.append(one);
    }
    return beginning;
}

std::string HostName() {
    utsname host{};
    return uname(&host) == 0 ? host.nodename : "";
}

// Parts that make it too large go as a whole, the least telling first.
void KeepToSize(Json::Value& report) {
    for (const char* part : {"plan", "check", "databases", "log", "history"})
        if (JsonDocument(report).size() > kMostBytes) {
            report[part] = Json::Value();
            report["left_out"].append(part);
        }
}

class Report : public Command {
public:
    Report()
        : Command("report", "One JSON document for a support case, without values of rows", Access::Reads) {
        m_whileRestoring = true;
        m_options = {{"[FILE]", &m_file, "Write it to this file"}};
    }

    Outcome Run(const General& general) override;
    std::string Print(const Json::Value& result) const override;

private:
    std::string m_file;
};

}  // namespace

Outcome Report::Run(const General& general) {
    Json::Value report(Json::objectValue);
    report["taken"] = LocalTime(std::time(nullptr));
    report["host"] = HostName();
    report["status"] = AnswerOf(MakeStatus(), general);
    report["version"] = report["status"]["version"];
    report["stamp"] = report["status"]["stamp"];
    if (const Json::Value history = AnswerOf(MakeHistory(), general); history.isArray())
        report["history"] = Beginning(history, kMostHistory);
    if (report["status"]["restoring"].isNull()) {  // else the databases are of two times
        report["check"] = AnswerOf(MakeCheck(), general);
        report["plan"] = AnswerOf(MakePlan(), general);
        report["disk"] =
            report["plan"].isMember("disk") ? report["plan"]["disk"] : Json::Value(Json::arrayValue);
    }
    report["log"] = EndOfLog();
    report["databases"] = Json::Value(Json::arrayValue);
    size_t schemaBytes = 0;
    for (int number = 0; number < DB_INSTANCE_COUNT; ++number)
        report["databases"].append(DescribeDatabase(static_cast<DB_INSTANCE>(number), schemaBytes));
    RemoveValues(report);
    KeepToSize(report);
    if (m_file.empty())
        return Outcome::Done(std::move(report));

    std::error_code error;
    const std::string path = std::filesystem::absolute(m_file, error);
    const std::string text = JsonDocument(report) + '\n';
    if (error || ReplaceFile(path, text, kFileMode))
        return Outcome::Refused("Cannot write the report " + m_file);
    Json::Value written(Json::objectValue);
    written["file"] = path;
    written["bytes"] = Json::UInt64{text.size()};
    return Outcome::Done(std::move(written));
}

std::string Report::Print(const Json::Value& result) const {
    if (m_file.empty())
        return JsonDocument(result) + '\n';
    return Paragraph("Written: " + Escaped(result["file"].asString()) + ", " +
                     InBytes(result["bytes"].asUInt64()) + ".");
}

std::unique_ptr<Command> MakeReport() { return std::make_unique<Report>(); }
