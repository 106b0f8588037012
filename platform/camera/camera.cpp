#include "platform/camera/camera.h"

#include "platform/support/strings.h"
#include "platform/vgdb/rows.h"

namespace {

constexpr const char* kNameColumn = "name";
constexpr const char* kNotifyScheduleColumn = "notifyschedule";

std::string Field(const DBRows& rows, unsigned int row, const char* column) {
    return OrEmpty(VGDBFetchField(rows.get(), row, column));
}

std::string ListQuery(const CamFilterRule& rule) {
    std::string columns = "id";
    for (const char* column : {kNameColumn, kNotifyScheduleColumn})
        if (VGDB::IsColumnExist(DB_SYSTEM, gszTableCamera, column))
            columns += StringPrintf(", %s", column);
    std::string condition;
    if (!rule.ids.empty())
        condition = " WHERE id IN (" + JoinStrings(rule.ids, ",") + ")";
    return "SELECT " + columns + " FROM " + gszTableCamera + condition + " ORDER BY id;";
}

}  // namespace

int Camera::Save() const {
    return VGDB::Execute(DB_SYSTEM,
                         StringPrintf("UPDATE %s SET id = id WHERE id = %d;", gszTableCamera, m_id))
               ? -1
               : 0;
}

int CamGetList(const CamFilterRule& rule, std::list<Camera>& cameras) {
    cameras.clear();
    DBRows rows;
    if (QueryRows(DB_SYSTEM, ListQuery(rule), rows))
        return -1;
    for (unsigned int row = 0; VGDBFetchRow(rows.get(), &row) == 0;) {
        const int id = String2Int(VGDBFetchField(rows.get(), row, "id"));
        if (cameras.empty() || cameras.back().GetId() != id)
            cameras.emplace_back(id, Field(rows, row, kNameColumn), Field(rows, row, kNotifyScheduleColumn));
    }
    return 0;
}
