#include "platform/camera/camera.h"

#include <memory>

#include "platform/support/strings.h"
#include "platform/vgdb/vgdb.h"

namespace {

constexpr const char* kNameColumn = "name";
constexpr const char* kNotifyScheduleColumn = "notifyschedule";

struct FreeResult {
    void operator()(DBResult_tag* result) const { VGDBFreeResult(result); }
};
using Rows = std::unique_ptr<DBResult_tag, FreeResult>;

std::string Field(const Rows& rows, unsigned int row, const char* column) {
    const char* text = VGDBFetchField(rows.get(), row, column);
    return text ? text : "";
}

std::string ListQuery(const CamFilterRule& rule) {
    std::string columns = "id";
    for (const char* column : {kNameColumn, kNotifyScheduleColumn})
        if (VGDB::IsColumnExist(DB_SYSTEM, gszTableCamera, column))
            columns += StringPrintf(", %s", column);
    std::string condition;
    if (!rule.ids.empty())
        condition = " WHERE id IN (" + IdSet2String(rule.ids) + ")";
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
    DBResult_tag* result = nullptr;
    if (VGDB::Execute(DB_SYSTEM, ListQuery(rule), &result))
        return -1;
    const Rows rows(result);
    for (unsigned int row = 0; VGDBFetchRow(rows.get(), &row) == 0;) {
        const int id = String2Int(VGDBFetchField(rows.get(), row, "id"));
        if (cameras.empty() || cameras.back().GetId() != id)
            cameras.emplace_back(id, Field(rows, row, kNameColumn), Field(rows, row, kNotifyScheduleColumn));
    }
    return 0;
}
