// Lists of denied objects that no longer exist.
#include <initializer_list>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "platform/base/strings.h"
#include "platform/package/account/priv_rights.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"
#include "upgrader/missing_schema.h"

namespace {

constexpr const char* kFailedToExecute = "Failed to execute sql: %s\n";

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

int LoadIds(const char* table, std::set<int>& ids, const LogSite& site) {
    QueryResult rows;
    if (QuerySql(DB_SYSTEM, StringPrintf("SELECT id FROM %s;", table), rows, kFailedToExecute, site))
        return -1;
    while (rows.Next())
        ids.insert(rows.Int("id"));
    return 0;
}

// The list without the ids above 0 that are not among the existing ones, all else as it stands; nothing when
// it has no such id.
std::optional<std::string> WithoutGone(const std::string& list, const std::set<int>& existing) {
    std::vector<std::string> parts = SplitString(list, ',');
    const size_t gone = std::erase_if(parts, [&existing](const std::string& part) {
        const std::set<int> id = String2IdSet(part);
        return !id.empty() && *id.begin() > 0 && !existing.contains(*id.begin());
    });
    return gone > 0 ? std::optional(JoinStrings(parts, ",")) : std::nullopt;
}

// Appends what cleans the lists of one kind. Lists that are alike are changed together.
int AppendCleaning(const Kind& kind, std::string& batch, LogSite site = LogSite::Here()) {
    for (const auto& [table, columns] :
         {std::pair(kind.objects, std::vector<std::string>{"id"}), std::pair(kind.profiles, kind.lists)})
        if (const int found = Guard(DB_SYSTEM, table, columns, site); found <= 0)
            return found;
    // A table that has just been made does not tell which objects exist.
    if (WasSchemaMissing(DB_SYSTEM, kind.objects, "id", site))
        return 0;
    std::set<int> existing;
    if (LoadIds(kind.objects, existing, site))
        return -1;

    for (const std::string& column : kind.lists) {
        QueryResult lists;
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
    return batch.empty() ? 0 : ExecuteSql(DB_SYSTEM, batch, kFailedToExecute);
}

}  // namespace migrations
