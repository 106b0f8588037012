// One stream for recording and one for analytics, where each feature and each task chose its own.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "upgrader/implement/camera_integration.h"

namespace implement {

// Folds the streams that a camera's recording features, its POS pairings and its analytics and face tasks use
// into two new positions of the camera's profile_setting_list, and logs every setting whose stream is another
// one by that. A finished list is too long to be selected again, so a second run finds nothing to do.
class IntegrateExternalProfileToCam {
public:
    // Returns 0, or -1 when a step failed; no camera is changed and nothing logged to the user then.
    int Run();

private:
    // A stream's index says which column describes it: 0 resolution, 1 live_resolution, 2 mobile_resolution.
    using StreamRankByResolution = std::array<int, 3>;  // most pixels first

    struct ExtStreamUse {
        std::string name;
        long long id;
        int stream;
    };

    struct CamProfileRec {
        std::string name;
        std::vector<int> profileList;  // streams by purpose
        bool padded;                   // the stored list was older than the recording features
        StreamRankByResolution order;
        std::vector<ExtStreamUse> posList;
        std::vector<ExtStreamUse> ivaList;
        std::vector<ExtStreamUse> faceList;
    };

    int LoadUnExecutedCam();
    int LoadExtSetting(DB_INSTANCE db, const char* table, const char* camColumn, const char* streamColumn,
                       std::vector<ExtStreamUse> CamProfileRec::*list);
    int Save();
    static void LogProfileChanges(long long camId, const CamProfileRec& cam);

    static CamProfileRec ReadCam(const Rows& row);
    static StreamRankByResolution RankStreams(const Rows& row);
    static int PickRecordingStream(const CamProfileRec& cam);
    static int PickAnalyticsStream(const CamProfileRec& cam);

    CamMap<CamProfileRec> m_cams;
};

}  // namespace implement
