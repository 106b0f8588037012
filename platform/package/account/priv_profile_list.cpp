// Privilege profiles as a whole.
#include "platform/base/strings.h"
#include "platform/package/account/priv_profile.h"
#include "platform/vgdb/vgdb.h"

std::list<PrivProfile> PrivProfileListGetAll(const PrivProfileFilterRule& rule) {
    std::list<PrivProfile> profiles;
    if (PrivProfile::LoadList(rule, profiles))
        profiles.clear();
    return profiles;
}

int BatchUpdatePrivProfile(std::list<PrivProfile>& profiles) {
    std::string sql;
    for (const PrivProfile& profile : profiles)
        sql += profile.GetUpdateSql();
    return VGDB::Execute(DB_SYSTEM, sql) == 0 ? 0 : -1;
}

int SetWebMapAccessToAllPrivProfile(bool grant) {
    std::list<PrivProfile> profiles;
    if (PrivProfile::LoadList({}, profiles))
        return -1;
    const int fixedLevel = grant ? PRIV_LEVEL_NONE : PRIV_LEVEL_ADMIN;
    profiles.remove_if(
        [fixedLevel](const PrivProfile& profile) { return profile.GetPrivilege() == fixedLevel; });
    for (PrivProfile& profile : profiles)
        profile.SetOperAccess(AdvOper::kWebMap, grant);
    return BatchUpdatePrivProfile(profiles);
}

int GetDefAdminProfileId() {
    // Profiles 1 and 2 are the default manager and spectator whatever their level says. Where users have
    // profiles of the admin level too, the description tells the default one.
    std::string id = "-1";
    if (VGDB::LoadFirstFieldFromDB(DB_SYSTEM,
                                   "SELECT id FROM privilegeprofile WHERE privilege = 0 AND id > 2"
                                   " ORDER BY description = 'System default admin' DESC, id LIMIT 1;",
                                   id))
        return -1;
    return String2Int(id.c_str());
}
