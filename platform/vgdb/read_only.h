// Reading databases of a system that must stay as it is, byte for byte.
#pragma once

#include <sqlite3.h>
#include <sys/stat.h>

#include <string>

#include "platform/files/file_io.h"
#include "platform/vgdb/busy_wait.h"

// See VGDB::OpenReadOnly.
void SetReadOnly(bool readOnly);
bool IsReadOnly();

// A database that is read where it stands, as far as that changes nothing: in write-ahead mode as one of its readers;
// or, when nobody uses it, with the lock of a reader on the file and the index of the log in memory. Only where a
// journal has to be played back is a copy read, in a private temporary folder: it is removed from there before it is
// read, by a signal too, and what a killed process has left there goes with the next copy.
class Reading {
public:
    Reading() = default;
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    // After the connection was closed. Logs when somebody has written to the file meanwhile all the same.
    ~Reading();

    // Opens the database of that real path. Returns SQLite's result code; what SQLite does not tell of a failure is
    // logged. *db is to be closed in any case, before this object.
    [[nodiscard]] int Open(const std::string& path, BusyWait& busy, sqlite3** db);

private:
    int Lock(BusyWait& busy);
    int OpenCopy(BusyWait& busy, sqlite3** db);

    std::string m_path;
    UniqueFd m_file;
    struct stat m_status {};
    bool m_isAlone = false;  // SQLite takes no locks on the file
};
