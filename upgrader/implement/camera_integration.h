// What the integrators of external settings into the cameras have in common: cameras in id order, the rows of
// external users (POS pairings, analytics tasks, face tasks) handed to their cameras, one batch, and entries
// that tell the administrator what was changed.
//
// A failed query or batch is logged here at the caller's place and gives -1.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "upgrader/dataaccess/sql.h"

namespace implement {

inline constexpr const char* kFailedCommand = "Failed to execute SQL command.\n";

// Log types of the entries.
inline constexpr int kLogCamSetting = 0x13300008;
inline constexpr int kLogPos = 0x133000FE;
inline constexpr int kLogIvaTask = 0x133000F7;
inline constexpr int kLogFaceTask = 0x13300242;

// Records by camera id, ascending.
template <class CamRec>
using CamMap = std::map<long long, CamRec>;

// Inserts read(row) for each row of the query under the row's `id`; a repeated id keeps its first row, and
// what is no id is left out.
template <class CamRec, class Read>
[[nodiscard]] int LoadCamRows(const std::string& sql, CamMap<CamRec>& cams, Read read,
                              LogSite site = LogSite::Here()) {
    Rows rows;
    if (QuerySql(DB_SYSTEM, sql, rows, kFailedCommand, site))
        return -1;
    while (rows.Next())
        if (const std::optional<long long> id = rows.Id("id"))
            cams.try_emplace(*id, read(rows));
    return 0;
}

// Appends read(row) for each row of the query to the list of the camera that the row's camera column names.
// Rows of other cameras are left out: they were deleted, or have been integrated before.
template <class CamRec, class ExtRec, class Read>
[[nodiscard]] int LoadExtRows(DB_INSTANCE db, const std::string& sql, const char* camColumn,
                              CamMap<CamRec>& cams, std::vector<ExtRec> CamRec::*list, Read read,
                              LogSite site = LogSite::Here()) {
    Rows rows;
    if (QuerySql(db, sql, rows, kFailedCommand, site))
        return -1;
    while (rows.Next())
        if (const auto cam = cams.find(rows.Int64(camColumn)); cam != cams.end())
            (cam->second.*list).push_back(read(rows));
    return 0;
}

// Runs the statements for all cameras, together or not at all. No statements are no work.
[[nodiscard]] int ExecuteBatch(const std::string& batch, LogSite site = LogSite::Here());

// Notes an entry of the package itself.
void LogToUser(int logType, long long itemId, const std::vector<std::string>& params);

}  // namespace implement
