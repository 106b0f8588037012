#include "control/snapshot/command.h"

#include "control/text.h"
#include "platform/base/package_log.h"
#include "platform/base/strings.h"

Option PlaceOption(std::string* folder, const char* help) { return {"--to DIR", folder, help}; }

Outcome Find(const std::string& folder, const std::string& name, SnapshotPlace& place, Snapshot& snapshot) {
    std::string problem;
    if (FindSnapshotPlace(folder, place, problem) || FindSnapshot(place, name, snapshot, problem))
        return Outcome::Refused(problem);
    return Outcome::Done({});
}

BytesOf ShowBytes(const char* what) {
    return [what](uint64_t done, uint64_t all) {
        SetProgressLine(StringPrintf("%s %3d %% of %s", what,
                                     all == 0 ? 100 : static_cast<int>(done * 100 / all),
                                     InBytes(all).c_str()));
    };
}

std::string Described(const Json::Value& object) {
    const auto text = [&object](const char* member) {
        return object[member].isString() ? Escaped(object[member].asString()) : "?";
    };
    if (object["rehearsal"].asBool())
        return text("name") + ", a rehearsal of " + text("taken");
    return text("name") + ", taken " + text("taken") + ", data of version " +
           (object["stamp"].isString() ? text("stamp") : "unknown") + ", " +
           InBytes(object["bytes"].asUInt64()) + (object["note"].isString() ? ": " + text("note") : "");
}
