#include "control/rehearse/file_rows.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::string_view kRows[] = {
    "ChangeDBBackupOwner",    "MoveCapInfoPath",
    "MoveCmsDataFolders",     "MoveDBBackupFile",
    "RemoveACAPServiceFile",  "RemoveFailoverServiceFile",
    "RemoveGzLogFiles",       "RemoveLocalDisplayAddOnDir",
    "RemoveOldVGlogSendConf", "RemoveVideoAnalyticsAddOnDir",
    "RenameArchiveFolder",    "RenameTransactionDirectory",
    "ResetWritingEvtPath",
};

}  // namespace

bool WorksOnOtherFiles(std::string_view name) {
    return std::find(std::begin(kRows), std::end(kRows), name) != std::end(kRows);
}
