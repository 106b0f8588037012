#include "control/rehearse/row_json.h"

#include <cmath>
#include <set>

#include "control/secrets.h"
#include "platform/base/strings.h"

namespace {

std::string Hex(const std::string& bytes) {
    std::string hex;
    for (const unsigned char byte : bytes)
        hex += StringPrintf("%02x", byte);
    return hex;
}

Json::Value RowToJson(const std::optional<VGDB::TableRow>& row) {
    if (!row)
        return {};
    Json::Value object(Json::objectValue);
    for (const auto& [column, value] : *row)
        object[column] = ToJson(column, value);
    return object;
}

// Columns in the order of the table, which an object does not keep.
Json::Value ColumnsOf(const std::vector<VGDB::RowChange>& samples) {
    Json::Value columns(Json::arrayValue);
    std::set<std::string> seen;
    for (const VGDB::RowChange& sample : samples)
        for (const auto* row : {&sample.after, &sample.before})
            if (*row)
                for (const auto& [column, value] : **row)
                    if (seen.insert(column).second)
                        columns.append(column);
    return columns;
}

Json::Value ListOf(const std::vector<std::string>& texts) {
    Json::Value array(Json::arrayValue);
    for (const std::string& text : texts)
        array.append(text);
    return array;
}

}  // namespace

Json::Value ToJson(const std::string& column, const VGDB::FieldValue& value) {
    using Kind = VGDB::FieldValue::Kind;
    if (value.kind != Kind::Null && IsSecretName(column))
        return std::string(kMask);
    switch (value.kind) {
        case Kind::Null:
            break;
        case Kind::Integer:
            return Json::Int64{value.integer};
        case Kind::Real:
            return std::isfinite(value.real) ? Json::Value(value.real)
                                             : Json::Value(value.real > 0 ? "Infinity" : "-Infinity");
        case Kind::Text:
            return MaskedValue(column, value.bytes);
        case Kind::Blob: {
            Json::Value blob(Json::objectValue);
            blob["blob"] = Hex(value.bytes);
            return blob;
        }
    }
    return {};
}

Json::Value ToJson(const std::string& database, const VGDB::DatabaseChanges& changes) {
    Json::Value object(Json::objectValue);
    object["database"] = database;
    object["tables"] = Json::Value(Json::arrayValue);
    for (const VGDB::TableChanges& table : changes.tables) {
        Json::Value& entry = object["tables"].append(Json::objectValue);
        entry["table"] = table.table;
        entry["inserted"] = Json::UInt64{table.inserted};
        entry["updated"] = Json::UInt64{table.updated};
        entry["deleted"] = Json::UInt64{table.deleted};
        entry["key"] = ListOf(table.key);
        entry["columns"] = ColumnsOf(table.samples);
        entry["samples"] = Json::Value(Json::arrayValue);
        for (const VGDB::RowChange& sample : table.samples) {
            Json::Value& pair = entry["samples"].append(Json::objectValue);
            pair["before"] = RowToJson(sample.before);
            pair["after"] = RowToJson(sample.after);
            pair["changed"] = ListOf(sample.changed);
        }
    }
    object["schema"] = ListOf(changes.schema);
    return object;
}
