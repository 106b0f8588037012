// The schedule of a notification group, and the widening of the cameras' schedules. Input: the old width of the
// cameras' words, a schedule.
#include <algorithm>
#include <string>

#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/package/notification/group_schedule.h"
#include "platform/package/notification/system_schedule.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/migrations.h"

namespace {

constexpr size_t kWidth = 8;

uint32_t AsItStands(uint32_t slot) { return slot; }

void TryGroup(const std::string& text) {
    NotifySchedule schedule;
    schedule.GetSlots().fill(7);
    const bool loaded = schedule.LoadScheduleFromString(text, AsItStands) == 0;
    VGGeneric::NotifySche system;
    Expect((system.SetNotifyScheduleByGroup(1, text) == 0) == loaded, "both take the same texts");
    if (!loaded) {
        Expect(std::all_of(schedule.GetSlots().begin(), schedule.GetSlots().end(),
                           [](uint32_t slot) { return slot == 7; }),
               "a text that is refused changes nothing");
        return;
    }
    NotifySchedule again;
    Expect(again.LoadScheduleFromString(schedule.GetStringFromSchedule(), AsItStands) == 0 &&
               again.GetSlots() == schedule.GetSlots(),
           "the string of a schedule gives the schedule");
}

void TryCamera(const std::string& width, const std::string& text) {
    FuzzTree::Write(FuzzTree::Path(kSettingsConf), "cam_noti_sched_char_num=" + width + "\n");
    Expect(VGDB::Executep(VGDB::GetDBPath(DB_SYSTEM), "UPDATE camera SET notifyschedule = ? WHERE id = 1;",
                          nullptr, false, true, true, true, {text}) == 0,
           "a schedule can be stored");
    const auto stored = [] {
        std::string schedule;
        Expect(VGDB::LoadFirstFieldFromDB(DB_SYSTEM, "SELECT notifyschedule FROM camera", schedule) == 0,
               "the schedule can be read");
        return schedule;
    };
    if (migrations::UpdateCamNotiSchedFilter() != 0) {
        Expect(stored() == text, "what fails changes nothing");
        return;
    }
    const std::string once = stored();
    const auto before = SplitString(text, ',');
    const auto after = SplitString(once, ',');
    if (once != text) {
        Expect(after.size() == before.size(), "no half hour comes or goes");
        for (size_t i = 0; i < after.size(); ++i)
            Expect(after[i].ends_with(before[i]) && after[i].size() >= std::min(kWidth, after[i].size()),
                   "a word keeps its digits");
    }
    Expect(migrations::UpdateCamNotiSchedFilter() == 0 && stored() == once, "a second run changes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::MakeWithMainDatabase();
    Expect(VGDB::Execute(DB_SYSTEM, "INSERT INTO camera(id) VALUES(1);") == 0, "a camera");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzTree::EmptyLog();
    std::string_view input = AsText(data, size);
    const std::string width = TakeLine(input);
    const std::string text(input);
    TryGroup(text);
    if (IsColumnText(text))
        TryCamera(width, text);
    return 0;
}
