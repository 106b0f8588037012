#include "tools/faults/allowed.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>

#include "tests/support/pattern.h"

namespace {

constexpr const char* kSettingsConf = "var/packages/Vigilo/etc/settings.conf";
constexpr const char* kStampKey = "vg_upgrader_version=";
constexpr const char* kLogCounts = "var/packages/Vigilo/target/@vigilo/log_cnt.db";
constexpr const char* kArchives = "volume1/archives/@";
constexpr const char* kOwnTable = "table vgupgrader";
constexpr const char* kOwnName = "'vgupgrader";
constexpr int kFailed = 255;

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::string ContentOf(const TreeImage& image, const std::string& path) {
    const auto found = image.find(path);
    return found == image.end() ? std::string() : found->second.content;
}

std::string WithNewLinesSorted(const std::string& text, const std::string& before) {
    const std::vector<std::string> old = Lines(before);
    std::multiset<std::string> known(old.begin(), old.end());
    std::string kept;
    std::multiset<std::string> added;
    for (const std::string& line : Lines(text)) {
        if (const auto found = known.find(line); found != known.end()) {
            known.erase(found);
            kept += line + '\n';
        } else {
            added.insert(line);
        }
    }
    for (const std::string& line : added)
        kept += line + '\n';
    return kept;
}

// A row begins with its id: "id=5, log_type=...".
void SortWithoutId(std::vector<std::string>& rows) {
    for (std::string& row : rows)
        row.erase(0, row.find(", "));
    std::sort(rows.begin(), rows.end());
}

// Profiles that were made in another order have other ids: what belongs to one is told by its name and kind. A row of
// a profile begins "id=10, name='', privilege=-2, custom_uid=", one of its rights "privprofile_id=10, ".
void NameProfiles(std::map<std::string, std::vector<std::string>>& tables) {
    std::map<std::string, std::string> names;
    for (const std::string& row : tables["table privilegeprofile"]) {
        const size_t id = row.find('=') + 1, name = row.find(", ");
        names[row.substr(id, name - id)] = row.substr(name, row.find(", custom_uid=") - name);
    }
    for (const char* const rights : {"table privilegepercamera", "table privilegeperdoor"}) {
        for (std::string& row : tables[rights]) {
            const size_t id = row.find('=') + 1, end = row.find(", ");
            row.replace(id, end - id, names[row.substr(id, end - id)]);
        }
        std::sort(tables[rights].begin(), tables[rights].end());
    }
    SortWithoutId(tables["table privilegeprofile"]);
}

void WithoutRows(std::vector<std::string>& rows, const char* pattern) {
    const Pattern which(pattern);
    std::erase_if(rows, [&](const std::string& row) { return which.IsIn(row); });
}

bool IsJournal(const std::string& path) {
    static const Pattern journal("-(journal|wal|shm|mj[0-9A-F]+)$");
    return journal.IsIn(path);
}

bool IsTemporary(const std::string& path) {
    static const Pattern temporary("\\.vg[a-z]+(-[0-9]+)?$|\\.te?mp|~$");
    return IsJournal(path) || temporary.IsIn(path);
}

TreeImage WithoutJournals(TreeImage image) {
    std::erase_if(image, [](const auto& entry) { return IsJournal(entry.first); });
    return image;
}

bool IsTable(const std::string& name) { return name.starts_with("table "); }

// The rows of a database that are the user's.
FileImage UsersPart(const TreeImage& image, const std::string& path) {
    const auto found = image.find(path);
    FileImage part = found == image.end() ? FileImage() : found->second;
    std::erase_if(part.tables, [](const auto& table) {
        return !IsTable(table.first) || table.first.starts_with(kOwnTable);
    });
    return part;
}

}  // namespace

bool IsExcluded(std::string_view path) { return path == kPackageLog || path == kHistory; }

bool IsTimeOfRun(const std::string& table, std::string_view column) {
    return (table == "log" && column == "log_time") ||
           ((table == "logcnt" || table == "logeventcnt") && column == "day");
}

TreeImage Comparable(TreeImage image, const TreeImage& start) {
    if (const auto settings = image.find(kSettingsConf); settings != image.end())
        settings->second.content =
            WithNewLinesSorted(settings->second.content, ContentOf(start, kSettingsConf));
    return image;
}

std::vector<std::string> DifferencesAfterFailure(const Bench& bench, const TreeImage& got,
                                                 const Messages& log) {
    const auto failed = [&](const std::string& rows) {
        const Pattern inLastLine(" failed.*\\] " + rows);
        return std::any_of(log.begin(), log.end(),
                           [&](const std::string& message) { return inLastLine.IsIn(message); });
    };
    const bool rightsCameLate = failed("Update[A-Za-z]*Priv");
    const bool listsCameLate = failed("UpdatePrivilegeProfile");
    const bool filterCameLate = failed("UpdateIntercomRexNotificationSettings");
    const bool modelWasRenamed = failed("RemoveGrandstreamMjpeg");
    const auto comparable = [&](const TreeImage& image) {
        TreeImage changed = Comparable(image, bench.StartImage());
        SortWithoutId(changed[kLogDatabase].tables["table log"]);
        auto& tables = changed[kMainDatabase].tables;
        // Three migrations are marked as done also when they failed, or could not ask whether they are.
        WithoutRows(tables["table notificationevent"], "event_type=(5|109),");
        WithoutRows(tables["table notificationschedule"], "event_type=(59|60),");
        // Rows of the registry go on after one that has failed: the labels were given their colours before they were
        // made, and the admin profile was there before the operation strings, or before the none profile.
        WithoutRows(tables["table eventlabelsetting"], "event_type=4, source=0,");
        NameProfiles(tables);
        WithoutRows(tables["table privilegeprofile"], "System default admin");
        // The operation strings were made before a right was, or the levels had their new numbers by then.
        static const Pattern operations("ina_adv_oper(ator='[01]*'|=-?[0-9]+)");
        if (rightsCameLate)
            for (std::string& row : tables["table privilegeprofile"])
                row = operations.ReplaceIn(row, "");
        // The rights to cameras were made from the lists, and cameras are told by a model that has another name since.
        if (listsCameLate)
            tables.erase("table privilegepercamera");
        if (modelWasRenamed)
            WithoutRows(tables["table camera"], "GXV3662");
        // An event's filter comes to its table once, whether it was set by then or not.
        if (filterCameLate)
            WithoutRows(tables["table notificationevent"], "event_type=70,");
        std::sort(tables["table notificationevent"].begin(), tables["table notificationevent"].end());
        std::erase_if(changed[kLogCounts].tables, [](const auto& table) { return IsTable(table.first); });
        return changed;
    };
    TreeImage expected = comparable(bench.First().image);
    const TreeImage twice = comparable(bench.Twice().image);
    const TreeImage image = comparable(got);
    for (auto& [path, file] : expected) {
        const auto again = twice.find(path);
        const auto found = image.find(path);
        if (again == twice.end() || found == image.end())
            continue;
        if (found->second.content == again->second.content)
            file.content = again->second.content;
        for (auto& [name, rows] : file.tables) {
            const auto more = again->second.tables.find(name);
            const auto is = found->second.tables.find(name);
            if (more != again->second.tables.end() && is != found->second.tables.end() &&
                more->second == is->second)
                rows = more->second;
        }
    }
    return Differences(expected, image);
}

std::string LeftBehind(const TreeImage& start, const TreeImage& end) {
    for (const auto& [path, file] : end) {
        if (!start.contains(path) && IsTemporary(path))
            return path;
        for (const auto& [table, rows] : file.tables) {
            if (table.starts_with(kOwnTable))
                return path + " " + table;
        }
    }
    return "";
}

const Outcome& ExpectedAfter(const Bench& bench, const TreeImage& left) {
    if (Differences(bench.StartImage(), WithoutJournals(left)).empty())
        return bench.Alone();
    const FileImage before = UsersPart(bench.StartImage(), kMainDatabase);
    return UsersPart(left, kMainDatabase).tables == before.tables ? bench.Whole() : bench.After();
}

void CheckTold(const Bench& bench, const ProcessEnd& end, const std::filesystem::path& tree,
               std::vector<std::string>& problems) {
    if (end.how != ProcessEnd::How::Exited || (end.code != 0 && end.code != kFailed)) {
        problems.push_back("the run with the fault " + ToText(end));
        return;
    }
    const Messages log = ReadLog(tree);
    // What has failed in an upgrade that was undone is run again.
    const auto walk = std::find_if(log.rbegin(), log.rend(), [](const std::string& message) {
                          return message.find("is undone, and walked once more") != std::string::npos;
                      }).base();
    const bool toldFailure = Tells({walk, log.end()}, "update failed, ver [");
    if (toldFailure && end.code == 0)
        problems.push_back("the run with the fault logged a failed migration and " + ToText(end));

    const std::multiset<std::string> usual(bench.Log().begin(), bench.Log().end());
    const bool toldMore = std::any_of(log.begin(), log.end(),
                                      [&](const std::string& message) { return !usual.contains(message); });
    if (toldMore)
        return;
    if (end.code != 0)
        problems.push_back("the run with the fault " + ToText(end) + " and logged nothing");
    const auto comparable = [&](const TreeImage& image) { return Comparable(image, bench.StartImage()); };
    for (const std::string& difference :
         Differences(comparable(bench.First().image), comparable(ReadTree(tree))))
        problems.push_back("the run with the fault logged nothing, but " + difference);
}

void CheckStamp(const Bench& bench, const TreeImage& image, std::vector<std::string>& problems) {
    const auto stampOf = [](const TreeImage& tree) {
        const std::vector<std::string> lines = Lines(ContentOf(tree, kSettingsConf));
        const auto stamp = std::find_if(lines.begin(), lines.end(),
                                        [](const std::string& line) { return line.starts_with(kStampKey); });
        return stamp == lines.end() ? std::string("none") : *stamp;
    };
    if (stampOf(image) != stampOf(bench.First().image))
        problems.push_back("after a moment's failure the stamp is " + stampOf(image));
}

bool TellsDamage(std::string_view message, const std::string& database) {
    return message.find(database) != std::string_view::npos &&
           (message.find("malformed") != std::string_view::npos ||
            message.find("not a database") != std::string_view::npos ||
            message.find("Damaged") != std::string_view::npos);
}

TreeImage WithoutUnasked(TreeImage image, const Messages& log) {
    if (Tells(log, "settings.conf, skip."))
        WithoutRows(image[kMainDatabase].tables["table notificationevent"], "event_type=109,");
    return image;
}

TreeImage WithoutDamaged(TreeImage image, const std::string& database) {
    static const std::map<std::string, std::vector<std::string>> counts = {
        {"log.db", {"log_cnt.db"}}, {"recording.db", {"recording_cnt.db"}}};
    const std::string name = database.substr(database.rfind('/') + 1);
    image.erase(database);
    // Rows that fail for the damage are noted.
    FileImage& main = image[kMainDatabase];
    std::erase_if(main.tables, [](const auto& table) { return table.first.starts_with(kOwnTable); });
    std::erase_if(main.tables["schema"],
                  [](const std::string& row) { return row.find(kOwnName) != std::string::npos; });
    if (name == "archive.db")  // its rows tell the folder's files, and follow its new name
        std::erase_if(image, [](const auto& entry) { return entry.first.starts_with(kArchives); });
    if (name == "pos.db") {  // its rows tell the cameras' streams
        main.tables.erase("table camera");
        image[kLogDatabase].tables.erase("table log");
    }
    if (const auto made = counts.find(name); made != counts.end()) {
        for (const std::string& count : made->second)
            image.erase(database.substr(0, database.size() - name.size()) + count);
    }
    if (database != kMainDatabase)
        return image;
    std::erase_if(image, [](const auto& entry) { return !entry.second.isDatabase; });
    for (auto& [path, file] : image)
        std::erase_if(file.tables, [](const auto& table) { return IsTable(table.first); });
    return image;
}
