#include "platform/package/camera.h"

#include "platform/base/strings.h"
#include "platform/vgdb/rows.h"

namespace {

constexpr const char* kNameColumn = "name";
constexpr const char* kServerColumn = "ds_id";
constexpr const char* kNotifyScheduleColumn = "notifyschedule";

std::string Field(const DBRows& rows, unsigned int row, const char* column) {
    return OrEmpty(VGDBFetchField(rows.get(), row, column));
}

// Every column, since which of them the table has is for the rows to tell.
std::string ListQuery(const CamFilterRule& rule) {
    std::string condition;
    if (!rule.ids.empty())
        condition = " WHERE id IN (" + JoinStrings(rule.ids, ",") + ")";
    return std::string("SELECT * FROM ") + gszTableCamera + condition + " ORDER BY id;";
}

}  // namespace

// Not settled: where the settings file of a camera is, and what it holds.
int Camera::UpdateCamSettingsConf() const { return 0; }

int CamGetList(const CamFilterRule& rule, std::list<Camera>& cameras) {
    cameras.clear();
    DBRows rows;
    if (QueryRows(DB_SYSTEM, ListQuery(rule), rows))
        return -1;
    for (unsigned int row = 0; VGDBFetchRow(rows.get(), &row) == 0;) {
        if (rule.localOnly && String2Int(VGDBFetchField(rows.get(), row, kServerColumn)) != 0)
            continue;
        const int id = String2Int(VGDBFetchField(rows.get(), row, "id"));
        if (cameras.empty() || cameras.back().GetId() != id)
            cameras.emplace_back(id, Field(rows, row, kNameColumn), Field(rows, row, kNotifyScheduleColumn));
    }
    return 0;
}

int CamSaveAll() {
    if (const int found = VGDB::FindTable(DB_SYSTEM, gszTableCamera); found <= 0)
        return found;
    return VGDB::Execute(DB_SYSTEM, StringPrintf("UPDATE %s SET id = id;", gszTableCamera)) ? -1 : 0;
}

int GetCamLocalList(std::list<Camera>& cameras) {
    return CamGetList(CamFilterRule{.ids = {}, .localOnly = true}, cameras);
}

// Not settled: the log archive settings of the maker's own cameras.
int Orvacam::InitOrvacamLogArchSettingIfNotExist(const Camera&) { return 0; }
