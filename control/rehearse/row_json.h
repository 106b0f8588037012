// Rows that have changed, as the documents of `rehearse` and `diff` hold them: without secrets.
#pragma once

#include <json/value.h>

#include <string>

#include "platform/vgdb/row_changes.h"

Json::Value ToJson(const std::string& column, const VGDB::FieldValue& value);

// {"database", "tables", "schema"}
Json::Value ToJson(const std::string& database, const VGDB::DatabaseChanges& changes);
