// The sample systems of old builds, upgraded as a whole by the real program.
#include <cstdlib>
#include <sstream>
#include <string>

#include "tests/support/system_tree.h"

namespace {

class SampleSystem : public SystemTree, public testing::WithParamInterface<const char*> {
protected:
    SampleSystem() {
        const std::string make = SOURCE_DIR "/scripts/sample-system " + std::string(GetParam());
        EXPECT_EQ(0, std::system((make + " '" + Path("") + "'").c_str()));
        InstallSchemaFiles();
    }

    // The text with what is repeated told once: "1{336}", "{FF000000,}{336}".
    static std::string Compact(const std::string& text) {
        std::string result;
        for (size_t at = 0; at < text.size();) {
            size_t length = 1, times = 1;
            for (size_t unit = 1; unit <= 9 && times * length < 20; ++unit) {
                length = unit;
                times = 1;
                while (at + (times + 1) * unit <= text.size() &&
                       text.compare(at + times * unit, unit, text, at, unit) == 0)
                    ++times;
            }
            const bool repeats = times * length >= 20;
            result += repeats ? '{' + text.substr(at, length) + "}{" + std::to_string(times) + '}'
                              : text.substr(at, 1);
            at += repeats ? length * times : 1;
        }
        return result;
    }

    // The settings and every row, a line each, without columns that hold nothing.
    static std::string EndState() {
        std::string state = "settings.conf\n" + Settings();
        for (int i = 0; i < DB_INSTANCE_COUNT; ++i) {
            const DB_INSTANCE db = static_cast<DB_INSTANCE>(i);
            state += "\n" + VGDB::GetDBName(db) + "\n";
            std::istringstream selects(Rows(
                db,
                "SELECT 'SELECT ''' || t.name || '''' || group_concat(' || iif(ifnull(\"' || c.name || '\", '''') IN"
                " ('''', 0), '''', '' ' || c.name || '='' || ' || iif(c.name = 'log_time', 'iif(log_time >"
                " unixepoch() - 3600, ''now'', log_time)', 'quote(\"' || c.name || '\")') || ')', '') || ' FROM \"'"
                " || t.name || '\" ORDER BY rowid' FROM sqlite_schema t, pragma_table_info(t.name) c"
                " WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite%' GROUP BY t.name ORDER BY t.name"));
            for (std::string select; std::getline(selects, select);)
                state += Rows(db, select);
        }
        return Compact(state);
    }

    static int Upgrade() { return RunUpgrader(GetParam()); }
};

// tests/data holds the end states; with VG_WRITE_END_STATES in the environment they are written anew, for review.
TEST_P(SampleSystem, EndsAsTestsDataHasIt) {
    ASSERT_EQ(0, Upgrade()) << Log();
    const std::string file = SOURCE_DIR "/tests/data/end_of_" + std::string(GetParam()) + ".txt";
    const std::string state = EndState();
    if (std::getenv("VG_WRITE_END_STATES"))
        WriteFile(file, state);
    EXPECT_EQ(ReadFile(file), state);
}

INSTANTIATE_TEST_SUITE_P(OfBuild, SampleSystem, testing::Values("6500", "3000", "2300"),
                         [](const auto& build) { return std::string(build.param); });

}  // namespace
