// Count tables: how many rows another table has, by some of its columns and by day (days since 1970-01-01 UTC).
// Operations that the registry calls. Each makes its count table what the counted rows give, in one call, and writes
// nothing when it is that already; a NULL key or time counts as 0. Each returns 0, also when a database, a table or a
// column does not exist (nothing is done then); -1, logged, when a database cannot be read or written.
#pragma once

namespace RecordingCount {

int Recount();  // table recordingcnt: the recordings of each camera

}  // namespace RecordingCount

namespace LogCount {

int Recount();  // table logcnt: the log entries of each type

}  // namespace LogCount

namespace VGLogEvent {

int Recount();  // table logeventcnt: the log entries of each recording server

}  // namespace VGLogEvent

namespace AxisAcsLog {

int Recount();  // table axisacsevtlogcnt: the door events of each controller

}  // namespace AxisAcsLog
