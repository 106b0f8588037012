// Event labels.
#include <json/value.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/json.h"
#include "platform/package/event_label.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace migrations {
namespace {

// Only this pair had labels before they became JSON.
constexpr auto kLabelEventType = static_cast<REC_EVENT_TYPE>(4);
constexpr auto kLabelSource = static_cast<EVENT_LABEL_SETTING_SRC>(0);

enum LabelCategory : int { CATEGORY_FIXED = 1, CATEGORY_USER = 2 };

constexpr std::array<const char*, 4> kFixedLabelColors = {"#CCAA00", "#009933", "#6E4510", "#E04342"};
constexpr std::array<const char*, 5> kUserLabelColors = {"#1470CC", "#E67300", "#94BF13", "#009999",
                                                         "#64696E"};

struct ColorPair {
    std::string_view oldColor;
    std::string_view newColor;
};

// Some new colours are old ones too: a colour is replaced once. #64696E stays on purpose, and counts as
// replaced.
constexpr std::array<ColorPair, 36> kPalette = {{
    {"#E3D000", "#E6D600"}, {"#00C74A", "#14CC52"}, {"#9F6417", "#E68100"}, {"#ED615F", "#CC2929"},
    {"#A6C700", "#ACE600"}, {"#1DA2E3", "#177EE6"}, {"#F1A600", "#FF7F00"}, {"#C4DB1B", "#BFFF00"},
    {"#00C7C7", "#1FCCCC"}, {"#91989F", "#FFFFFF"}, {"#E358C8", "#CC29CC"}, {"#E01E92", "#C81565"},
    {"#CCAA00", "#E6DC5C"}, {"#009933", "#24B353"}, {"#6E4510", "#CC8529"}, {"#E04342", "#E04343"},
    {"#739900", "#AECC52"}, {"#1470CC", "#4595E6"}, {"#E67300", "#E68A2E"}, {"#94BF13", "#BDE645"},
    {"#009999", "#36B3B3"}, {"#64696E", "#64696E"}, {"#CC3D9C", "#E65CE6"}, {"#C81565", "#C83C7B"},
    {"#AD7600", "#99955C"}, {"#005B14", "#6BB383"}, {"#2B1B06", "#99784D"}, {"#CD1A1A", "#994D4D"},
    {"#2D5B00", "#8A995C"}, {"#072CAD", "#6699CC"}, {"#D62D00", "#B37D47"}, {"#539807", "#ADCC52"},
    {"#005B5B", "#6BB3B3"}, {"#27292B", "#070708"}, {"#AD1860", "#E68AE6"}, {"#A60828", "#C86491"},
}};

Json::Value MakeLabel(size_t index, LabelCategory category, bool enabled, const std::string& text,
                      const char* background) {
    Json::Value label(Json::objectValue);
    label["type"] = 1 << index;
    label["categ"] = static_cast<int>(category);
    label["enabled"] = enabled;
    label["text"] = text;
    label["background"] = background;
    return label;
}

// The text of a user's label; '' when the old texts, which may be any value, have no string there.
std::string LabelText(const Json::Value& texts, size_t index) {
    const auto element = static_cast<Json::ArrayIndex>(index);
    return texts.isArray() && texts.isValidIndex(element) && texts[element].isString()
               ? texts[element].asString()
               : "";
}

Json::Value MakeLabels(unsigned int enabledMask, const Json::Value& texts) {
    Json::Value labels(Json::arrayValue);
    for (size_t i = 0; i < kFixedLabelColors.size(); ++i)
        labels.append(MakeLabel(i, CATEGORY_FIXED, true, "", kFixedLabelColors[i]));
    for (size_t i = 0; i < kUserLabelColors.size(); ++i)
        labels.append(MakeLabel(i, CATEGORY_USER, (enabledMask >> i & 1) != 0, LabelText(texts, i),
                                kUserLabelColors[i]));
    return labels;
}

// Moves the labels of a setting to the new palette; false when none has a colour of the old one.
bool ReplaceColors(Json::Value& labels) {
    bool replaced = false;
    for (Json::Value& label : labels) {
        if (!label.isObject() || !label.isMember("background") || !label["background"].isString())
            continue;
        const std::string color = label["background"].asString();
        for (const ColorPair& pair : kPalette) {
            if (color != pair.oldColor)
                continue;
            label["background"] = std::string(pair.newColor);
            replaced = true;
            break;
        }
    }
    return replaced;
}

int SaveLabels(REC_EVENT_TYPE type, EVENT_LABEL_SETTING_SRC source, const Json::Value& labels,
               LogSite site = LogSite::Here()) {
    if (SetEvtLabelSetting(type, source, labels) == 0)
        return 0;
    return LogFailure(site, "Failed to save label setting. setting[%s].\n", JsonWrite(labels, true).c_str());
}

}  // namespace

int once::UpdateEventLabelSettingToJson() {
    Rows row;
    if (QuerySql(DB_SYSTEM,
                 std::string("SELECT * FROM ") + gszTableEventLabelSetting +
                     " WHERE event_type = 4 AND source = 0;",
                 row))
        return -1;
    if (!row.Next())
        return UPG_FAIL("Failed to fetch row.\n");
    Json::Value texts;
    if (JsonParse(row.String("text"), texts, false, true))
        return UPG_FAIL("Failed to parse label text as json.\n");
    const auto enabledMask = static_cast<unsigned int>(row.Int("enabled"));
    return SaveLabels(kLabelEventType, kLabelSource, MakeLabels(enabledMask, texts));
}

int once::UpdateEventLabelColor() {
    Rows rows;
    if (QuerySql(DB_SYSTEM, std::string("SELECT * FROM ") + gszTableEventLabelSetting + ";", rows))
        return -1;
    // Nothing for a text, which would lead to the labels of another pair.
    const auto number = [&rows](const char* column) {
        return rows.Text(column) ? rows.Id(column) : std::optional<long long>(0);
    };
    while (rows.Next()) {
        const std::optional<long long> type = number("event_type");
        const std::optional<long long> source = number("source");
        Json::Value labels;
        if (!type || !source || JsonParse(rows.String("setting"), labels, false, true) || !labels.isArray() ||
            !ReplaceColors(labels))
            continue;
        if (SaveLabels(static_cast<REC_EVENT_TYPE>(*type), static_cast<EVENT_LABEL_SETTING_SRC>(*source),
                       labels))
            return -1;
    }
    return 0;
}

}  // namespace migrations
