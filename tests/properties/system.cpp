#include "tests/properties/system.h"

#include <sqlite3.h>

#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

using Strings = std::vector<std::string>;

constexpr const char* kTarget = "var/packages/Vigilo/target";

// A table as the package declares it today; old builds had a part of it.
struct Declared {
    std::string name;
    Strings columns, types;
    std::vector<bool> isKey;
};

std::unique_ptr<sqlite3, int (*)(sqlite3*)> Open(const std::string& path) {
    sqlite3* db = nullptr;
    if (sqlite3_open(path.c_str(), &db) != SQLITE_OK)
        throw std::runtime_error(path);
    return {db, sqlite3_close};
}

void Execute(sqlite3* db, const std::string& sql) {
    if (sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
        throw std::runtime_error(sqlite3_errmsg(db) + std::string(": ") + sql);
}

std::vector<Declared> ReadSchema(const fs::path& file) {
    std::ostringstream sql;
    sql << std::ifstream(file).rdbuf();
    const auto db = Open(":memory:");
    Execute(db.get(), sql.str());
    std::vector<Declared> tables;
    sqlite3_stmt* columns = nullptr;
    sqlite3_prepare_v2(db.get(),
                       "SELECT t.name, c.name, c.type, c.pk FROM sqlite_schema t, pragma_table_info(t.name) c"
                       " WHERE t.type = 'table' ORDER BY t.rowid, c.cid",
                       -1, &columns, nullptr);
    const auto text = [&](int i) { return reinterpret_cast<const char*>(sqlite3_column_text(columns, i)); };
    while (sqlite3_step(columns) == SQLITE_ROW) {
        if (tables.empty() || tables.back().name != text(0))
            tables.push_back({text(0), {}, {}, {}});
        tables.back().columns.push_back(text(1));
        tables.back().types.push_back(text(2));
        tables.back().isKey.push_back(sqlite3_column_int(columns, 3) > 0);
    }
    sqlite3_finalize(columns);
    return tables;
}

// By the database's name, the main one first.
const std::map<std::string, std::vector<Declared>, std::greater<>>& Schema() {
    static const auto kSchema = [] {
        std::map<std::string, std::vector<Declared>, std::greater<>> schema;
        const std::set<std::string> beside{"system", "axisacsctrl", "axisacsctrl_temp", "pos"};
        for (const auto& file : fs::directory_iterator(SOURCE_DIR "/schema")) {
            const std::string name = file.path().stem();
            schema[(beside.contains(name) ? "" : "@vigilo/") + name + ".db"] = ReadSchema(file.path());
        }
        return schema;
    }();
    return kSchema;
}

// What migrations look for in a column; the first is the plainest.
const std::map<std::string, Strings> kTelling = {
    {"vendor",
     {"'Grandstream'", "'TRENDNet'", "'ETROVISION'", "'HIKVISION'", "'COMPRO'", "'Vivotek'", "'D-Link'"}},
    {"model",
     {"'M3006'", "'GXV3500'", "'GXV3662 HD'", "'GXV3601 LL'", "'TV-IP612WN'", "'EV8180AX'", "'DS2CD832F'",
      "'P3384'", "'AirCam OD-2025HD'", "'X1(NTSC)'", "'X1(PAL)'", "'DCS-3410'", "'NCB858'"}},
    {"resolution",
     {"'640x480'", "'VGA'", "'4CIF'", "'DCIF'", "'160x80'", "'320x176'", "'640x352'", "'2048x1536'",
      "'1600x1200'"}},
    {"fov", {"''", "'Turbo Picture (Max. 15FPS)'", "'Motion Adaptive (Max. 30FPS)'"}},
    {"profile_setting_list", {"''", "'0,1,2'", "'0,1,2,0,1,2,0,1,2,0,1,2,0,1,2'", "'2,2,2,2'"}},
    {"notifyschedule", {"''", "'ff,0'", "'FFFFFF,000000'", "'1,22,333,4444444444'"}},
    {"privilege", {"0", "1", "2", "-2", "3"}},
    {"custom_uid", {"''", "'0'", "'1026'", "'0x404'", "'1099'", "'1026x'"}},
    {"name", {"'alice'", "'custom_alice'", "'All-Object Manager'", "'None'", "'event10'"}},
    {"ina_adv_oper", {"0", "1", "64", "106428313966200864", "-1"}},
    {"ina_adv_operator", {"''", "'0'", "'111'", "'0000010000010011111111111110101'", "printf('%079d', 0)"}},
    {"privprofileids", {"''", "'1'", "'1,2,99'"}},
    {"event_type", {"5", "0", "33", "90", "109", "62", "4", "121", "122"}},
    {"event_group", {"1", "2", "3"}},
    {"filter", {"1", "33", "0", "-1"}},
    {"home_mode_filter", {"0", "1", "-1"}},
    {"schedule", {"''", "printf('%0336d', 0)", "replace(printf('%0336d', 0), '0', '1')", "'1'"}},
    {"setting", {"''", R"('[{"type":1,"categ":1}]')", R"('[{"type":4,"categ":2,"text":"x"},7]')"}},
    {"text", {"''", R"('["a","b","","",""]')", R"('["a"')", "'[1,{}]'"}},
    {"enabled", {"0", "1", "5", "31", "255"}},
    {"email", {"'a@example.com'", "'b@example.com'"}},
    {"email2", {"'a@example.com'", "''"}},
    {"path",
     {"''", "'/var/services/vigilo/Yard/1.mp4'", "'/volume1/archives/@archive/x/1.mp4'", "'../../x'"}},
};

const Strings kPlainText = {"''", "'1'", "'1,2'", "'x'", "'3,77'", "'-1'", "'1,2,3,4'", "'0'"};
const Strings kPlainNumber = {"0", "1", "2", "3", "5", "-1", "64", "16777217", "86400"};
const Strings kOdd = {"NULL",
                      "''",
                      "-2147483649",
                      "9223372036854775807",
                      "1.5",
                      "'it''s'",
                      "'\"; DROP TABLE camera; --'",
                      "'ü€'",
                      "CAST(x'ff41' AS TEXT)",
                      "x'00ff'",
                      "'a' || char(0) || 'b'",
                      "' 3'",
                      "'0x10'",
                      "'1,,2,-1,77,'",
                      "'[]'",
                      R"('{"a":[{}]}')",
                      "'two' || char(10) || 'lines'",
                      "printf('%0300d', 7)",
                      "'99999999999999999999'"};

const Strings kSettings = {
    "vg_upgrader_version=\"8.2.4-6479\"",
    "cam_noti_sched_char_num=\"6\"",
    "cam_noti_sched_char_num=\"8\"",
    "cam_noti_sched_char_num=\"wide\"",
    "upgrade_notification_event=\"true\"",
    "upgrade_ina_adv_operator=\"true\"",
    "upgrade_camera_alert_event_type=\"true\"",
    "upgrade_event_label_setting_to_json=\"true\"",
    "upgrade_manager_priv=\"false\"",
    "upgrade_integrate_pre_post_rec=\"true\"",
    "noti_filter_notify_type_0=\"1\"",
    "noti_filter_intercom_access=\"7\"",
    "noti_filter_notify_type_90=x",
    "vg_cms=\"true\"",
    "vg_cms_mode=\"0\"",
    "vg_cms_auto_video_relay=true",
    "vg_dp_auto_download=\"true\"",
    "vg_client_download_server=\"a\\\"b\\\\c\"",
    "# a comment",
    "no line of ours",
    "=",
    "vg_cms=\"a second time\"",
};

// In all of these the first is the plainest, to which a finding shrinks.
rc::Gen<int> Below(int end) { return rc::gen::resize(100, rc::gen::inRange(0, end)); }

template <typename T>
rc::Gen<T> Of(std::vector<T> values) {
    return rc::gen::map(Below(static_cast<int>(values.size())),
                        [values](int i) { return values[static_cast<size_t>(i)]; });
}

// Rather no, or rather yes: one in so many is the other.
bool Seldom(int oneIn) { return *Below(oneIn) == oneIn - 1; }

template <typename T>
std::vector<T> Some(int most, rc::Gen<T> element) {
    return *rc::gen::resize(most, rc::gen::container<std::vector<T>>(rc::gen::resize(100, element)));
}

std::string Quoted(const std::string& name) {
    std::string quoted = "\"";
    for (const char c : name)
        quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
    return quoted + '"';
}

const Strings& PlainValues(const std::string& column, const std::string& type) {
    const std::string last = column.substr(column.rfind('_') + 1);
    for (const std::string& name : {column, last})
        if (const auto found = kTelling.find(name); found != kTelling.end())
            return found->second;
    return type == "INTEGER" ? kPlainNumber : kPlainText;
}

// A value for each column that the table has today: which of them the old table had is another matter.
rc::Gen<Strings> Rows(const Declared& declared) {
    return rc::gen::exec([&declared] {
        Strings row;
        for (size_t i = 0; i < declared.columns.size(); ++i)
            if (declared.isKey[i])
                row.push_back(std::to_string(1 + *Below(6)));
            else
                row.push_back(*Of(Seldom(4) ? kOdd : PlainValues(declared.columns[i], declared.types[i])));
        row.push_back(*Of(kOdd));  // of a foreign column
        return row;
    });
}

// What every build saw to: profile 1 is there, and has a level; the filters stand in one row.
void KeepHabits(const Declared& declared, std::vector<Strings>& rows) {
    if ((declared.name == "notificationfilter" || declared.name == "homemodenotifyfilter") && rows.size() > 1)
        rows.resize(1);
    if (declared.name != "privilegeprofile")
        return;
    if (rows.empty())
        rows.push_back(*Rows(declared));
    for (size_t i = 0; i < declared.columns.size(); ++i) {
        if (declared.columns[i] == "id")
            rows[0][i] = "1";
        if (declared.columns[i] == "privilege")
            rows[0][i] = std::to_string(*Below(2));
    }
}

rc::Gen<Table> OldTable(const Declared& declared) {
    return rc::gen::exec([&declared] {
        auto rows = Some(5, Rows(declared));
        KeepHabits(declared, rows);
        Table table{declared.name, {}, {}, {}, false, false};
        std::vector<size_t> present, keys;
        Strings keyNames;
        const auto kept = *rc::gen::container<std::vector<int>>(declared.columns.size(), Below(8));
        for (size_t i = 0; i < declared.columns.size(); ++i) {
            if (declared.isKey[i]) {
                keyNames.push_back(declared.columns[i]);
                keys.push_back(i);
            } else if (kept[i] == 0) {
                continue;
            }
            table.names.push_back(declared.columns[i]);
            // Old builds did not always say of what type, and gave no default.
            table.columns.push_back(declared.columns[i] +
                                    (kept[i] == 1 && !declared.isKey[i] ? "" : ' ' + declared.types[i]));
            present.push_back(i);
        }
        if (table.columns.empty()) {
            table.names.push_back(declared.columns[0]);
            table.columns.push_back(declared.columns[0]);
            present.push_back(0);
        }
        // Counts, and what the none profile is denied, are made anew.
        if (Seldom(4) && !declared.name.ends_with("cnt") && !declared.name.starts_with("privilegeper")) {
            const std::string name = *Of(Strings{"zz_own", "zz_a \"b", "zz_größe"});
            table.names.push_back(name);
            table.columns.push_back(Quoted(name) + *Of(Strings{"", " TEXT NOT NULL DEFAULT 'x'", " BLOB"}));
            present.push_back(declared.columns.size());
            if (Seldom(2))
                table.columns.push_back(
                    *Of(Strings{"zz_made AS (1 + 1)", "zz_made TEXT AS ('x' || 1) STORED"}));
        }
        if (!keys.empty()) {
            std::string list;
            for (const std::string& name : keyNames)
                list += (list.empty() ? "" : ", ") + name;
            const bool unique = Seldom(6);
            table.columns.push_back((unique ? "UNIQUE (" : "PRIMARY KEY (") + list + ")");
            table.withoutRowid = !unique && Seldom(6);
        }
        std::set<Strings> taken;
        for (const Strings& row : rows) {
            Strings key, values;
            for (const size_t i : keys)
                key.push_back(row[i]);
            for (const size_t i : present)
                values.push_back(row[i] == "NULL" && i == declared.columns.size() ? "''" : row[i]);
            if (keys.empty() || taken.insert(key).second)
                table.rows.push_back(values);
        }
        table.trigger = Seldom(8);
        return table;
    });
}

rc::Gen<Table> ForeignTable() {
    return rc::gen::exec([] {
        Table table{*Of(Strings{"zz_notes", "zz_my \"table", "zz_tür"}),
                    {"id INTEGER PRIMARY KEY", "\"a b\""},
                    {},
                    {},
                    false,
                    false};
        table.names = {"id", "a b"};
        const auto values = Some(3, Of(kOdd));
        for (size_t i = 0; i < values.size(); ++i)
            table.rows.push_back({std::to_string(i), values[i]});
        return table;
    });
}

rc::Gen<Database> OldDatabase(const std::string& name, const std::vector<Declared>& declared) {
    return rc::gen::exec([&name, &declared] {
        Database database{name, "UTF-8", 4096, false, {}};
        // Each table once, most of the time a handful of them.
        std::set<std::string> taken;
        for (const int i : Some(8, Below(static_cast<int>(declared.size()))))
            if (const Declared& table = declared[static_cast<size_t>(i)]; taken.insert(table.name).second)
                database.tables.push_back(*OldTable(table));
        if (Seldom(4))
            database.tables.push_back(*ForeignTable());
        database.encoding = *Of(Strings{"UTF-8", "UTF-8", "UTF-16le", "UTF-16be"});
        database.pageSize = *Of(std::vector<int>{4096, 512, 65536});
        database.writeAhead = Seldom(4);
        return database;
    });
}

std::string Joined(const Strings& parts) {
    std::string all;
    for (const std::string& part : parts)
        all += (all.empty() ? "" : ", ") + part;
    return all;
}

bool IsForeign(const std::string& name) { return name.find(kForeign) <= 1; }

std::string Sql(const Table& table, Form form) {
    Strings columns, names;
    for (const std::string& column : table.columns)
        if (form != Form::WithoutForeign || !IsForeign(column))
            columns.push_back(column);
    std::string sql = "CREATE TABLE " + Quoted(table.name) + " (" + Joined(columns) + ")" +
                      (table.withoutRowid ? " WITHOUT ROWID;\n" : ";\n");
    Strings rows;
    for (const Strings& row : table.rows) {
        Strings values;
        names.clear();
        for (size_t i = 0; i < row.size(); ++i)
            if (form != Form::WithoutForeign || !IsForeign(table.names[i])) {
                names.push_back(Quoted(table.names[i]));
                values.push_back(row[i]);
            }
        rows.push_back("INSERT INTO " + Quoted(table.name) + " (" + Joined(names) + ") VALUES (" +
                       Joined(values) + ");\n");
    }
    if (form == Form::RowsReversed)
        rows = {rows.rbegin(), rows.rend()};
    for (const std::string& row : rows)
        sql += row;
    if (table.trigger && form != Form::WithoutForeign)
        sql += "CREATE TABLE IF NOT EXISTS zz_updates (of TEXT);\nCREATE TRIGGER zz_count_" + table.name +
               " AFTER UPDATE ON " + Quoted(table.name) + " BEGIN INSERT INTO zz_updates VALUES ('" +
               table.name + "'); END;\n";
    return sql;
}

std::string Sql(const Database& database, Form form) {
    if (database.tables.empty())
        return "";
    std::string sql = "PRAGMA encoding = '" + database.encoding +
                      "';\nPRAGMA page_size = " + std::to_string(database.pageSize) + ";\n" +
                      (database.writeAhead ? "PRAGMA journal_mode = wal;\n" : "");
    for (const Table& table : database.tables)
        if (form != Form::WithoutForeign || !IsForeign(table.name))
            sql += Sql(table, form);
    return sql;
}

}  // namespace

rc::Gen<System> Systems() {
    return rc::gen::exec([] {
        System system;
        system.build = 9760 - *Below(9760 - 2210 + 1);
        for (const auto& [name, declared] : Schema())
            if (name == "system.db" || Seldom(3))
                system.databases.push_back(*OldDatabase(name, declared));
        system.settings = Some(8, Of(kSettings));
        return system;
    });
}

void Lay(const System& system, const fs::path& tree, Form form) {
    const fs::path target = tree / kTarget;
    for (const char* folder : {"@vigilo", "@VGData"})
        fs::create_directories(target / folder);
    for (const char* folder : {"etc", "var/log/vigilo", "var/packages/Vigilo/etc"})
        fs::create_directories(tree / folder);
    fs::copy(SOURCE_DIR "/schema", target / "schema");
    for (const Database& database : system.databases) {
        std::ofstream(target / database.name).close();
        if (!database.tables.empty())
            Execute(Open(target / database.name).get(), Sql(database, form));
    }
    std::ofstream settings(tree / "var/packages/Vigilo/etc/settings.conf");
    for (const std::string& line : system.settings)
        settings << line << '\n';
    std::ofstream(tree / "var/packages/Vigilo/etc/package.conf")
        << "version=\"9.2.9-9760\"\nfile_download_server=\"https://download.example.com\"\n";
    std::ofstream(tree / "etc/passwd") << "root:x:0:0::/:\nalice:x:1026:100::/:\nmueller:x:1028:100::/:\n";
}

void showValue(const System& system, std::ostream& out) {
    out << "\nbuild " << system.build << '\n';
    for (const std::string& line : system.settings)
        out << line << '\n';
    for (const Database& database : system.databases)
        out << database.name << (database.tables.empty() ? " is empty\n" : ":\n")
            << Sql(database, Form::AsItIs);
}
