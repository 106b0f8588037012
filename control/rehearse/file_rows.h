// The rows of the registry that work on files which no copy of the databases and settings holds: recordings, maps,
// backups, logs, add-ons, the host's own files.
#pragma once

#include <string_view>

bool WorksOnOtherFiles(std::string_view name);
