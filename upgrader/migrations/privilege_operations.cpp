// Operations that a privilege profile denies: bits of a mask first, characters of a string later.
#include <initializer_list>
#include <optional>
#include <string>

#include "platform/base/strings.h"
#include "platform/package/account/priv_profile.h"
#include "upgrader/dataaccess/sql.h"
#include "upgrader/migrations.h"

namespace {

constexpr const char* kFailedCommand = "Failed to execute sql command [%s].\n";

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
    return ExecuteSql(DB_SYSTEM, sql, kFailedCommand, site);
}

// Admins and the default manager are denied no operation; a level that is missing counts as an admin's.
bool IsDeniedNothing(const Rows& profile, long long id) {
    return profile.Int64("privilege") == PRIV_LEVEL_ADMIN || id == PrivProfile::kAllObjManagerId;
}

// The string of the mask, whose places beyond the mask's bits are the profile's as a whole.
std::string FromMask(unsigned long long mask, char rest) {
    std::string operations(PrivProfile::kLongAdvOperLength, rest);
    for (size_t bit = 0; bit < PrivProfile::kAdvOperMaskBits; ++bit)
        operations[bit] = (mask >> bit & 1) != 0 ? '1' : '0';
    return operations;
}

// What takes the place of a string that is too short.
std::string AtCurrentLength(const Rows& profile, long long id) {
    if (IsDeniedNothing(profile, id))
        return PrivProfile::GetAllObjManagerAdvOper();
    if (id == PrivProfile::kAllObjSpectatorId)
        return PrivProfile::GetAllObjViewerAdvOper();
    // Builds that made the none profile before there were strings left it without one.
    if (profile.Int64("privilege") == PRIV_LEVEL_NONE)
        return std::string(PrivProfile::kLongAdvOperLength, '1');
    return PrivProfile::GetDefaultUserAdvOper(profile.String("ina_adv_operator"));
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
                      kFailedCommand);
}

int once::ExtendPrivAdvOper() {
    Rows profiles;
    if (QuerySql(
            DB_SYSTEM,
            "SELECT id, privilege, ina_adv_oper FROM privilegeprofile WHERE privilege != -2 ORDER BY id;",
            profiles))
        return -1;
    std::string batch;
    while (profiles.Next())
        if (const std::optional<long long> id = profiles.Id("id"))
            batch +=
                "UPDATE privilegeprofile SET ina_adv_operator = " +
                VGDB::QuoteEscape(FromMask(static_cast<unsigned long long>(profiles.Int64("ina_adv_oper")),
                                           IsDeniedNothing(profiles, *id) ? '0' : '1')) +
                " WHERE id = " + std::to_string(*id) + ";";
    return ExecuteSql(DB_SYSTEM, batch);
}

int CorrectAllObjPrivAdvOper() {
    return ExecuteSql(DB_SYSTEM,
                      "UPDATE privilegeprofile SET ina_adv_operator = '" +
                          PrivProfile::GetAllObjManagerAdvOper() +
                          "' WHERE id = 1;UPDATE privilegeprofile SET ina_adv_operator = '" +
                          PrivProfile::GetAllObjViewerAdvOper() + "' WHERE id = 2;",
                      "Failed to execute sql: %s.\n");
}

// Strings that an older build left too short get the length of today. Longer ones are whole.
int UpdatePrivAdvOper() {
    Rows profiles;
    if (QuerySql(DB_SYSTEM,
                 StringPrintf("SELECT id, privilege, ina_adv_operator FROM privilegeprofile"
                              " WHERE LENGTH(ina_adv_operator) < %zu;",
                              PrivProfile::kAdvOperLength),
                 profiles, "Failed to execute sql: %s.\n"))
        return -1;
    std::string batch;
    while (profiles.Next())
        if (const std::optional<long long> id = profiles.Id("id"))
            batch += "UPDATE privilegeprofile SET ina_adv_operator = " +
                     VGDB::QuoteEscape(AtCurrentLength(profiles, *id)) +
                     " WHERE id = " + std::to_string(*id) + ";";
    return ExecuteSql(DB_SYSTEM, batch);
}

}  // namespace migrations
