// Cameras as the package keeps them: table camera of the main database, in whatever form an old build has
// left it. A database that lacks one of the columns gives cameras without that value.
#pragma once

#include <list>
#include <set>
#include <string>
#include <utility>

class Camera {
public:
    Camera(int id, std::string name, std::string notifySchedule)
        : m_id(id), m_name(std::move(name)), m_notifySchedule(std::move(notifySchedule)) {}

    int GetId() const { return m_id; }

    // '' when the camera has none, as below.
    const std::string& GetName() const { return m_name; }

    // The notification schedule as stored: hexadecimal words joined by ",", one a half hour of the week. The
    // digits of a word are as many as the build that wrote it knew (settings key cam_noti_sched_char_num).
    const std::string& GetNotifySchedule() const { return m_notifySchedule; }

    // Gives the camera a settings file where it has none. Where that file is is not settled; returns 0.
    [[nodiscard]] int UpdateCamSettingsConf() const;

private:
    int m_id;
    std::string m_name;
    std::string m_notifySchedule;
};

// Which cameras a list holds: as constructed, all of them.
struct CamFilterRule {
    std::set<int> ids;       // only these; empty for every id
    bool localOnly = false;  // only those of this system (ds_id is 0), not of its recording servers
};

// The cameras that the rule admits, in ascending id order; of rows that share an id the first. Replaces what
// the list held. Returns 0 on success, also when there is none; -1 when the table cannot be read (the list is
// then empty), logged by the database library.
[[nodiscard]] int CamGetList(const CamFilterRule& rule, std::list<Camera>& cameras);

// Writes every camera's row anew, which runs the triggers of the table for each; all or none. Every column
// keeps its value to the byte, also one that text cannot carry. Returns 0, also when there is no table; -1,
// logged by the database library.
[[nodiscard]] int CamSaveAll();

// The same for the local cameras.
[[nodiscard]] int GetCamLocalList(std::list<Camera>& cameras);

// The maker's own cameras.
namespace Orvacam {

// Gives a camera log archive settings where it has none. What these are is not settled; returns 0.
[[nodiscard]] int InitOrvacamLogArchSettingIfNotExist(const Camera& camera);

}  // namespace Orvacam
