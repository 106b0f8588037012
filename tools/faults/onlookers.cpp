// What other programs may see while an upgrade stands still at a call: the truth, at once, and no change.
#include <sqlite3.h>

#include "tools/faults/registry.h"
#include "tools/faults/trial.h"

namespace {

constexpr double kLongestWait = 0.1;  // seconds
constexpr int kPatience = 5000;       // of a service, in milliseconds
constexpr const char* kStamp = "vg_upgrader_version=";

std::string StampOf(const std::string& settings) {
    const size_t at = settings.find(kStamp);
    return at == std::string::npos ? "" : settings.substr(at, settings.find('\n', at) - at);
}

// What each command must say while the process works. Each gives what is wrong, null when nothing is.
const char* CheckStatus(const Trial& trial, const Json::Value& status, int pid) {
    const Json::Value& running = status["running"];
    if ((running.isObject() ? running["pid"] : running) != pid)
        return "it does not name the process that works";
    if (!status["interrupted"].isNull() || !status["failed"].empty() || !status["next"].isNull() ||
        !status["restoring"].isNull())
        return "it tells a problem while an upgrade works";
    if (StampOf(ReadFile(trial.tree / kSettingsConf)).find(status["stamp"].asString()) == std::string::npos)
        return "it tells another stamp";
    return nullptr;
}

const char* CheckCheck(const Trial&, const Json::Value& check, int) {
    const std::string text = check.toStyledString();
    for (const char* const damage : {"malformed", "not a database", "corrupt", "integrity"})
        if (text.find(damage) != std::string::npos)
            return "it tells damage";
    return check["databases"].size() == 17 ? nullptr : "it does not tell all databases";
}

const char* CheckPlan(const Trial& trial, const Json::Value& plan, int) {
    if (plan.isMember("error"))
        return plan["error"].asString().find(" is held by ") == std::string::npos ? "it does not answer"
                                                                                  : nullptr;
    return std::to_string(plan["old_build"].asUInt()) == trial.base.Commands().first.arguments.front()
               ? nullptr
               : "it plans from another build";
}

const char* CheckMigrations(const Trial&, const Json::Value& migrations, int) {
    return migrations.size() == AllMigrations().size() ? nullptr : "it does not tell all migrations";
}

const char* CheckArray(const Trial&, const Json::Value& array, int) {
    return array.isArray() ? nullptr : "no array";
}

struct Look {
    std::vector<std::string> arguments;
    const char* (*check)(const Trial& trial, const Json::Value& document, int pid);
};

int Work(const std::filesystem::path& database, const char* sql) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr);
    sqlite3_busy_timeout(db, kPatience);
    const int code = sqlite3_exec(db, sql, nullptr, nullptr, nullptr);
    sqlite3_close_v2(db);
    return code;
}

}  // namespace

void Onlookers::Come(int pid) {
    const std::string build = m_trial.base.Commands().first.arguments.front();
    const Look looks[] = {{{"status"}, CheckStatus},   {{"plan", build}, CheckPlan},
                          {{"check"}, CheckCheck},     {{"history"}, CheckArray},
                          {{"snapshots"}, CheckArray}, {{"migrations"}, CheckMigrations}};
    for (const Look& look : looks) {
        Command command{"vgupgradectl", look.arguments};
        command.arguments.insert(command.arguments.begin(), "--json");
        const Ran ran = m_trial.Do(command, {Mode::Trace});
        const auto problem = [&](const std::string& text) {
            m_trial.Problem(look.arguments[0] + ": " + text);
        };
        for (const TracedCall& call : Counted(ran.calls))
            problem("changes a file: " + call.text);
        if (ran.waited > kLongestWait)
            problem("waits for " + std::to_string(ran.waited) + " s");
        const Json::Value document = Parse(ran.output);
        if (document.isNull())
            problem("gives no document, and " + ToText(ran.end));
        else if (const char* const wrong = look.check(m_trial, document, pid))
            problem(wrong + (": " + ran.output.substr(0, 400)));
    }
    const auto serve = [&](const char* sql, int& code) {
        return std::jthread(
            [database = m_trial.tree / kMainDatabase, sql, &code] { code = Work(database, sql); });
    };
    m_reader = serve("SELECT count(*) FROM camera", m_read);
    m_writer = serve("INSERT INTO service VALUES('between')", m_wrote);
}

void Onlookers::Leave() {
    if (!m_reader.joinable())
        return;
    m_reader.join();
    m_writer.join();
    if (m_read != SQLITE_OK || m_wrote != SQLITE_OK)
        m_trial.Problem("a service got " + std::to_string(m_read) + " and " + std::to_string(m_wrote));
    // So that the end is that of the undisturbed upgrade.
    if (Work(m_trial.tree / kMainDatabase, "DELETE FROM service") != SQLITE_OK)
        m_trial.Problem("the row of the service does not go");
}
