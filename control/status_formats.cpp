#include "control/status_formats.h"

#include <algorithm>
#include <cmath>
#include <ctime>
#include <optional>

#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/strings.h"

namespace {

// Seconds since 1970 of a time as the history has it, "2026-11-21T19:07:12+01:00".
std::optional<double> Seconds(const std::string& text) {
    tm time{};
    const char* const end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S%z", &time);
    if (!end || *end != '\0')
        return std::nullopt;
    const long east = time.tm_gmtoff;  // timegm does not look at it, and sets it
    return static_cast<double>(timegm(&time) - east);
}

// What the history tells about upgrades and retries; restores are none.
struct Runs {
    const Json::Value* last = nullptr;
    std::optional<double> lastEnd, lastSuccess;
};

Runs RunsOf(const std::vector<Json::Value>& history) {
    Runs runs;
    for (auto object = history.rbegin(); object != history.rend() && !runs.lastSuccess; ++object) {
        if (!RestoredOf(*object).empty() || !(*object)["status"].isInt())
            continue;
        const auto started = Seconds(TextOf(*object, "started"));
        const double seconds = (*object)["seconds"].isNumeric() ? (*object)["seconds"].asDouble() : 0;
        const auto end = started ? std::optional(std::floor(*started + seconds)) : std::nullopt;
        if (!runs.last) {
            runs.last = &*object;
            runs.lastEnd = end;
        }
        if ((*object)["status"] == 0)
            runs.lastSuccess = end;
    }
    return runs;
}

// Whether the record of the main database could be read: failures, owed effects and interruptions stand there.
bool IsRecordKnown(const Json::Value& status) {
    return status["main_database"] == "usable" || status["main_database"] == "missing";
}

std::string Label(const std::string& value) {
    std::string text;
    for (const char byte : Escaped(value)) {
        if (byte == '\\' || byte == '"')
            text += '\\';
        text += byte;
    }
    return text;
}

// A bar ends the text for people.
std::string BeforeTheBar(const std::string& text) {
    std::string line = Escaped(text);
    std::replace(line.begin(), line.end(), '|', '/');
    return line;
}

std::string Number(double value) { return StringPrintf("%.15g", value); }

}  // namespace

std::string PrometheusText(const Json::Value& status, const std::vector<Json::Value>& history) {
    std::string text;
    const auto add = [&text](const char* name, const char* help, const std::string& labels, double value) {
        text += StringPrintf("# HELP %s %s\n# TYPE %s gauge\n", name, help, name) + name + labels + ' ' +
                Number(value) + '\n';
    };
    const auto addCount = [&add](const char* name, const char* help, double value) {
        add(name, help, "", value);
    };
    add("vgupgrader_info", "Version of the program, and the one that the data are stamped with.",
        "{version=\"" + Label(TextOf(status, "version")) + "\",stamp=\"" + Label(TextOf(status, "stamp")) +
            "\"}",
        1);
    addCount("vgupgrader_due", "Whether an upgrade is due.", status["due"].asBool());
    addCount("vgupgrader_running", "Whether an upgrade, a retry, a snapshot or a restore runs.",
             !status["running"].isNull());
    addCount("vgupgrader_restoring", "Whether a restore is not finished.", status["restoring"].isString());
    if (IsRecordKnown(status)) {
        addCount("vgupgrader_interrupted", "Whether an upgrade was interrupted.",
                 status["interrupted"].isObject());
        addCount("vgupgrader_failed_migrations", "Migrations that failed and have not succeeded since.",
                 status["failed"].size());
        addCount("vgupgrader_owed_effects", "Settings keys and log entries that are still to be written.",
                 status["owed"].asDouble());
    }
    const Runs runs = RunsOf(history);
    if (runs.lastEnd)
        addCount("vgupgrader_last_run_timestamp_seconds", "When the last upgrade or retry ended.",
                 *runs.lastEnd);
    if (runs.lastSuccess)
        addCount("vgupgrader_last_success_timestamp_seconds",
                 "When the last one in which nothing failed ended.", *runs.lastSuccess);
    if (runs.last) {
        if ((*runs.last)["seconds"].isNumeric())
            addCount("vgupgrader_last_duration_seconds", "How long the last upgrade or retry took.",
                     (*runs.last)["seconds"].asDouble());
        addCount("vgupgrader_last_exit_status", "Exit status of the last upgrade or retry.",
                 (*runs.last)["status"].asInt());
    }
    return text;
}

PluginResult PluginLine(const Json::Value& status, const std::vector<Json::Value>& history, unsigned warn) {
    static constexpr const char* kStates[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};
    const Runs runs = RunsOf(history);
    const bool isRunning = !status["running"].isNull();
    const double seconds =
        status["running"]["seconds"].isNumeric() ? status["running"]["seconds"].asDouble() : 0;
    const unsigned failed = status["failed"].size();
    const auto owed = status["owed"].isNumeric() ? status["owed"].asUInt64() : 0;
    int state = 0;
    std::string text;
    // The worst state holds; what is said is all that has it or a milder one.
    const auto sayIf = [&](bool is, int itsState, const std::string& what) {
        if (is) {
            state = std::max(state, itsState);
            text += (text.empty() ? "" : ", ") + what;
        }
    };
    if (isRunning) {  // then nothing else is a problem
        sayIf(true, seconds > warn ? 1 : 0, StringPrintf("runs for %.0f s", seconds));
    } else if (status["restoring"].isString()) {
        sayIf(true, 2, "the restore of snapshot " + TextOf(status, "restoring") + " is not finished");
    } else if (!IsRecordKnown(status)) {
        sayIf(true, status["main_database"] == "damaged" ? 2 : 3,
              "the main database is " + TextOf(status, "main_database"));
    } else {
        const bool lastFailed = runs.last && (*runs.last)["status"] != 0;
        sayIf(status["interrupted"].isObject(), 2, "an upgrade was interrupted");
        sayIf(failed > 0, 2, Counted(failed, "failed migration", "failed migrations"));
        sayIf(owed > 0, 2, Counted(owed, "owed effect", "owed effects"));
        sayIf(lastFailed && failed == 0 && owed == 0, 2, "the last upgrade failed");
        sayIf(status["due"].asBool(), 1, "an upgrade is due");
        sayIf(status["newer"].asBool(), 1,
              "the data are of " + TextOf(status, "stamp") + ", newer than this program");
        sayIf(!status["not_repaired"].empty(), 1,
              Counted(status["not_repaired"].size(), "database", "databases") + " not repaired");
    }
    if (text.empty())
        text = runs.last ? "nothing failed, " + TextOf(status, "version") : "no upgrade is noted";
    if (state > 0 && status["next"].isString())
        text += "; " + TextOf(status, "next");
    text = std::string("VGUPGRADER ") + kStates[state] + " - " + BeforeTheBar(text);
    text +=
        StringPrintf(" | due=%d running=%.0fs;%u failed=%u;;0 owed=%llu;;0", status["due"].asBool() ? 1 : 0,
                     seconds, warn, failed, static_cast<unsigned long long>(owed));
    if (runs.last && (*runs.last)["seconds"].isNumeric())
        text += " last=" + Number((*runs.last)["seconds"].asDouble()) + 's';
    return {state, text + '\n'};
}

PluginResult PluginError(const std::string& error) {
    return {3, "VGUPGRADER UNKNOWN - " + BeforeTheBar(error) + '\n'};
}
