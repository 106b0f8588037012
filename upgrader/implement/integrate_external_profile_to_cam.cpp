// 1. LoadUnExecutedCam  the cameras whose list has not been through here
// 2. LoadExtSetting     who else uses which of their streams: POS pairings, analytics tasks, face tasks
// 3. Save               picks the two streams of every camera and writes the lists in one batch
// 4. LogProfileChanges  tells the administrator which settings got another stream
#include "upgrader/implement/integrate_external_profile_to_cam.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <set>
#include <string_view>

#include "platform/base/strings.h"
#include "platform/package/resolution.h"

namespace implement {

namespace {

// Positions of profile_setting_list
constexpr size_t kRecording = 12;
constexpr size_t kAnalytics = 13;
constexpr size_t kListLength = 15;  // the last one is for later builds
constexpr size_t kOldListLength = 12;
constexpr int kDefaultStream = 1;

struct RecordingFeature {
    size_t position;
    const char* text;
};

constexpr RecordingFeature kRecordingFeatures[] = {
    {6, "Recording settings - Live view alert clip"},
    {7, "Recording settings - Action rule recording"},
    {8, "Recording settings - Manual recording"},
    {10, "Recording settings - Advanced continuous recording"},
};

constexpr const char* kProfileNames[] = {"High quality", "Balanced", "Low bandwidth"};

// A side of a resolution; -1 when the text is not digits only. What no number holds is as large as one can
// be.
long long ParseSide(std::string_view text) {
    if (text.empty() || text.find_first_not_of("0123456789") != std::string_view::npos)
        return -1;
    long long side = 0;
    if (std::from_chars(text.data(), text.data() + text.size(), side).ec != std::errc())
        return std::numeric_limits<long long>::max();
    return side;
}

// -1 for a text that names no resolution, which ranks it behind every one that does.
long long PixelCount(const std::string& text) {
    const std::string resolution = TextReso2Reso(text);
    const size_t cross = resolution.find('x');
    if (cross == std::string::npos)
        return -1;
    const long long width = ParseSide(std::string_view(resolution).substr(0, cross));
    const long long height = ParseSide(std::string_view(resolution).substr(cross + 1));
    if (width < 0 || height < 0)
        return -1;
    long long pixels = 0;
    return __builtin_mul_overflow(width, height, &pixels) ? std::numeric_limits<long long>::max() : pixels;
}

// The largest stream that is used at all. Only the three streams of a camera are looked for: a use of any
// other counts for the smallest. Without a use it is stream 0.
int PickStream(const std::array<int, 3>& order, const std::set<int>& used) {
    if (used.empty())
        return 0;
    for (const int stream : {order[0], order[1]})
        if (used.contains(stream))
            return stream;
    return order[2];
}

}  // namespace

int IntegrateExternalProfileToCam::Run() {
    if (LoadUnExecutedCam())
        return -1;
    if (m_cams.empty())
        return 0;
    if (LoadExtSetting(DB_POS, gszTablePOS, "pairedcam_id", "pairedcam_stream", &CamProfileRec::posList) ||
        LoadExtSetting(DB_SYSTEM, gszTableIvaSetting, "camera_id", "stream_profile",
                       &CamProfileRec::ivaList) ||
        LoadExtSetting(DB_SYSTEM, gszTableFaceSetting, "camera_id", "stream_profile",
                       &CamProfileRec::faceList))
        return -1;
    if (Save())
        return -1;
    for (const auto& [camId, cam] : m_cams)
        LogProfileChanges(camId, cam);
    return 0;
}

int IntegrateExternalProfileToCam::LoadUnExecutedCam() {
    // 12 streams of one digit are 23 characters, the finished 15 at least 29.
    const std::string sql =
        std::string(
            "SELECT id, name, profile_setting_list, resolution, live_resolution, mobile_resolution FROM ") +
        gszTableCamera + " WHERE 23 >= LENGTH(profile_setting_list);";
    return LoadCamRows(sql, m_cams, ReadCam);
}

IntegrateExternalProfileToCam::CamProfileRec IntegrateExternalProfileToCam::ReadCam(const Rows& row) {
    CamProfileRec cam{};
    cam.name = row.String("name");
    cam.profileList = String2IntVector(row.String("profile_setting_list"), ",");
    cam.padded = cam.profileList.size() < kOldListLength;
    if (cam.padded)
        cam.profileList.resize(kOldListLength, kDefaultStream);
    cam.order = RankStreams(row);
    return cam;
}

IntegrateExternalProfileToCam::StreamRankByResolution IntegrateExternalProfileToCam::RankStreams(
    const Rows& row) {
    const std::array<long long, 3> pixels = {PixelCount(row.String("resolution")),
                                             PixelCount(row.String("live_resolution")),
                                             PixelCount(row.String("mobile_resolution"))};
    StreamRankByResolution order = {0, 1, 2};
    std::stable_sort(order.begin(), order.end(), [&pixels](int a, int b) {
        return pixels[static_cast<size_t>(a)] > pixels[static_cast<size_t>(b)];
    });
    return order;
}

int IntegrateExternalProfileToCam::LoadExtSetting(DB_INSTANCE db, const char* table, const char* camColumn,
                                                  const char* streamColumn,
                                                  std::vector<ExtStreamUse> CamProfileRec::*list) {
    return LoadExtRows(db, StringPrintf("SELECT id, name, %s, %s FROM %s;", camColumn, streamColumn, table),
                       camColumn, m_cams, list, [streamColumn](const Rows& row) {
                           return ExtStreamUse{row.String("name"), row.Int64("id"), row.Int(streamColumn)};
                       });
}

int IntegrateExternalProfileToCam::Save() {
    std::string batch;
    for (auto& [camId, cam] : m_cams) {
        cam.profileList.resize(kListLength, 0);
        cam.profileList[kRecording] = PickRecordingStream(cam);
        cam.profileList[kAnalytics] = PickAnalyticsStream(cam);
        AppendSqlCommand(
            batch, StringPrintf("UPDATE %s SET profile_setting_list = '%s' WHERE id = %lld;", gszTableCamera,
                                JoinStrings(cam.profileList, ",").c_str(), camId));
    }
    return ExecuteBatch(batch);
}

int IntegrateExternalProfileToCam::PickRecordingStream(const CamProfileRec& cam) {
    std::set<int> used;
    for (const RecordingFeature& feature : kRecordingFeatures)
        used.insert(cam.profileList[feature.position]);
    for (const ExtStreamUse& pos : cam.posList)
        used.insert(pos.stream);
    return PickStream(cam.order, used);
}

int IntegrateExternalProfileToCam::PickAnalyticsStream(const CamProfileRec& cam) {
    std::set<int> used;
    for (const ExtStreamUse& task : cam.ivaList)
        used.insert(task.stream);
    for (const ExtStreamUse& task : cam.faceList)
        used.insert(task.stream);
    return PickStream(cam.order, used);
}

void IntegrateExternalProfileToCam::LogProfileChanges(long long camId, const CamProfileRec& cam) {
    const int recording = cam.profileList[kRecording];
    const int analytics = cam.profileList[kAnalytics];
    const std::string recordingName = kProfileNames[recording];
    const std::string analyticsName = kProfileNames[analytics];
    for (const RecordingFeature& feature : kRecordingFeatures)
        if (cam.padded || cam.profileList[feature.position] != recording)
            LogToUser(kLogCamSetting, camId, {feature.text, cam.name, recordingName});
    for (const ExtStreamUse& pos : cam.posList)
        if (pos.stream != recording)
            LogToUser(kLogPos, pos.id, {pos.name, "Stream profile", recordingName});
    for (const ExtStreamUse& task : cam.ivaList)
        if (task.stream != analytics)
            LogToUser(kLogIvaTask, task.id, {task.name, cam.name, analyticsName});
    for (const ExtStreamUse& task : cam.faceList)
        if (task.stream != analytics)
            LogToUser(kLogFaceTask, task.id, {task.name, cam.name, analyticsName});
}

}  // namespace implement
