// The default privilege profiles, and the names of those that belong to a user. Every upgrade looks after
// them.
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include "platform/base/sdk_user.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace {

// 1. Levels of the old numbering, which began with the managers at 0, make room for the admins.
int RenumberLevels(LogSite site = LogSite::Here()) {
    Rows manager;
    if (QuerySql(DB_SYSTEM, "SELECT privilege FROM privilegeprofile WHERE id = 1", manager, kFailedToExecute,
                 site))
        return -1;
    if (!manager.Next() || manager.Int64("privilege") != 0)
        return 0;
    std::string sql = "UPDATE privilegeprofile SET privilege = (privilege + 1);";
    // NULL + 1 is NULL: without a level of its own the profile would have every upgrade shift the others
    // again.
    if (!manager.Text("privilege"))
        sql += "UPDATE privilegeprofile SET privilege = 1 WHERE id = 1 AND privilege IS NULL;";
    return ExecuteSql(DB_SYSTEM, sql, kFailedToExecute, site);
}

// 2. Where there is no admin profile yet, it is created and the two default profiles get their names.
int CreateAdminProfile(LogSite site = LogSite::Here()) {
    Rows admins;
    if (QuerySql(DB_SYSTEM, "SELECT id FROM privilegeprofile WHERE privilege = 0", admins, kFailedToExecute,
                 site))
        return -1;
    if (admins.Next())
        return 0;
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE privilegeprofile SET name = 'All-Object Manager',"
                      " description = 'System default manager' WHERE id = 1;"
                      "UPDATE privilegeprofile SET name = 'All-Object Spectator',"
                      " description = 'System default spectator' WHERE id = 2;"
                      "INSERT INTO privilegeprofile(name, privilege, inacamids, inacamgrpids, allcamdsids,"
                      " custom_uid, description) VALUES ('', 0, '', '', '', 0, 'System default admin');",
                      kFailedToExecute, site);
}

int LoadNames(std::map<long long, std::string>& names, const LogSite& site) {
    Rows profiles;
    if (QuerySql(DB_SYSTEM, "SELECT id, name FROM privilegeprofile;", profiles, kFailedToExecute, site))
        return -1;
    while (profiles.Next())
        names.try_emplace(profiles.Int64("id"), profiles.String("name"));
    return 0;
}

// 3. Per-user profiles are named after their user, who may have been renamed since.
int NameUserProfiles(LogSite site = LogSite::Here()) {
    Rows profiles;
    if (QuerySql(DB_SYSTEM, "SELECT custom_uid, id FROM privilegeprofile;", profiles, kFailedToExecute, site))
        return -1;
    std::map<long long, std::string> names;
    std::string batch;
    while (profiles.Next()) {
        const std::string text = profiles.String("custom_uid");
        const std::optional<long long> id = profiles.Id("id");
        if (text.empty() || text == "0" || !id)
            continue;
        if (names.empty() && LoadNames(names, site))
            return -1;
        // Decimal, hexadecimal or octal; a text that is no number is 0, the uid of root.
        const auto uid = static_cast<unsigned int>(std::strtoul(text.c_str(), nullptr, 0));
        ORVAUSER* user = nullptr;
        const int found = SDKUser::UserGetByUID(uid, user);
        if (found < 0)
            return LogFailure(site, "Failed to look up user %u\n", uid);
        if (found == 0) {
            LogMessage(site, "Cannot get user info from orvasdk: %u\n", uid);
            continue;
        }
        // The name stands as the host gives it, unquoted. Writing the one that is there would only cost a flush.
        if (names[*id] != "custom_" + user->name)
            batch += "UPDATE privilegeprofile SET name = 'custom_" + user->name +
                     "' WHERE id = " + std::to_string(*id) + ";";
        SDKUser::UserFree(user);
    }
    return ExecuteSql(DB_SYSTEM, batch, kFailedToExecute, site);
}

}  // namespace

namespace migrations {

int UpdateDefPrivProfile() {
    if (RenumberLevels() || CreateAdminProfile() || NameUserProfiles())
        return -1;
    return 0;
}

}  // namespace migrations
