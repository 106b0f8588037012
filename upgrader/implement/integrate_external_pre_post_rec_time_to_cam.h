// The cameras' pre- and post-recording times hold for their analytics tasks, which had times of their own.
#pragma once

#include <string>
#include <vector>

#include "upgrader/implement/camera_integration.h"

namespace implement {

// Raises each camera's pre_rec_time and post_rec_time to the largest value that the camera or one of its
// tasks used, so that no task loses recorded time, and logs what is another value by that. Runs once: a later
// run would take back what the administrator has lowered since.
class IntegrateExternalPrePostRecTimeToCam {
public:
    // Returns 0, or -1 when a step failed; no camera is changed and nothing logged to the user then.
    int Run();

private:
    // Times are in the columns' own unit throughout.
    struct ExtRecTime {
        std::string name;
        long long id;
        int pre;
        int post;
    };

    struct CamRecTimeRec {
        std::string name;
        int preRecTime;
        int postRecTime;
        int newPreRecTime;  // when preChanged
        int newPostRecTime;
        bool preChanged;
        bool postChanged;
        std::vector<ExtRecTime> ivaList;
        std::vector<ExtRecTime> faceList;  // face tasks of this build have no times yet
    };

    int LoadCam();
    int LoadExtSetting(const char* table, std::vector<ExtRecTime> CamRecTimeRec::*list);
    void Compute();
    int Save();
    static void LogRecTimeChanges(long long camId, const CamRecTimeRec& cam);
    // For a time that has risen: `time` is the camera's from now on, `own` the tasks' field.
    static void LogRecTime(long long camId, const CamRecTimeRec& cam, const char* text, int time,
                           int ExtRecTime::*own);

    CamMap<CamRecTimeRec> m_cams;
};

}  // namespace implement
