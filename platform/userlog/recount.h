// Counts of user-visible log entries: operations that the registry calls. Each returns 0 or a negative value.
#pragma once

namespace LogCount {

// Rebuilds table logcnt, the entries of each log type by day, from the entries.
int Recount();

}  // namespace LogCount

namespace VGLogEvent {

// Rebuilds table logeventcnt, the entries of each recording server by day, from the entries.
int Recount();

}  // namespace VGLogEvent
