// Reading databases of a system that must stay as it is, byte for byte.
#pragma once

#include <string>

#include "platform/vgdb/busy_wait.h"

// See VGDB::OpenReadOnly.
void SetReadOnly(bool readOnly);
bool IsReadOnly();

// Finds out how the database can be read without changing anything: its own file with the flags of a
// connection that only reads; or, where reading alone would play back a journal or make the files of
// write-ahead logging, a copy in a private temporary folder. Returns SQLite's result code; a failure is
// logged.
int PrepareReading(const std::string& path, BusyWait& busy, std::string& openPath, int& flags);

// Removes the copies.
void RemoveReadingCopies();
