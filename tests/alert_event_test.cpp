#include <map>
#include <string>

#include "tests/support/system_tree.h"
#include "upgrader/migrations.h"

namespace {

class AlertEvents : public SystemTree {
protected:
    AlertEvents() {
        Sql(DB_SYSTEM,
            "CREATE TABLE camera(id INTEGER PRIMARY KEY, name TEXT, alert_event, adv_live_trig_event INTEGER,"
            " adv_contious_trig_event INTEGER, alert_event_type TEXT, adv_live_trig_event_type TEXT,"
            " adv_cont_trig_event_type TEXT);");
    }
};

std::string Flags(std::initializer_list<size_t> positions) {
    std::string flags(84, '0');
    for (const size_t position : positions)
        flags.at(position) = '1';
    return flags;
}

TEST_F(AlertEvents, MasksBecomeFlags) {
    const std::map<std::string, std::string> masks = {
        {"0", Flags({})},
        {"NULL", Flags({})},
        {"'none'", Flags({})},
        {"1", Flags({0})},
        {"8388609", Flags({0, 23})},
        {"16777216", Flags({64})},
        {"-2147483648", Flags({71})},
        {"2147483648", Flags({71})},
        {"-1", std::string(24, '1') + std::string(40, '0') + std::string(8, '1') + std::string(12, '0')},
        {"4294967298", Flags({1})},  // bits beyond the 32nd are none of the mask's
    };
    std::string expected;
    for (const auto& [mask, flags] : masks) {
        Sql(DB_SYSTEM, "INSERT INTO camera(alert_event) VALUES(" + mask + ");");
        expected += "0|" + flags + "\n";
    }
    EXPECT_EQ(0, migrations::UpdateCameraAlertEventType());
    EXPECT_EQ(expected, Rows(DB_SYSTEM, "SELECT alert_event, alert_event_type FROM camera ORDER BY id"));
}

TEST_F(AlertEvents, EachMaskBecomesItsOwnFlags) {
    Sql(DB_SYSTEM,
        "INSERT INTO camera VALUES(1, 'front', 2, 4, 8, 'a', 'b', 'c'), (-3000000000, 'back', 1, 1, 1, '', "
        "'', '');");
    EXPECT_EQ(0, migrations::UpdateCameraAlertEventType());
    const std::string first = Flags({0});
    EXPECT_EQ("-3000000000|back|0|0|0|" + first + '|' + first + '|' + first + "\n1|front|0|0|0|" +
                  Flags({1}) + '|' + Flags({2}) + '|' + Flags({3}) + '\n',
              Rows(DB_SYSTEM, "SELECT * FROM camera ORDER BY id"));
}

TEST_F(AlertEvents, AreConvertedTogetherOrNotAtAll) {
    Sql(DB_SYSTEM,
        "INSERT INTO camera(id, alert_event) VALUES(1, 1), (2, 1);"
        "CREATE TRIGGER no2 BEFORE UPDATE ON camera WHEN NEW.id = 2 BEGIN SELECT RAISE(ABORT, 'no'); END;");
    EXPECT_EQ(-1, migrations::UpdateCameraAlertEventType());
    EXPECT_EQ("1|1|\n2|1|\n", Rows(DB_SYSTEM, "SELECT id, alert_event, alert_event_type FROM camera"));
    const std::string update =
        "UPDATE camera SET alert_event = 0, adv_live_trig_event = 0, adv_contious_trig_event = 0,"
        " alert_event_type = '" +
        Flags({0}) + "', adv_live_trig_event_type = '" + Flags({}) + "', adv_cont_trig_event_type = '" +
        Flags({}) + "'  WHERE id=";
    EXPECT_EQ(1, CountInLog("(UpdateCameraAlertEventType): Failed to execute sql: " + update + "1;" + update +
                            "2;.\n"));
    EXPECT_EQ("", Settings());
}

}  // namespace
