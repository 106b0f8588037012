#include "upgrader/history.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "platform/base/append_file.h"
#include "platform/base/json.h"
#include "platform/base/local_time.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/file_io.h"
#include "platform/settings/settings.h"
#include "upgrader/log.h"

namespace {

// Digits of a time that say nothing are left out.
double Rounded(double value, double unit) { return std::round(value / unit) * unit; }

// A line that a killed process or a full disk has cut short stays a line of its own.
bool EndsInsideALine(int fd) {
    struct stat status {};
    char last = '\n';
    return fstat(fd, &status) == 0 && status.st_size > 0 && pread(fd, &last, 1, status.st_size - 1) == 1 &&
           last != '\n';
}

}  // namespace

Json::Value HistoryOf(const Plan& plan, const Runner& runner, const std::optional<std::string>& argument,
                      std::chrono::system_clock::time_point started, double seconds, int status) {
    Json::Value object(Json::objectValue);
    object["started"] = LocalTime(std::chrono::system_clock::to_time_t(started));
    object["seconds"] = Rounded(seconds, 0.001);
    object["version"] = GetVGPkgVersion(true);
    // Migrations of several upgrades may be run again.
    object["old_build"] = argument ? Json::Value(plan.oldBuild) : Json::Value();
    object["argument"] = argument ? Json::Value(*argument) : Json::Value();
    object["resumed"] = argument && plan.resumed;
    object["status"] = status == 0 ? 0 : 255;
    for (const char* array : {"repaired", "not_repaired", "migrations"})
        object[array] = Json::Value(Json::arrayValue);
    for (const auto& [db, words] : runner.Repaired().added) {
        Json::Value& entry = object["repaired"].append(Json::objectValue);
        entry["database"] = VGDB::GetDBName(db);
        for (const std::string& word : words)
            entry["added"].append(word);
    }
    for (const DB_INSTANCE db : runner.Repaired().notRepaired)
        object["not_repaired"].append(VGDB::GetDBName(db));
    for (const MigrationRun& run : runner.Runs()) {
        Json::Value& entry = object["migrations"].append(Json::objectValue);
        entry["row"] = run.migration.number;
        entry["name"] = run.migration.name;
        entry["threshold"] = run.migration.threshold;
        entry["result"] = run.result;
        entry["ms"] = Rounded(run.ms, 0.01);
        entry["changes"] = Json::Int64{run.changes};
        if (run.result < 0)
            entry["reason"] = run.reason;
    }
    return object;
}

int AppendHistory(const Json::Value& object, bool flush) {
    const UniqueFd file(OpenForAppend(kHistory, O_RDWR));
    struct stat status {};
    bool written = file && fstat(file.Get(), &status) == 0;
    if (written && !S_ISREG(status.st_mode)) {
        errno = EINVAL;
        written = false;
    }
    if (written) {
        const std::string line =
            (EndsInsideALine(file.Get()) ? "\n" : "") + JsonWrite(object, true, 15) + '\n';
        written = WriteAll(file.Get(), line) && (!flush || Flush(file.Get()));
    }
    if (!written)
        UPG_LOG("Failed to write %s. [%s]\n", ResolvePath(kHistory).c_str(), std::strerror(errno));
    return written ? 0 : -1;
}

int ReadHistory(std::vector<Json::Value>& objects) {
    objects.clear();
    std::string content;
    if (const int found = ReadWholeFile(ResolvePath(kHistory), content); found <= 0)
        return found;
    for (const std::string& line : SplitString(content, '\n')) {
        Json::Value object;
        if (!line.empty() && JsonParse(line, object) == 0 && object.isObject())
            objects.push_back(std::move(object));
    }
    return 0;
}
