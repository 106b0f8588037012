#include "tools/faults/scenarios.h"

#include <algorithm>
#include <csignal>
#include <random>
#include <regex>
#include <set>
#include <utility>

#include "tools/faults/allowed.h"

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

// Nothing kills the run.
bool EndsByItself(const Point& point) {
    return point.fault == "full" || point.fault == "grow" || point.fault == "error" ||
           point.fault == "errors";
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

// The last run is over: the differences from an upgrade without faults.
std::vector<std::string> CompareEnd(const Bench& bench, const Stand& stand, const Point& point,
                                    const ProcessEnd& end) {
    const TreeImage got = ReadTree(stand.Tree());
    std::vector<std::string> differences = EndsByItself(point)
                                               ? Differences(WithoutOrder(bench.Result()), WithoutOrder(got))
                                               : Differences(bench.Result(), got);
    if (end.how != bench.End().how || end.code != bench.End().code)
        differences.insert(differences.begin(), "the last upgrade " + ToText(end) +
                                                    ", the one without faults " + ToText(bench.End()));
    return differences;
}

// The names of super-journals are random.
bool IsSameCall(const std::string& one, const std::string& other) {
    static const std::regex random("-mj[0-9A-F]+");
    return std::regex_replace(one, random, "") == std::regex_replace(other, random, "");
}

std::string CutPower(const Stand& stand, const Point& point) {
    const std::string how = stand.TracedDisk().WriteAfterPowerCut(point.at, point.seed, stand.Tree());
    return "power cut after call " + std::to_string(point.at) + " " + stand.Calls()[point.at - 1].text +
           " [seed " + std::to_string(point.seed) + ": " + how + "]";
}

// Runs the upgrade with a fault; returns what happened for people.
std::string Strike(const Stand& stand, const Fault& fault, ProcessEnd& end,
                   std::vector<std::string>& problems) {
    std::string hit;
    end = stand.Upgrade(fault, &hit);
    const std::string& traced = stand.Calls()[fault.at - 1].text;
    if (!IsSameCall(hit, traced))
        problems.push_back("not the call that the trace has there: " + traced);
    return fault.mode + " at call " + std::to_string(fault.at) + " " + hit;
}

// Kills the upgrade after, too, if it gets so far.
std::string StrikeAgain(const Stand& stand, size_t at, ProcessEnd& end) {
    std::string hit;
    end = stand.Upgrade({"kill", at}, &hit);
    return ", then kill at call " + std::to_string(at) + " " + (hit.empty() ? "(not reached)" : hit);
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
            // The upgrade after does what was left, and a little more.
            points.push_back({"kill", at, 0, 1 + random() % (count - at + 10)});
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
    return points;
}

Outcome Try(const Bench& bench, const Stand& stand, const Point& point) {
    Outcome outcome;
    std::vector<std::string>& problems = outcome.problems;
    ProcessEnd end;
    if (point.fault == "powercut") {
        outcome.what = CutPower(stand, point);
        if (point.at == stand.Calls().size())
            end = bench.End();  // the power has outlived the upgrade, though not what it had not flushed
    } else {
        stand.LayStart();
        outcome.what = Strike(stand, {point.fault, point.at}, end, problems);
        if (EndsByItself(point))
            CheckTold(bench, end, stand.Tree(), problems);
        else if (!IsKilled(end))
            problems.push_back("the run that was to be killed " + ToText(end));
    }
    if (point.thenAt > 0)
        outcome.what += StrikeAgain(stand, point.thenAt, end);

    // An upgrade that came to its end is the last one, unless the disk kept it from doing everything, or has
    // lost some.
    const bool ended = end.how == ProcessEnd::How::Exited;
    const bool mayLack = EndsByItself(point) || point.fault == "powercut";
    if (!ended || (mayLack && !CompareEnd(bench, stand, point, end).empty()))
        end = stand.Upgrade();
    for (std::string& difference : CompareEnd(bench, stand, point, end))
        problems.push_back(std::move(difference));
    return outcome;
}
