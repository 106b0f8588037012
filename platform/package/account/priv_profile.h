// Privilege profiles: the objects and operations that the users bound to a profile may not use.
//
// A profile is one row of table privilegeprofile, with one row each of privilegepercamera and
// privilegeperdoor. Everything stored is a denial: what no list and no string names is allowed.
#pragma once

#include <list>
#include <optional>
#include <set>
#include <string>

#include "platform/package/account/adv_oper.h"
#include "platform/package/account/priv_rights.h"

// Values of column privilege.
enum PRIV_LEVEL : int {
    PRIV_LEVEL_NONE = -2,  // every object and operation denied
    PRIV_LEVEL_ADMIN = 0,  // every operation allowed
    PRIV_LEVEL_MANAGER = 1,
    PRIV_LEVEL_SPECTATOR = 2,
};

// The denied objects of one kind: single ones, and every one of a recording server.
struct PRIV_ID_SET {
    std::set<int> ids;
    std::set<int> dsIds;
};

// The same for kinds that come in groups.
struct PRIV_ID_WTIH_GRP_SET : PRIV_ID_SET {
    std::set<int> grpIds;
};

// The denied objects of kinds whose column for all is a number: the layout types, the flag of all servers.
struct PRIV_ID_OR_ALL {
    std::set<int> ids;
    std::optional<long long> all;
};

// Profiles to list.
struct PrivProfileFilterRule {
    std::set<int> ids;  // empty: every profile
};

class PrivProfile {
public:
    static constexpr int kAllObjManagerId = 1;
    static constexpr int kAllObjSpectatorId = 2;

    PrivProfile() = default;

    // Returns 0, or -1 when there is no such profile or it cannot be read; the object is then as it was.
    [[nodiscard]] int Load(int id);

    // The profiles that match, by ascending id. Returns 0, or -1 when they cannot be read.
    [[nodiscard]] static int LoadList(const PrivProfileFilterRule& rule, std::list<PrivProfile>& profiles);

    // Writes every column of the loaded profile's rows, or none. A profile without a row in one of the two
    // tables by object gets one only when it denies something there.
    [[nodiscard]] int Save() const;

    // Deletes the loaded profile with its rows in the tables by object.
    [[nodiscard]] int Delete() const;

    // The statements of Save, for writing several profiles at once; '' when no profile is loaded.
    std::string GetUpdateSql() const;

    int GetId() const { return m_id; }

    // A missing level reads as 0, the admin level.
    int GetPrivilege() const { return static_cast<int>(m_privilege.value_or(PRIV_LEVEL_ADMIN)); }

    const std::set<int>& GetInaCamIdSet(CAM_PRIV_TYPE right, bool groups) const {
        return groups ? m_cam[right].grpIds : m_cam[right].ids;
    }
    void SetInaCamIdSet(CAM_PRIV_TYPE right, const std::set<int>& ids) { m_cam[right].ids = ids; }

    void SetInaEmapIdSet(ITEM_PRIV_TYPE right, const std::set<int>& ids) { m_emap[right].ids = ids; }

    // The flag is reserved: layouts have no groups.
    const std::set<int>& GetInaLayoutIdSet(ITEM_PRIV_TYPE right, bool = false) const {
        return m_layout[right].ids;
    }
    void SetInaLayoutIdSet(ITEM_PRIV_TYPE right, const std::set<int>& ids) { m_layout[right].ids = ids; }

    // Grants or denies one layout.
    void SetLayoutAccess(int layoutId, ITEM_PRIV_TYPE right, bool grant);

    // Grants or denies the I/O modules of a recording server as a whole; modules that are denied by their own
    // id stay denied.
    void SetAllIOAccess(int dsId, bool grant);

    // See adv_oper.h.
    std::string GetAdvOper() const { return m_advOperator.value_or(""); }

    // Grants or denies one operation; a string that is too short gets its current length.
    void SetOperAccess(int position, bool grant);

    // True for the default manager, spectator and admin profiles.
    static bool IsDefaultProfileId(int id);

    // The operation strings of a user's profile, from a string of any length, and of the default spectator.
    static std::string GetDefaultUserAdvOper(const std::string& advOper) {
        return AdvOper::ContinueWithDefaults(advOper);
    }
    static std::string GetAllObjViewerAdvOper() { return AdvOper::DefaultsDenied(); }

private:
    // The columns of the three tables with the members that hold them: visit(column, member) for each.
    template <class Profile, class Visit>
    static void VisitColumns(Profile& profile, Visit&& visit);
    template <class Profile, class Visit>
    static void VisitCameraColumns(Profile& profile, Visit&& visit);
    template <class Profile, class Visit>
    static void VisitDoorColumns(Profile& profile, Visit&& visit);

    int m_id = 0;
    // NULL in the table is no value here, and is written back as NULL.
    std::optional<std::string> m_name;
    std::optional<long long> m_privilege;
    std::optional<std::string> m_description;
    std::optional<std::string> m_customUid;  // also as old builds wrote it: hexadecimal, octal
    std::optional<std::string> m_operation;  // first generation
    std::optional<long long> m_advOperMask;  // second generation
    std::optional<std::string> m_advOperator;
    PRIV_ID_WTIH_GRP_SET m_firstCam;  // cameras before rights were told apart
    PRIV_ID_WTIH_GRP_SET m_cam[CAM_PRIV_TYPE_COUNT];
    PRIV_ID_SET m_door[kDoorRights];
    PRIV_ID_SET m_emap[ITEM_PRIV_TYPE_COUNT];
    PRIV_ID_OR_ALL m_layout[ITEM_PRIV_TYPE_COUNT];
    PRIV_ID_SET m_ioModule;
    PRIV_ID_OR_ALL m_server;
    PRIV_ID_WTIH_GRP_SET m_ipSpeaker;
};

// The profiles that match, by ascending id; none when they cannot be read.
std::list<PrivProfile> PrivProfileListGetAll(const PrivProfileFilterRule& rule = {});

// Saves every profile of the list or, when one cannot be saved, none. Returns 0 or -1.
[[nodiscard]] int BatchUpdatePrivProfile(std::list<PrivProfile>& profiles);

// Grants or denies the web map in every profile whose level leaves it open: an admin is denied no operation,
// and the none profile is granted none. Returns 0 or -1.
[[nodiscard]] int SetWebMapAccessToAllPrivProfile(bool grant);

// The id of the default admin profile, -1 when there is none.
int GetDefAdminProfileId();
