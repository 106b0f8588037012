// User-visible log entries: table log of the log database.
#pragma once

#include <string>
#include <vector>

// Notes one entry. The entries that are noted between two calls of VGLogFlush are written by the second, in
// the order in which they were noted.
//   logType  the number of the log text (for example 0x13300008: settings of a camera were changed)
//   user     who did it; "SYSTEM" for the package itself
//   itemId   the id of the camera, task ... that the entry is about
//   params   the values that the log text names, in its order
//   dsId     the recording server; 0 is this one
//   extra    further value of some log types, else 0
void VGLog(int logType, const std::string& user, int itemId, const std::vector<std::string>& params, int dsId,
           long extra);

// Writes what was noted, in one transaction (that of the main database while a unit is open, see
// VGDB::JoinUnit), and forgets it. Returns 0 on success or when there was nothing, also when there is no log
// database to be used, which costs the entries (logged); -1 when the database is there but could not take
// them (logged).
int VGLogFlush();

// Forgets what was noted.
void VGLogDiscard();
