#include "platform/eventlabel/event_label.h"

#include <string>

#include "platform/support/json.h"
#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

class EventLabels : public SystemTree {
protected:
    EventLabels() {
        Sql(DB_SYSTEM,
            "CREATE TABLE eventlabelsetting(event_type INTEGER, source INTEGER, enabled INTEGER, text TEXT,"
            " setting TEXT);");
    }

    // Stores the row with the old form of the labels; the text may be any.
    static void StoreOldLabels(int enabled, const std::string& text) {
        Sql(DB_SYSTEM, "DELETE FROM eventlabelsetting; INSERT INTO eventlabelsetting VALUES(4, 0, " +
                           std::to_string(enabled) + ", " + VGDB::QuoteEscape(text) + ", NULL);");
    }
    static void StoreSetting(int eventType, const std::string& setting) {
        Sql(DB_SYSTEM, "INSERT INTO eventlabelsetting VALUES(" + std::to_string(eventType) +
                           ", 1, 7, 'kept', " + VGDB::QuoteEscape(setting) + ");");
    }
    static std::string Setting(int eventType) {
        std::string rows = Rows(DB_SYSTEM, "SELECT setting FROM eventlabelsetting WHERE event_type = " +
                                               std::to_string(eventType));
        rows.pop_back();
        return rows;
    }

    // The converted user labels as "enabled text background", one a line.
    static std::string UserLabels() {
        Json::Value labels;
        EXPECT_EQ(0, JsonParse(Setting(4), labels));
        EXPECT_EQ(9u, labels.size());
        std::string lines;
        for (Json::ArrayIndex i = 4; i < labels.size(); ++i) {
            EXPECT_EQ(2, labels[i]["categ"].asInt());
            EXPECT_EQ(1 << (i - 4), labels[i]["type"].asInt());
            lines += labels[i]["enabled"].asString() + ' ' + labels[i]["text"].asString() + ' ' +
                     labels[i]["background"].asString() + '\n';
        }
        return lines;
    }
};

TEST_F(EventLabels, AreStoredOneRowAPair) {
    Sql(DB_SYSTEM, "INSERT INTO eventlabelsetting VALUES(4, 0, 3, 'old', NULL), (4, 1, 5, 'other', 'x');");
    Json::Value labels(Json::arrayValue);
    labels.append("it's");
    const auto source = static_cast<EVENT_LABEL_SETTING_SRC>(0);
    EXPECT_EQ(0, SetEvtLabelSetting(static_cast<REC_EVENT_TYPE>(4), source, labels));
    EXPECT_EQ(0, SetEvtLabelSetting(static_cast<REC_EVENT_TYPE>(9), source, labels));
    EXPECT_EQ("4|0|3|old|[\"it's\"]\n4|1|5|other|x\n9|0|||[\"it's\"]\n",
              Rows(DB_SYSTEM, "SELECT * FROM eventlabelsetting"));
}

TEST_F(EventLabels, BecomeJson) {
    StoreOldLabels(0b10010, R"(["A \"quoted\" one", "it's", "", "Grün", "e", "a sixth"])");
    Sql(DB_SYSTEM, "INSERT INTO eventlabelsetting VALUES(4, 1, 31, '[]', 'beside');");
    EXPECT_EQ(0, migrations::UpdateEventLabelSettingToJson());
    EXPECT_EQ(R"(4|0|18|[{"background":"#CCAA00","categ":1,"enabled":true,"text":"","type":1},)"
              R"({"background":"#009933","categ":1,"enabled":true,"text":"","type":2},)"
              R"({"background":"#6E4510","categ":1,"enabled":true,"text":"","type":4},)"
              R"({"background":"#E04342","categ":1,"enabled":true,"text":"","type":8},)"
              R"({"background":"#1470CC","categ":2,"enabled":false,"text":"A \"quoted\" one","type":1},)"
              R"({"background":"#E67300","categ":2,"enabled":true,"text":"it's","type":2},)"
              R"({"background":"#94BF13","categ":2,"enabled":false,"text":"","type":4},)"
              R"({"background":"#009999","categ":2,"enabled":false,"text":"Grün","type":8},)"
              R"({"background":"#64696E","categ":2,"enabled":true,"text":"e","type":16}])"
              "\n4|1|31|beside\n",
              Rows(DB_SYSTEM, "SELECT event_type, source, enabled, setting FROM eventlabelsetting"));
}

TEST_F(EventLabels, WithoutATextGetAnEmptyOne) {
    StoreOldLabels(-1, R"(["one", 2, {"three": 3}])");
    EXPECT_EQ(0, migrations::UpdateEventLabelSettingToJson());
    EXPECT_EQ("true one #1470CC\ntrue  #E67300\ntrue  #94BF13\ntrue  #009999\ntrue  #64696E\n", UserLabels());

    for (const char* noArray : {R"({"0": "a"})", R"("a")", "null", "7", "[]"}) {
        WriteSettings("");
        StoreOldLabels(0b00010, noArray);
        EXPECT_EQ(0, migrations::UpdateEventLabelSettingToJson()) << noArray;
        EXPECT_EQ("false  #1470CC\ntrue  #E67300\nfalse  #94BF13\nfalse  #009999\nfalse  #64696E\n",
                  UserLabels())
            << noArray;
    }
}

TEST_F(EventLabels, KeepTextThatIsLongOrNotUtf8) {
    const std::string text(1 << 20, 'x');
    StoreOldLabels(0, "[\"" + text + "\", \"a\xff\xc3z\"]");
    EXPECT_EQ(0, migrations::UpdateEventLabelSettingToJson());
    EXPECT_TRUE(UserLabels().starts_with("false " + text + " #1470CC\nfalse a\xff\xc3z #E67300\n"));
}

TEST_F(EventLabels, WhoseTextIsNoJsonAreNotConverted) {
    int failures = 0;
    for (const std::string& text : {std::string(), std::string("[\"a\""), std::string("[] []"),
                                    std::string(1 << 20, '['), std::string("a,b,c")}) {
        StoreOldLabels(1, text);
        EXPECT_EQ(-1, migrations::UpdateEventLabelSettingToJson());
        EXPECT_EQ("1\n", Rows(DB_SYSTEM, "SELECT setting IS NULL FROM eventlabelsetting"));
        EXPECT_EQ(++failures,
                  CountInLog("(UpdateEventLabelSettingToJson): Failed to parse label text as json.\n"));
    }
    Sql(DB_SYSTEM, "DELETE FROM eventlabelsetting;");
    EXPECT_EQ(-1, migrations::UpdateEventLabelSettingToJson());
    EXPECT_EQ(1, CountInLog("(UpdateEventLabelSettingToJson): Failed to fetch row.\n"));
    EXPECT_EQ("", Settings());
}

TEST_F(EventLabels, MoveToTheNewPaletteOnce) {
    StoreSetting(
        1, R"([{"background":"#E01E92","note":1.5},{"background":"#C81565"},{"background":"#e04342"}])");
    StoreSetting(2,
                 R"([ {"background":"#E04342"}, 7, null, ["#E04342"], {"background":{"a":"#E04342"}}, {} ])");
    StoreSetting(3, R"([ {"background": "#64696E"} ])");
    EXPECT_EQ(0, migrations::UpdateEventLabelColor());
    EXPECT_EQ(R"([{"background":"#C81565","note":1.5},{"background":"#C83C7B"},{"background":"#e04342"}])",
              Setting(1));
    EXPECT_EQ(R"([{"background":"#E04343"},7,null,["#E04342"],{"background":{"a":"#E04342"}},{}])",
              Setting(2));
    EXPECT_EQ(R"([{"background":"#64696E"}])", Setting(3)) << "its colour stays, but it is saved";
    EXPECT_EQ("7|kept\n7|kept\n7|kept\n", Rows(DB_SYSTEM, "SELECT enabled, text FROM eventlabelsetting"));
}

TEST_F(EventLabels, ThatAreNoArrayOrHaveNoOldColourStayAsTheyAre) {
    const std::string settings[] = {
        "",
        R"({"background": "#E04342"})",
        R"([{"background": "#E04342"}])"
        " trailing",
        R"([ {"background": "#123456"} ])",
        R"([ {"colour": "#E04342"} ])",
        std::string(100000, '[') + std::string(100000, ']'),
    };
    int eventType = 0;
    for (const std::string& setting : settings)
        StoreSetting(eventType++, setting);
    Sql(DB_SYSTEM, "INSERT INTO eventlabelsetting(event_type) VALUES(99);");
    EXPECT_EQ(0, migrations::UpdateEventLabelColor());
    eventType = 0;
    for (const std::string& setting : settings)
        EXPECT_EQ(setting, Setting(eventType++));
    EXPECT_EQ("", Log());
}

TEST_F(EventLabels, AColourThatCannotBeSavedEndsTheStep) {
    StoreSetting(1, R"([{"background":"#009999"}])");
    StoreSetting(2, R"([ {"background":"#009999"} ])");
    StoreSetting(3, R"([{"background":"#009999"}])");
    Sql(DB_SYSTEM,
        "CREATE TRIGGER no2 BEFORE UPDATE ON eventlabelsetting WHEN NEW.event_type = 2"
        " BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, migrations::UpdateEventLabelColor());
    EXPECT_EQ(1, CountInLog("(UpdateEventLabelColor): "
                            "Failed to save label setting. setting[[{\"background\":\"#36B3B3\"}]].\n"));
    EXPECT_EQ(R"([{"background":"#36B3B3"}])", Setting(1));
    EXPECT_EQ(R"([ {"background":"#009999"} ])", Setting(2));
    EXPECT_EQ(R"([{"background":"#009999"}])", Setting(3));
    EXPECT_EQ("", Settings());
}

}  // namespace
