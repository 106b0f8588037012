// Analytics tasks, their events and faces.
#include "upgrader/migrations/migrations.h"

namespace migrations {

// Not settled: the id column of the analytics event tables, by dump and restore.
int FixAnalyticsEvtTableIdColumn() { return 0; }

int UpdateDvaPeopleDisplayCount() { return 0; }

// Not settled: table iva_setting and the file dva_md_allow under @VGData.
int TouchAllowMotionDetectionFlag() { return 0; }

int ShowDvaTaskChangeInfo() { return 0; }

// Not settled: motion detection tasks that become people and vehicle detection.
int UpdateDvaMDToPeopleAndVehicle() { return 0; }

// Not settled: owner of the analytics and face services' files.
int UpdateDvaFaceFilePrivilege() { return 0; }

int UpdateDvaDetectionOnlyResults() { return 0; }

// Not settled: a retired smart tag of people-counting tasks.
int RemoveDvaSmartTagTooManyPeopleInRegion() { return 0; }

// Not settled: how many face records are kept.
int LimitFaceRecordNumber() { return 0; }

}  // namespace migrations
