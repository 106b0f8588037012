// Privilege profiles, their id lists and the accounts bound to them.
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/base/strings.h"
#include "platform/package/account/priv_profile.h"
#include "platform/package/account/priv_rights.h"
#include "upgrader/dataaccess/column_values.h"
#include "upgrader/dataaccess/guard.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"
#include "upgrader/missing_schema.h"

namespace {

// Every object of the system that a profile can deny: id lists, as SQL literals.
struct ExistingObjects {
    std::string cameras, cameraGroups, ioModules, servers, emaps, layouts, speakers, speakerGroups, doors;
};

// The ids in the table; none when there is no such table. A table without ids leaves open what it holds.
int LoadIds(DB_INSTANCE db, const char* table, std::string& idList, LogSite site = LogSite::Here()) {
    idList = VGDB::QuoteEscape("");
    if (const int found = Guard(db, table, {}, site); found <= 0)
        return found;
    const int hasIds = Guard(db, table, {"id"}, site);
    if (hasIds <= 0)
        return hasIds < 0 ? -1
                          : LogFailure(site, "Failed to tell what table %s holds, which has no id\n", table);
    Rows rows;
    if (QuerySql(db, StringPrintf("SELECT group_concat(id) AS ids FROM %s;", table), rows, kFailedToExecute,
                 site))
        return -1;
    if (rows.Next())
        idList = VGDB::QuoteEscape(JoinStrings(String2IdSet(rows.String("ids")), ","));
    return 0;
}

int LoadExistingObjects(ExistingObjects& objects, const LogSite& site) {
    const struct {
        DB_INSTANCE db;
        const char* table;
        std::string& idList;
    } kinds[] = {
        {DB_SYSTEM, "camera", objects.cameras},      {DB_SYSTEM, "cameragroup", objects.cameraGroups},
        {DB_SYSTEM, "iomodule", objects.ioModules},  {DB_SYSTEM, "slaveds", objects.servers},
        {DB_SYSTEM, "emap", objects.emaps},          {DB_SYSTEM, "layout", objects.layouts},
        {DB_SYSTEM, "ipspeaker", objects.speakers},  {DB_SYSTEM, "ipspeakergroup", objects.speakerGroups},
        {DB_AXISACSCTRL, "axisdoor", objects.doors},
    };
    for (const auto& [db, table, idList] : kinds)
        if (LoadIds(db, table, idList, site))
            return -1;
    return 0;
}

// The row of the profile of level -2, for users who may use nothing: every existing object is denied by its id, so that
// the profile holds on this server too, which no list of recording servers names.
ColumnValues NoneProfile(const ExistingObjects& objects) {
    // Every layout type, as bits: whatever types there are, none has the sign's bit.
    static const std::string kAllLayoutTypes = "2147483647";
    // The servers are denied one by one, by their ids.
    static const std::string kNotAllServers = "0";
    static const std::string kEveryOperationOfTheMask = "-1";

    ColumnValues profile;
    profile.Add("name", "''");
    profile.Add("privilege", "-2");
    profile.Add("description", "''");
    profile.Add("custom_uid", "0");
    profile.Add("inacamids", objects.cameras);
    profile.Add("inacamgrpids", objects.cameraGroups);
    profile.Add("allcamdsids", objects.servers);
    profile.Add("ina_adv_oper", kEveryOperationOfTheMask);
    profile.Add("ina_adv_operator", VGDB::QuoteEscape(std::string(PrivProfile::kLongAdvOperLength, '1')));
    profile.Add(kEmapIdColumns, objects.emaps);
    profile.Add(kEmapServerColumns, objects.servers);
    profile.Add(kLayoutIdColumns, objects.layouts);
    profile.Add(kLayoutTypeColumns, kAllLayoutTypes);
    profile.Add("ina_iomodule_ids", objects.ioModules);
    profile.Add("all_iomodule_ds_ids", objects.servers);
    profile.Add("ina_server_ids", objects.servers);
    profile.Add("all_server_avail", kNotAllServers);
    profile.Add("ina_ipspeaker_ids", objects.speakers);
    profile.Add("ina_ipspeaker_grp_ids", objects.speakerGroups);
    profile.Add("all_ipspeaker_ds_ids", objects.servers);
    return profile;
}

// With its rows in the tables by object. Where one of the tables lacks a column, nothing: a profile that is closed only
// in part must not come to be; each upgrade tries again.
int InsertNoneProfile(const ExistingObjects& objects, const LogSite& site) {
    static const std::string kNewId = "(SELECT id FROM privilegeprofile WHERE privilege = -2)";
    const ColumnValues profile = NoneProfile(objects);
    ColumnValues cameraRights;
    cameraRights.Add("privprofile_id", kNewId);
    cameraRights.Add(kCamIdColumns, objects.cameras);
    cameraRights.Add(kCamGroupColumns, objects.cameraGroups);
    cameraRights.Add(kCamServerColumns, objects.servers);
    ColumnValues doorRights;
    doorRights.Add("privprofile_id", kNewId);
    doorRights.Add(kDoorIdColumns, objects.doors);
    doorRights.Add(kDoorServerColumns, objects.servers);
    if (const int found = GuardAll({{"privilegeprofile", profile.GetColumns()},
                                    {"privilegepercamera", cameraRights.GetColumns()},
                                    {"privilegeperdoor", doorRights.GetColumns()}},
                                   site);
        found <= 0)
        return found;
    // The new id may be one that a deleted profile had, whose rows by object are still there.
    return ExecuteSql(DB_SYSTEM,
                      profile.InsertSql("privilegeprofile") +
                          "DELETE FROM privilegepercamera WHERE privprofile_id = " + kNewId + ";" +
                          cameraRights.InsertSql("privilegepercamera") +
                          "DELETE FROM privilegeperdoor WHERE privprofile_id = " + kNewId + ";" +
                          doorRights.InsertSql("privilegeperdoor"),
                      kFailedToExecute, site);
}

int MakeNoneProfile(LogSite site = LogSite::Here()) {
    if (const int found = Guard(DB_SYSTEM, "privilegeprofile", {"id", "privilege"}, site); found <= 0)
        return found;
    Rows existing;
    if (QuerySql(DB_SYSTEM, "SELECT id FROM privilegeprofile WHERE privilege = -2;", existing,
                 kFailedToExecute, site))
        return -1;
    if (existing.Next())
        return 0;
    ExistingObjects objects;
    return LoadExistingObjects(objects, site) ? -1 : InsertNoneProfile(objects, site);
}

constexpr long long kEveryCamera = -1;

struct Denied {
    IdSet cameras, servers;
};

// What the rows by recording server deny, by profile.
int LoadDeniedByServer(std::map<long long, Denied>& deniedByProfile, const LogSite& site) {
    const int knowsServers = Guard(DB_SYSTEM, "slaveds", {"id"}, site);
    if (knowsServers < 0)
        return -1;
    // Rows of servers that were removed are left out, where the servers are known; 0 is this one.
    std::string query = "SELECT privprofileid, dsid, inacamids FROM privilegeprofilecam";
    if (knowsServers > 0 && !WasSchemaMissing(DB_SYSTEM, "slaveds", "*", site))
        query += " WHERE IFNULL(dsid, 0) IN (SELECT 0 UNION ALL SELECT id FROM slaveds)";
    Rows servers;
    if (QuerySql(DB_SYSTEM, query + ";", servers, kFailedToExecute, site))
        return -1;
    while (servers.Next()) {
        const std::optional<long long> profile = servers.Id("privprofileid");
        if (!profile)
            continue;
        Denied& denied = deniedByProfile[*profile];
        IdSet cameras = String2IdSet(servers.String("inacamids"));
        if (cameras.erase(kEveryCamera) > 0)
            denied.servers.insert(servers.Int64("dsid"));
        denied.cameras.merge(cameras);
    }
    return 0;
}

}  // namespace

namespace migrations {

// The lists by recording server become one list of cameras and one of servers.
int UpdatePrivilegeProfile() {
    if (const int found = GuardAll({{"privilegeprofilecam", {"privprofileid", "dsid", "inacamids"}},
                                    {"privilegeprofile", {"id", "inacamids", "allcamdsids"}}});
        found <= 0)
        return found;
    std::map<long long, Denied> deniedByProfile;
    if (LoadDeniedByServer(deniedByProfile, LogSite::Here()))
        return -1;
    Rows profiles;
    if (QuerySql(DB_SYSTEM, "SELECT id, inacamids, allcamdsids FROM privilegeprofile;", profiles))
        return -1;
    std::string batch;
    while (profiles.Next()) {
        const std::optional<long long> id = profiles.Id("id");
        const auto denied = id ? deniedByProfile.find(*id) : deniedByProfile.end();
        if (denied == deniedByProfile.end())
            continue;
        auto& [cameras, wholeServers] = denied->second;
        cameras.merge(String2IdSet(profiles.String("inacamids")));
        cameras.erase(kEveryCamera);
        wholeServers.merge(String2IdSet(profiles.String("allcamdsids")));
        const std::string cameraList = JoinStrings(cameras, ",");
        const std::string serverList = JoinStrings(wholeServers, ",");
        if (cameraList != profiles.String("inacamids") || serverList != profiles.String("allcamdsids"))
            batch += "UPDATE privilegeprofile SET inacamids = " + VGDB::QuoteEscape(cameraList) +
                     ", allcamdsids = " + VGDB::QuoteEscape(serverList) +
                     " WHERE id = " + std::to_string(*id) + ";";
    }
    return ExecuteSql(DB_SYSTEM, batch);
}

// Rights to cameras are told apart. A profile starts with what it was denied before in each right, so that
// nobody gains access.
int UpdatePrivProfileAndPrivPerCam() {
    if (const int found = GuardAll({{"privilegeprofile", {"id", "inacamids", "inacamgrpids", "allcamdsids"}},
                                    {"privilegepercamera", {"privprofile_id"}},
                                    {"privilegepercamera", kCamIdColumns},
                                    {"privilegepercamera", kCamGroupColumns},
                                    {"privilegepercamera", kCamServerColumns}});
        found <= 0)
        return found;

    Rows profiles;
    if (QuerySql(DB_SYSTEM,
                 "SELECT id, inacamids, inacamgrpids, allcamdsids FROM privilegeprofile"
                 " WHERE id NOT IN (SELECT privprofile_id FROM privilegepercamera"
                 " WHERE privprofile_id IS NOT NULL);",
                 profiles))
        return -1;
    std::string batch;
    while (profiles.Next()) {
        const std::optional<long long> id = profiles.Id("id");
        if (!id)
            continue;
        const auto list = [&profiles](const char* column) {
            return VGDB::QuoteEscape(JoinStrings(String2IdSet(profiles.String(column)), ","));
        };
        ColumnValues rights;
        rights.Add("privprofile_id", std::to_string(*id));
        rights.Add(kCamIdColumns, list("inacamids"));
        rights.Add(kCamGroupColumns, list("inacamgrpids"));
        rights.Add(kCamServerColumns, list("allcamdsids"));
        batch += rights.InsertSql("privilegepercamera");
    }
    return ExecuteSql(DB_SYSTEM, batch);
}

// The default profiles deny no camera.
int ClearInaCamsInDefPrivProf() {
    if (const int found = Guard(DB_SYSTEM, "privilegepercamera", {"privprofile_id"}); found <= 0)
        return found;
    ColumnValues none;
    none.Add(kCamIdColumns, "''");
    return ExecuteIfThere(DB_SYSTEM, "privilegepercamera", kCamIdColumns,
                          none.UpdateSql("privilegepercamera", "privprofile_id IN (1, 2)"));
}

// Rights to digital outputs are told apart later. A profile starts with what it was denied to see.
int once::UpdatePrivPerCam() {
    return ExecuteIfThere(
        DB_SYSTEM, "privilegepercamera",
        {"ina_digiout_cam_ids", "ina_digiout_camgrp_ids", "digiout_allcamds_ids", "ina_live_cam_ids",
         "ina_live_camgrp_ids", "live_allcamds_ids"},
        "UPDATE privilegepercamera SET ina_digiout_cam_ids = ina_live_cam_ids,"
        " ina_digiout_camgrp_ids = ina_live_camgrp_ids,"
        " digiout_allcamds_ids = live_allcamds_ids"
        " WHERE IFNULL(ina_digiout_cam_ids, '') = ''"
        " AND IFNULL(ina_digiout_camgrp_ids, '') = ''"
        " AND IFNULL(digiout_allcamds_ids, '') = ''"
        " AND (ina_live_cam_ids <> '' OR ina_live_camgrp_ids <> '' OR live_allcamds_ids <> '');");
}

int DeleteNonexistentPrivProfileFromSubTable() {
    if (const int found = Guard(DB_SYSTEM, "privilegeprofile", {"id"}); found <= 0)
        return found;
    std::string batch;
    for (const char* table : {"privilegepercamera", "privilegeperdoor"}) {
        const int found = Guard(DB_SYSTEM, table, {"privprofile_id"});
        if (found < 0)
            return -1;
        if (found > 0)
            batch += StringPrintf(
                "DELETE FROM %s WHERE privprofile_id NOT IN (SELECT id FROM privilegeprofile);", table);
    }
    return ExecuteSql(DB_SYSTEM, batch);
}

int CreateNonePrivProfile() { return MakeNoneProfile(); }

// Accounts come to be bound to a list of profiles.
int UpdateVGAccountPrivProfileList() {
    return ExecuteIfThere(DB_SYSTEM, "account", {"privprofileid", "privprofileids"},
                          "UPDATE account SET privprofileids = CAST(CAST(privprofileid AS INTEGER) AS TEXT)"
                          " WHERE CAST(privprofileid AS INTEGER) > 0"
                          " AND (privprofileids IS NULL OR privprofileids = '');");
}

int UpdateMapPrivOfNonePrivProfile() {
    if (const int found = GuardAll({{"privilegeprofile", {"privilege"}},
                                    {"privilegeprofile", kEmapIdColumns},
                                    {"privilegeprofile", kEmapServerColumns}});
        found <= 0)
        return found;
    std::string emaps, servers;
    if (LoadIds(DB_SYSTEM, "emap", emaps) || LoadIds(DB_SYSTEM, "slaveds", servers))
        return -1;
    ColumnValues all;
    all.Add(kEmapIdColumns, emaps);
    all.Add(kEmapServerColumns, servers);
    return ExecuteSql(DB_SYSTEM, all.UpdateSql("privilegeprofile", "privilege = -2"));
}

int ReCreateNonePrivProfile() { return MakeNoneProfile(); }

}  // namespace migrations
