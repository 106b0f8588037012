// The database files, for this library only.
#pragma once

#include <string>

// The next VGDB::GetDBPath looks the path up anew.
void ForgetDBPaths();

// False also when it cannot be told.
bool IsFileMissing(const std::string& dbPath);
