#include "platform/package/event_label.h"

#include <string>

#include "platform/base/json.h"
#include "platform/vgdb/vgdb.h"

int SetEvtLabelSetting(REC_EVENT_TYPE type, EVENT_LABEL_SETTING_SRC source, const Json::Value& setting) {
    const std::string text = JsonWrite(setting, true);
    if (text.empty())
        return -1;
    const std::string table = gszTableEventLabelSetting;
    const std::string eventType = std::to_string(type);
    const std::string eventSource = std::to_string(source);
    const std::string quoted = VGDB::QuoteEscape(text);
    const std::string ofThePair = " WHERE event_type = " + eventType + " AND source = " + eventSource;
    std::string batch;
    AppendSqlCommand(batch, "UPDATE " + table + " SET setting = " + quoted + ofThePair);
    AppendSqlCommand(batch, "INSERT INTO " + table + " (event_type, source, setting) SELECT " + eventType +
                                ", " + eventSource + ", " + quoted + " WHERE NOT EXISTS (SELECT 1 FROM " +
                                table + ofThePair + ")");
    return VGDB::Execute(DB_SYSTEM, batch);
}
