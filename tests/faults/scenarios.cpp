#include "tests/faults/scenarios.h"

#include <algorithm>
#include <csignal>
#include <random>
#include <regex>
#include <set>

#include "tests/faults/allowed.h"

namespace fs = std::filesystem;

namespace {

constexpr int kFailed = 255;
constexpr int kPowerCutsPerCall = 3;

bool IsExit(const ProcessEnd& end, int code) {
    return end.how == ProcessEnd::How::Exited && end.code == code;
}

bool IsKilled(const ProcessEnd& end) { return end.how == ProcessEnd::How::Killed && end.code == SIGKILL; }

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// The run is over and its disk was full or failing: is what it told true?
void CheckTold(const Bench& bench, const ProcessEnd& end, const fs::path& tree,
               std::vector<std::string>& problems) {
    if (!IsExit(end, 0) && !IsExit(end, kFailed)) {
        problems.push_back("the run with the fault " + ToText(end));
        return;
    }
    const Messages log = ReadLog(tree);
    const bool toldFailure = std::any_of(log.begin(), log.end(), [](const std::string& message) {
        return Contains(message, "update failed, ver [");
    });
    if (toldFailure != IsExit(end, kFailed))
        problems.push_back("the run with the fault " + ToText(end) + " and logged " +
                           (toldFailure ? "a failed migration" : "no failed migration"));

    const std::multiset<std::string> usual(bench.Log().begin(), bench.Log().end());
    const bool toldMore = std::any_of(log.begin(), log.end(),
                                      [&](const std::string& message) { return !usual.contains(message); });
    if (!toldMore) {
        for (const std::string& difference : Differences(bench.Result(), ReadTree(tree)))
            problems.push_back("the run with the fault logged nothing, but " + difference);
    }
}

// The last run is over: is everything as if there had been no fault?
void CheckEnd(const Bench& bench, const Stand& stand, const Point& point, const ProcessEnd& end,
              std::vector<std::string>& problems) {
    if (end.how != bench.End().how || end.code != bench.End().code)
        problems.push_back("the upgrade after " + ToText(end) + ", the one without faults " +
                           ToText(bench.End()));
    for (const std::string& difference : Differences(bench.Result(), ReadTree(stand.Tree()))) {
        if (!IsAllowed(point.fault, difference))
            problems.push_back(difference);
    }
}

// The names of super-journals are random.
bool IsSameCall(const std::string& one, const std::string& other) {
    static const std::regex random("-mj[0-9A-F]+");
    return std::regex_replace(one, random, "") == std::regex_replace(other, random, "");
}

// Runs the upgrade with the fault of the point; returns what happened for people.
std::string StrikeProcess(const Bench& bench, const Stand& stand, const Point& point,
                          std::vector<std::string>& problems) {
    stand.LayStart();
    std::string hit;
    const ProcessEnd end = stand.Upgrade({point.fault, point.at}, &hit);
    if (point.fault == "kill" || point.fault == "tear") {
        if (!IsKilled(end))
            problems.push_back("the run that was to be killed " + ToText(end));
    } else {
        CheckTold(bench, end, stand.Tree(), problems);
    }
    if (point.fault.empty())
        return "a second upgrade";
    const std::string& traced = stand.Calls()[point.at - 1].text;
    if (!IsSameCall(hit, traced))
        problems.push_back("not the call that the trace has there: " + traced);
    return point.fault + " at call " + std::to_string(point.at) + " " + hit;
}

std::string CutPower(const Stand& stand, const Point& point) {
    const std::string how = stand.TracedDisk().WriteAfterPowerCut(point.at, point.seed, stand.Tree());
    return "power cut after call " + std::to_string(point.at) + " " + stand.Calls()[point.at - 1].text +
           " [seed " + std::to_string(point.seed) + ": " + how + "]";
}

}  // namespace

std::vector<Point> PointsOf(const std::string& scenario, const std::vector<TracedCall>& calls,
                            uint64_t seed) {
    std::vector<Point> points;
    std::mt19937_64 random(seed);
    const size_t count = calls.size();
    for (size_t at = 1; at <= count; ++at) {
        const Op op = calls[at - 1].op;
        const bool isWrite = op == Op::Write;
        const bool makesName =
            op == Op::Create || op == Op::MakeFolder || op == Op::Symlink || op == Op::Link;
        if (scenario == "crash") {
            points.push_back({"kill", at});
            if (isWrite)
                points.push_back({"tear", at});
            points.push_back({"kill", at, 0, 1 + random() % count});
        } else if (scenario == "powercut") {
            for (int i = 0; i < kPowerCutsPerCall; ++i)
                points.push_back({"powercut", at, seed + random() % 1'000'000});
        } else if (scenario == "full" && (isWrite || makesName)) {
            points.push_back({"full", at});
            if (isWrite)
                points.push_back({"grow", at});
        } else if (scenario == "io") {
            points.push_back({"error", at});
            points.push_back({"errors", at});
        }
    }
    if (scenario == "twice")
        points.push_back({});
    return points;
}

Outcome Try(const Bench& bench, const Stand& stand, const Point& point) {
    Outcome outcome;
    outcome.what = point.fault == "powercut" ? CutPower(stand, point)
                                             : StrikeProcess(bench, stand, point, outcome.problems);
    ProcessEnd end;
    if (point.thenAt > 0) {
        std::string hit;
        end = stand.Upgrade({"kill", point.thenAt}, &hit);
        outcome.what += ", then kill at call " + std::to_string(point.thenAt) + " " +
                        (hit.empty() ? "(not reached)" : hit);
    }
    // An upgrade that has come to its end is complete.
    if (end.how != ProcessEnd::How::Exited)
        end = stand.Upgrade();
    CheckEnd(bench, stand, point, end, outcome.problems);
    return outcome;
}
