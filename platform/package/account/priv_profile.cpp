// One privilege profile: its columns, and how they are read and written.
#include "platform/package/account/priv_profile.h"

#include <cstdlib>
#include <unordered_map>

#include "platform/base/strings.h"
#include "platform/vgdb/rows.h"

template <class Profile, class Visit>
void PrivProfile::VisitColumns(Profile& profile, Visit&& visit) {
    visit("name", profile.m_name);
    visit("privilege", profile.m_privilege);
    visit("description", profile.m_description);
    visit("custom_uid", profile.m_customUid);
    visit("inacamids", profile.m_firstCam.ids);
    visit("inacamgrpids", profile.m_firstCam.grpIds);
    visit("allcamdsids", profile.m_firstCam.dsIds);
    visit("ina_operation", profile.m_operation);
    visit("ina_adv_oper", profile.m_advOperMask);
    visit("ina_adv_operator", profile.m_advOperator);
    for (size_t right = 0; right < ITEM_PRIV_TYPE_COUNT; ++right) {
        visit(kEmapIdColumns[right], profile.m_emap[right].ids);
        visit(kEmapServerColumns[right], profile.m_emap[right].dsIds);
        visit(kLayoutIdColumns[right], profile.m_layout[right].ids);
        visit(kLayoutTypeColumns[right], profile.m_layout[right].all);
    }
    visit("ina_iomodule_ids", profile.m_ioModule.ids);
    visit("all_iomodule_ds_ids", profile.m_ioModule.dsIds);
    visit("ina_server_ids", profile.m_server.ids);
    visit("all_server_avail", profile.m_server.all);
    visit("ina_ipspeaker_ids", profile.m_ipSpeaker.ids);
    visit("ina_ipspeaker_grp_ids", profile.m_ipSpeaker.grpIds);
    visit("all_ipspeaker_ds_ids", profile.m_ipSpeaker.dsIds);
}

template <class Profile, class Visit>
void PrivProfile::VisitCameraColumns(Profile& profile, Visit&& visit) {
    for (size_t right = 0; right < CAM_PRIV_TYPE_COUNT; ++right) {
        visit(kCamIdColumns[right], profile.m_cam[right].ids);
        visit(kCamGroupColumns[right], profile.m_cam[right].grpIds);
        visit(kCamServerColumns[right], profile.m_cam[right].dsIds);
    }
}

template <class Profile, class Visit>
void PrivProfile::VisitDoorColumns(Profile& profile, Visit&& visit) {
    for (size_t right = 0; right < kDoorRights; ++right) {
        visit(kDoorIdColumns[right], profile.m_door[right].ids);
        visit(kDoorServerColumns[right], profile.m_door[right].dsIds);
    }
}

namespace {

using Text = std::optional<std::string>;
using Number = std::optional<long long>;
using IdSet = std::set<int>;

// Reads the columns of one row.
struct ReadColumn {
    const DBResult_tag* rows;
    unsigned int row;

    void operator()(const std::string& column, Text& value) const {
        const char* field = VGDBFetchField(rows, row, column.c_str());
        value = field ? Text(field) : std::nullopt;
    }
    void operator()(const std::string& column, Number& value) const {
        const char* field = VGDBFetchField(rows, row, column.c_str());
        value = field ? Number(std::strtoll(field, nullptr, 10)) : std::nullopt;
    }
    void operator()(const std::string& column, IdSet& ids) const {
        ids = String2IdSet(OrEmpty(VGDBFetchField(rows, row, column.c_str())));
    }
};

std::string SqlValue(const Text& value) { return value ? VGDB::QuoteEscape(*value) : "NULL"; }
std::string SqlValue(const Number& value) { return value ? std::to_string(*value) : "NULL"; }
std::string SqlValue(const IdSet& ids) { return VGDB::QuoteEscape(JoinStrings(ids, ",")); }

// Collects "column = value, ..." of an UPDATE.
struct Assignments {
    std::string sql;

    template <class Value>
    void operator()(const std::string& column, const Value& value) {
        sql += (sql.empty() ? "" : ", ") + column + " = " + SqlValue(value);
    }
};

// Whether any list names something.
struct DeniesAny {
    bool found = false;

    void operator()(const std::string& /*column*/, const IdSet& ids) { found |= !ids.empty(); }
};

// What writes a profile's row of a table by object. A row is made only for a profile that needs one: an empty
// row where there was none would say that rights by object had been decided, and grant them all.
std::string UpdateByObjectSql(const char* table, int id, const Assignments& columns,
                              const DeniesAny& denials) {
    std::string sql;
    if (denials.found)
        sql = StringPrintf(
            "INSERT INTO %s(privprofile_id) SELECT %d"
            " WHERE NOT EXISTS (SELECT 1 FROM %s WHERE privprofile_id = %d);",
            table, id, table, id);
    return sql + "UPDATE " + table + " SET " + columns.sql + " WHERE privprofile_id = " + std::to_string(id) +
           ";";
}

void SetAccess(IdSet& denied, int id, bool grant) {
    if (grant)
        denied.erase(id);
    else
        denied.insert(id);
}

}  // namespace

// Three queries however many profiles there are.
int PrivProfile::LoadList(const PrivProfileFilterRule& rule, std::list<PrivProfile>& profiles) {
    const std::string among = rule.ids.empty() ? "" : " IN (" + JoinStrings(rule.ids, ",") + ")";
    const std::string byObject = among.empty() ? ";" : " WHERE privprofile_id" + among + ";";
    DBRows profileRows, cameraRows, doorRows;
    if (QueryRows(
            DB_SYSTEM,
            "SELECT * FROM privilegeprofile" + (among.empty() ? "" : " WHERE id" + among) + " ORDER BY id;",
            profileRows) ||
        QueryRows(DB_SYSTEM, "SELECT * FROM privilegepercamera" + byObject, cameraRows) ||
        QueryRows(DB_SYSTEM, "SELECT * FROM privilegeperdoor" + byObject, doorRows))
        return -1;

    profiles.clear();
    std::unordered_map<int, PrivProfile*> byId;
    for (unsigned int row = 0; VGDBFetchRow(profileRows.get(), &row) == 0;) {
        PrivProfile& profile = profiles.emplace_back();
        profile.m_id = String2Int(VGDBFetchField(profileRows.get(), row, "id"));
        VisitColumns(profile, ReadColumn{profileRows.get(), row});
        byId[profile.m_id] = &profile;
    }
    const auto find = [&byId](const DBRows& rows, unsigned int row) {
        const auto found = byId.find(String2Int(VGDBFetchField(rows.get(), row, "privprofile_id")));
        return found == byId.end() ? nullptr : found->second;
    };
    for (unsigned int row = 0; VGDBFetchRow(cameraRows.get(), &row) == 0;)
        if (PrivProfile* profile = find(cameraRows, row))
            VisitCameraColumns(*profile, ReadColumn{cameraRows.get(), row});
    for (unsigned int row = 0; VGDBFetchRow(doorRows.get(), &row) == 0;)
        if (PrivProfile* profile = find(doorRows, row))
            VisitDoorColumns(*profile, ReadColumn{doorRows.get(), row});
    return 0;
}

int PrivProfile::Load(int id) {
    std::list<PrivProfile> profiles;
    if (LoadList({.ids = {id}}, profiles) || profiles.empty())
        return -1;
    *this = profiles.front();
    return 0;
}

std::string PrivProfile::GetUpdateSql() const {
    if (m_id == 0)
        return "";
    Assignments columns, cameraColumns, doorColumns;
    VisitColumns(*this, columns);
    VisitCameraColumns(*this, cameraColumns);
    VisitDoorColumns(*this, doorColumns);
    DeniesAny cameras, doors;
    VisitCameraColumns(*this, cameras);
    VisitDoorColumns(*this, doors);
    return "UPDATE privilegeprofile SET " + columns.sql + " WHERE id = " + std::to_string(m_id) + ";" +
           UpdateByObjectSql("privilegepercamera", m_id, cameraColumns, cameras) +
           UpdateByObjectSql("privilegeperdoor", m_id, doorColumns, doors);
}

int PrivProfile::Save() const { return m_id != 0 && VGDB::Execute(DB_SYSTEM, GetUpdateSql()) == 0 ? 0 : -1; }

int PrivProfile::Delete() const {
    if (m_id == 0)
        return -1;
    const std::string sql = StringPrintf(
        "DELETE FROM privilegepercamera WHERE privprofile_id = %d;"
        "DELETE FROM privilegeperdoor WHERE privprofile_id = %d;"
        "DELETE FROM privilegeprofile WHERE id = %d;",
        m_id, m_id, m_id);
    return VGDB::Execute(DB_SYSTEM, sql) == 0 ? 0 : -1;
}

bool PrivProfile::IsDefaultProfileId(int id) {
    return id == kAllObjManagerId || id == kAllObjSpectatorId || (id > 0 && id == GetDefAdminProfileId());
}

void PrivProfile::SetLayoutAccess(int layoutId, ITEM_PRIV_TYPE right, bool grant) {
    SetAccess(m_layout[right].ids, layoutId, grant);
}

void PrivProfile::SetAllIOAccess(int dsId, bool grant) { SetAccess(m_ioModule.dsIds, dsId, grant); }

void PrivProfile::SetOperAccess(int position, bool grant) {
    if (position < 0 || position >= AdvOper::kLength)
        return;
    std::string advOper = GetAdvOper();
    if (advOper.size() < AdvOper::kLength)
        advOper = GetPrivilege() == PRIV_LEVEL_ADMIN || m_id == kAllObjManagerId
                      ? AdvOper::NothingDenied()
                      : AdvOper::ContinueWithDefaults(advOper);
    advOper[static_cast<size_t>(position)] = grant ? '0' : '1';
    m_advOperator = advOper;
}
