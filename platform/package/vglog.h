// User-visible log entries: table log of the log database.
#pragma once

#include <string>
#include <vector>

struct UserLogEntry {
    int logType;         // number of the log text
    std::string user;    // who did it
    long long itemId;    // the camera, task ... that it is about
    std::string params;  // the values that the log text names: a JSON array of strings
    int dsId;            // recording server; 0 is this one
    long long time;      // seconds since 1970
    long extra;          // further value of some log types, else 0
};

// Notes one entry, with the time of the call. It stays in memory until VGLogTake.
//   logType  the number of the log text (for example 0x13300008: settings of a camera were changed)
//   user     who did it; "SYSTEM" for the package itself
//   itemId   the id of the camera, task ... that the entry is about
//   params   the values that the log text names, in its order
//   dsId     the recording server; 0 is this one
//   extra    further value of some log types, else 0
void VGLog(int logType, const std::string& user, long long itemId, const std::vector<std::string>& params,
           int dsId, long extra);

// Hands over what has been noted since the last call, in that order.
std::vector<UserLogEntry> VGLogTake();

// Whether there is a log to write to: 1; 0 when the database file or its table is missing, or the file is no
// database at all; -1 when that cannot be told now (logged).
[[nodiscard]] int VGLogFind();

// Gives the id of the newest entry, 0 when there is none; ids of 2^62 and above do not count. Returns 0 or -1 (logged by the database library).
[[nodiscard]] int VGLogLastId(long long& id);

// Whether the entry of that id is this one: 1; 0 when it is another or there is none; -1 when it cannot be told.
[[nodiscard]] int VGLogHolds(long long id, const UserLogEntry& entry);

// Writes entries in their order, in one call, with ids from the given one on; 0 takes the next that is free.
// Returns 0 or -1 (logged by the database library).
[[nodiscard]] int VGLogWrite(const std::vector<UserLogEntry>& entries, long long firstId = 0);
