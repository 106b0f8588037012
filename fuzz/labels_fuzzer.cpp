// JSON, and the two conversions of event labels. Input: the mask of the old labels, their texts as JSON, and a
// setting of the new form.
#include <json/value.h>

#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/base/json.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/migrations.h"

namespace {

constexpr Json::ArrayIndex kLabels = 9;

std::string Setting() {
    std::string setting;
    Expect(VGDB::LoadFirstFieldFromDB(DB_SYSTEM, "SELECT setting FROM eventlabelsetting", setting) == 0,
           "the setting can be read");
    return setting;
}

void Store(const std::string& mask, const std::string& texts, const std::string& setting) {
    Expect(VGDB::Executep(
               VGDB::GetDBPath(DB_SYSTEM),
               "UPDATE eventlabelsetting SET event_type = 4, source = 0, enabled = ?, text = ?, setting = ?;",
               nullptr, false, true, true, true, {mask, texts, setting}) == 0,
           "labels can be stored");
}

// Colours aside.
void CompareLabels(const Json::Value& before, const Json::Value& after) {
    Expect(before.size() == after.size(), "no label comes or goes");
    for (Json::ArrayIndex i = 0; i < before.size(); ++i) {
        Json::Value old = before[i];
        if (old.isObject() && old.isMember("background"))
            old["background"] = after[i]["background"];
        Expect(old == after[i], "a label keeps all but its colour");
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::MakeWithMainDatabase();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzTree::EmptyLog();
    std::string_view input = AsText(data, size);
    const std::string mask = TakeLine(input);
    const std::string texts = TakeLine(input);
    const std::string setting(input);
    if (!IsColumnText(texts) || !IsColumnText(setting))
        return 0;

    Json::Value parsed;
    const bool isJson = JsonParse(setting, parsed, false, true) == 0;
    const std::string written = isJson ? JsonWrite(parsed) : "";
    if (!written.empty()) {
        Json::Value again;
        Expect(JsonParse(written, again) == 0, "what was written parses");
        Expect(JsonWrite(again) == written, "what was written is written again alike");
        Expect(JsonParse(JsonWrite(parsed, false), again) == 0 && JsonWrite(again) == written,
               "the indented form holds the same");
    }

    Store(mask, texts, setting);
    Expect(migrations::once::UpdateEventLabelColor() == 0 || isJson, "other texts are passed over");
    if (const std::string after = Setting(); after != setting) {
        Json::Value recoloured;
        Expect(JsonParse(after, recoloured) == 0 && isJson, "labels stay JSON");
        CompareLabels(parsed, recoloured);
    }

    Store(mask, texts, "unchanged");
    Json::Value value;
    const bool hasTexts = JsonParse(texts, value, false, true) == 0;
    const bool converted = migrations::once::UpdateEventLabelSettingToJson() == 0;
    Expect(hasTexts || !converted, "texts that are no JSON fail");
    if (converted)
        Expect(JsonParse(Setting(), value) == 0 && value.isArray() && value.size() == kLabels, "nine labels");
    else
        Expect(Setting() == "unchanged", "what fails changes nothing");
    return 0;
}
