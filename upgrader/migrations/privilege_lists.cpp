// Lists of denied objects that no longer exist.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/strings.h"
#include "platform/package/account/priv_rights.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"
#include "upgrader/missing_schema.h"

namespace {

// A kind of objects: their table, and the lists of those that a profile denies.
struct Kind {
    const char* objects;
    const char* profiles;
    std::vector<std::string> lists;
};

const Kind kKinds[] = {
    {"camera", "privilegepercamera", kCamIdColumns},
    {"layout", "privilegeprofile", kLayoutIdColumns},
    {"emap", "privilegeprofile", kEmapIdColumns},
};

int LoadIds(const char* table, IdSet& ids, const LogSite& site) {
    Rows rows;
    if (QuerySql(DB_SYSTEM, StringPrintf("SELECT id FROM %s;", table), rows, kFailedToExecute, site))
        return -1;
    while (rows.Next())
        if (const std::optional<long long> id = rows.Id("id"))
            ids.insert(*id);
    return 0;
}

// The list without the ids above 0 that are not among the existing ones, and then without what is no id either;
// nothing when every id of it exists.
std::optional<std::string> WithoutGone(const std::string& list, const IdSet& existing) {
    std::vector<std::string> parts = SplitString(list, ',');
    const auto isGone = [&existing](const std::string& part) {
        const std::optional<long long> id = ParseId(part);
        return id && *id > 0 && !existing.contains(*id);
    };
    if (std::none_of(parts.begin(), parts.end(), isGone))
        return std::nullopt;
    std::erase_if(parts, [&isGone](const std::string& part) { return !ParseId(part) || isGone(part); });
    return JoinStrings(parts, ",");
}

// Appends what cleans the lists of one kind. Lists that are alike are changed together.
int AppendCleaning(const Kind& kind, std::string& batch, LogSite site = LogSite::Here()) {
    if (const int found = GuardAll({{kind.objects, {"id"}}, {kind.profiles, kind.lists}}, site); found <= 0)
        return found;
    // A table that has just been made does not tell which objects exist.
    if (WasSchemaMissing(DB_SYSTEM, kind.objects, "id", site))
        return 0;
    IdSet existing;
    if (LoadIds(kind.objects, existing, site))
        return -1;

    for (const std::string& column : kind.lists) {
        Rows lists;
        if (QuerySql(DB_SYSTEM,
                     StringPrintf("SELECT DISTINCT CAST(%s AS TEXT) AS list FROM %s;", column.c_str(),
                                  kind.profiles),
                     lists, kFailedToExecute, site))
            return -1;
        while (lists.Next()) {
            const std::string list = lists.String("list");
            if (const std::optional<std::string> rest = WithoutGone(list, existing))
                batch += StringPrintf("UPDATE %s SET %s = %s WHERE CAST(%s AS TEXT) = %s;", kind.profiles,
                                      column.c_str(), VGDB::QuoteEscape(*rest).c_str(), column.c_str(),
                                      VGDB::QuoteEscape(list).c_str());
        }
    }
    return 0;
}

}  // namespace

namespace migrations {

int RemoveNotExistDataInPrivProfile() {
    std::string batch;
    for (const Kind& kind : kKinds)
        if (AppendCleaning(kind, batch))
            return -1;
    return ExecuteSql(DB_SYSTEM, batch);
}

}  // namespace migrations
