// 1. LoadCam            the cameras with their own times
// 2. LoadExtSetting     the times of their analytics tasks
// 3. Compute            the largest of each camera
// 4. Save               writes the times that rise in one batch
// 5. LogRecTimeChanges  tells the administrator which cameras and tasks got another time
#include "upgrader/implement/integrate_external_pre_post_rec_time_to_cam.h"

#include "platform/base/strings.h"

namespace implement {

namespace {

// The rule of both times: the first task beyond the camera's own time marks it for writing, later ones can
// only raise it further.
void Raise(int current, int ext, int& raised, bool& changed) {
    if (ext > (changed ? raised : current)) {
        raised = ext;
        changed = true;
    }
}

}  // namespace

int IntegrateExternalPrePostRecTimeToCam::Run() {
    if (LoadCam())
        return -1;
    if (m_cams.empty())
        return 0;
    if (LoadExtSetting(gszTableIvaSetting, &CamRecTimeRec::ivaList))
        return -1;
    Compute();
    if (Save())
        return -1;
    for (const auto& [camId, cam] : m_cams)
        LogRecTimeChanges(camId, cam);
    return 0;
}

int IntegrateExternalPrePostRecTimeToCam::LoadCam() {
    const std::string sql =
        std::string("SELECT id, name, pre_rec_time, post_rec_time FROM ") + gszTableCamera;
    return LoadCamRows(sql, m_cams, [](const Rows& row) {
        CamRecTimeRec cam{};
        cam.name = row.String("name");
        cam.preRecTime = row.Int("pre_rec_time");
        cam.postRecTime = row.Int("post_rec_time");
        return cam;
    });
}

int IntegrateExternalPrePostRecTimeToCam::LoadExtSetting(const char* table,
                                                         std::vector<ExtRecTime> CamRecTimeRec::*list) {
    const std::string sql =
        std::string("SELECT id, name, camera_id, pre_rec_time, post_rec_time FROM ") + table;
    return LoadExtRows(DB_SYSTEM, sql, "camera_id", m_cams, list, [](const Rows& row) {
        return ExtRecTime{row.String("name"), row.Int64("id"), row.Int("pre_rec_time"),
                          row.Int("post_rec_time")};
    });
}

void IntegrateExternalPrePostRecTimeToCam::Compute() {
    for (auto& [camId, cam] : m_cams)
        for (const auto* tasks : {&cam.ivaList, &cam.faceList})
            for (const ExtRecTime& task : *tasks) {
                Raise(cam.preRecTime, task.pre, cam.newPreRecTime, cam.preChanged);
                Raise(cam.postRecTime, task.post, cam.newPostRecTime, cam.postChanged);
            }
}

int IntegrateExternalPrePostRecTimeToCam::Save() {
    std::string batch;
    for (const auto& [camId, cam] : m_cams) {
        std::vector<std::string> assignments;
        if (cam.preChanged)
            assignments.push_back(StringPrintf("pre_rec_time = %d", cam.newPreRecTime));
        if (cam.postChanged)
            assignments.push_back(StringPrintf("post_rec_time = %d", cam.newPostRecTime));
        if (!assignments.empty())
            AppendSqlCommand(batch, StringPrintf("UPDATE %s SET %s WHERE id = %lld;", gszTableCamera,
                                                 JoinStrings(assignments, ",").c_str(), camId));
    }
    return ExecuteBatch(batch);
}

void IntegrateExternalPrePostRecTimeToCam::LogRecTimeChanges(long long camId, const CamRecTimeRec& cam) {
    if (cam.preChanged)
        LogRecTime(camId, cam, "Pre-Recording time", cam.newPreRecTime, &ExtRecTime::pre);
    if (cam.postChanged)
        LogRecTime(camId, cam, "Post-Recording time", cam.newPostRecTime, &ExtRecTime::post);
}

void IntegrateExternalPrePostRecTimeToCam::LogRecTime(long long camId, const CamRecTimeRec& cam,
                                                      const char* text, int time, int ExtRecTime::*own) {
    const std::string value = std::to_string(time);
    LogToUser(kLogCamSetting, camId, {text, cam.name, value});
    for (const ExtRecTime& task : cam.ivaList)
        if (task.*own != time)
            LogToUser(kLogIvaTask, task.id, {task.name, text, value});
    for (const ExtRecTime& task : cam.faceList)
        if (task.*own != time)
            LogToUser(kLogFaceTask, task.id, {task.name, text, value});
}

}  // namespace implement
