// Operations that a privilege profile denies: bits of a mask first, characters of a string later.
#include <initializer_list>
#include <string>

#include "platform/base/strings.h"
#include "platform/package/account/adv_oper.h"
#include "platform/package/account/priv_profile.h"
#include "upgrader/dataaccess/query_result.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace {

// Length of the strings that the masks became, of which the mask gives the first 64 characters.
constexpr size_t kConvertedLength = 128;

// How the statements tell the levels: 1 are managers, 2 are spectators.
constexpr const char* kOfManagers = ") WHERE privilege = 1;";
constexpr const char* kOfSpectators = ") WHERE privilege = 2;";
constexpr const char* kOfSpectatorsOldForm = ") WHERE privilege =2";
constexpr const char* kOfBothOldForm = ") WHERE privilege =2 or privilege =1";
constexpr const char* kOfBothButDefaultManager = ") WHERE (privilege = 2 OR privilege = 1) AND id <> 1;";

// Operations, as bits of the mask, that the profiles of some levels are denied.
struct Denial {
    const char* mask;
    const char* levels;
};

// Adds the operations to what the profiles are denied, which a second run does not change.
int DenyOperations(std::initializer_list<Denial> denials, LogSite site = LogSite::Here()) {
    std::string sql;
    for (const auto& [mask, levels] : denials)
        sql += std::string("UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | ") + mask + levels;
    return ExecuteSql(DB_SYSTEM, sql, "Failed to execute sql command [%s].\n", site);
}

// Admins and the default manager are denied no operation; a level that is missing counts as an admin's.
bool IsDeniedNothing(const QueryResult& profile) {
    return profile.Int("privilege") == 0 || profile.Int("id") == PrivProfile::kAllObjManagerId;
}

}  // namespace

namespace migrations {

// Bit 5.
int UpdateDelteRecPriv() { return DenyOperations({{"32", kOfSpectatorsOldForm}}); }

// Bits 11, 14.
int UpdateDelAndEditSnapshotPriv() { return DenyOperations({{"18432", kOfSpectatorsOldForm}}); }

// Bits 15, 16.
int UpdateRecExportMountPriv() { return DenyOperations({{"98304", kOfSpectatorsOldForm}}); }

int once::UpdateManagerOperPriv() {
    return DenyOperations({{"81002496", kOfBothButDefaultManager},  // bits 18, 20, 22, 23, 26
                           {"53084160", kOfSpectators}});           // bits 17, 19, 21, 24, 25
}

// Bits 30, 31.
int once::UpdateIVAOperPriv() { return DenyOperations({{"3221225472", kOfSpectators}}); }

// Bits 34 to 41, 43, 44.
int UpdateDoorPriv() { return DenyOperations({{"30769145708544", kOfSpectators}}); }

// Bit 49.
int UpdateIntercomPriv() { return DenyOperations({{"562949953421312", kOfSpectators}}); }

int UpdatePOSPriv() {
    return DenyOperations({{"105834591243206656", kOfSpectators},  // bits 51 to 54, 56
                           {"4503599627370496", kOfManagers}});    // bit 52
}

// Bit 28.
int UpdateHomeModePriv() { return DenyOperations({{"268435456", kOfBothOldForm}}); }

// Bit 52 was denied to every manager; the default manager gets it back. It is set before it is subtracted, so
// that the statement clears it whatever its state.
int GrantAllObjMgrTransDeviceAddDelPriv() {
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE privilegeprofile SET ina_adv_oper = (ina_adv_oper | 4503599627370496) -"
                      " 4503599627370496 WHERE id = 1;",
                      "Failed to execute sql command [%s].\n");
}

int once::ExtendPrivAdvOper() {
    const std::string query =
        "SELECT id, privilege, ina_adv_oper FROM privilegeprofile WHERE privilege != -2 ORDER BY id;";
    QueryResult rows;
    if (QuerySql(DB_SYSTEM, query, rows, "Failed to execute sql: %s\n"))
        return -1;
    std::string batch;
    while (rows.Next()) {
        std::string operations(kConvertedLength, IsDeniedNothing(rows) ? '0' : '1');
        const auto mask = static_cast<unsigned long long>(rows.Int64("ina_adv_oper"));
        for (int bit = 0; bit < AdvOper::kMaskBits; ++bit)
            operations[static_cast<size_t>(bit)] = (mask >> bit & 1) != 0 ? '1' : '0';
        batch += "UPDATE privilegeprofile SET ina_adv_operator = " + VGDB::QuoteEscape(operations) +
                 " WHERE id = " + std::to_string(rows.Int("id")) + ";";
    }
    return ExecuteSql(DB_SYSTEM, batch, "Failed to execute sql: %s\n");
}

int CorrectAllObjPrivAdvOper() {
    const std::string sql = StringPrintf(
        "UPDATE privilegeprofile SET ina_adv_operator = '%s' WHERE id = %d;"
        "UPDATE privilegeprofile SET ina_adv_operator = '%s' WHERE id = %d;",
        AdvOper::NothingDenied().c_str(), PrivProfile::kAllObjManagerId,
        PrivProfile::GetAllObjViewerAdvOper().c_str(), PrivProfile::kAllObjSpectatorId);
    return ExecuteSql(DB_SYSTEM, sql, "Failed to execute sql: %s.\n");
}

// Strings that an older build left too short get the length of today. Longer ones are whole.
int UpdatePrivAdvOper() {
    const std::string query = StringPrintf(
        "SELECT id, privilege, ina_adv_operator FROM privilegeprofile WHERE LENGTH(ina_adv_operator) < %d;",
        AdvOper::kLength);
    QueryResult rows;
    if (QuerySql(DB_SYSTEM, query, rows, "Failed to execute sql: %s.\n"))
        return -1;
    std::string batch;
    while (rows.Next()) {
        std::string operations;
        if (IsDeniedNothing(rows))
            operations = AdvOper::NothingDenied();
        else if (rows.Int("id") == PrivProfile::kAllObjSpectatorId)
            operations = PrivProfile::GetAllObjViewerAdvOper();
        else
            operations = PrivProfile::GetDefaultUserAdvOper(rows.String("ina_adv_operator"));
        batch += StringPrintf("UPDATE privilegeprofile SET ina_adv_operator = '%s' WHERE id = %d;",
                              VGDB::EscapeString(operations).c_str(), rows.Int("id"));
    }
    return batch.empty() ? 0 : ExecuteSql(DB_SYSTEM, batch, "Failed to execute sql: %s\n");
}

}  // namespace migrations
