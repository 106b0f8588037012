#include "platform/package/camera.h"

#include "platform/vgdb/rows.h"

int CamGetList(std::list<Camera>& cameras) {
    cameras.clear();
    Rows rows;
    // Every column, since which of them the table has is for the rows to tell.
    if (Query(DB_SYSTEM, std::string("SELECT * FROM ") + gszTableCamera + " ORDER BY id;", rows))
        return -1;
    while (rows.Next()) {
        const std::optional<long long> id = rows.Id("id");
        if (id && (cameras.empty() || cameras.back().id != *id))
            cameras.push_back({*id, rows.String("notifyschedule")});
    }
    return 0;
}

int CamSaveAll() {
    if (const int found = VGDB::FindTable(DB_SYSTEM, gszTableCamera); found <= 0)
        return found;
    return VGDB::Execute(DB_SYSTEM, std::string("UPDATE ") + gszTableCamera + " SET id = id;") ? -1 : 0;
}
