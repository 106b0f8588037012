#include "tools/faults/trial.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

#include "tests/support/pattern.h"
#include "tools/faults/allowed.h"
#include "tools/faults/snapshot_check.h"

namespace fs = std::filesystem;

namespace {

const ProcessEnd kKilled{ProcessEnd::How::Killed, SIGKILL};

bool IsKill(const Fault& fault) { return fault.mode == "kill" || fault.mode == "tear"; }

// The names of super-journals are random, and the history tells how long things took.
bool IsSameCall(const std::string& one, const std::string& other) {
    static const Pattern random("-mj[0-9A-F]+|history\\.jsonl, [0-9]+ bytes");
    return random.ReplaceIn(one, "") == random.ReplaceIn(other, "");
}

// Somebody who takes a database when told, and leaves it after a while or at the latest with this object.
class Guest {
public:
    Guest(const fs::path& tree, const HoldPlan& plan, size_t haste)
        : m_database(tree / plan.database),
          m_kind(plan.kind),
          m_stay(plan.seconds / static_cast<double>(haste)) {}

    void Come() {
        m_hold.emplace(m_database, m_kind);
        if (m_stay.count() > 0)
            m_leaving = std::jthread([this](const std::stop_token& stop) { Leave(stop); });
    }

private:
    void Leave(const std::stop_token& stop) {
        std::unique_lock lock(m_mutex);
        m_over.wait_for(lock, stop, m_stay, [] { return false; });
        m_hold.reset();
    }

    fs::path m_database;
    Hold::Kind m_kind;
    std::chrono::duration<double> m_stay;
    std::optional<Hold> m_hold;
    std::mutex m_mutex;
    std::condition_variable_any m_over;
    std::jthread m_leaving;
};

std::string Describe(const Point& point) {
    const Fault& fault = point.fault;
    std::string text = fault.mode;
    if (fault.error)
        text += std::string(" ") + strerrorname_np(fault.error);
    if (fault.at > 0)
        text += " at call " + std::to_string(fault.at) + " " + point.call;
    if (!fault.which.empty())
        text += ", then all " + fault.which;
    if (!fault.path.empty())
        text += " below " + fault.path;
    if (fault.times > 0)
        text += ", " + std::to_string(fault.times) + " in all";
    if (point.hold)
        text +=
            std::string(point.hold->kind == Hold::Kind::Reader ? ", a reader" : ", a writer") + " of " +
            point.hold->database +
            (point.hold->seconds > 0 ? " for " + std::to_string(point.hold->seconds) + " s" : " that stays");
    if (point.damage)
        text = "page " + std::to_string(point.damage->page) + " of " + point.damage->database + " damaged";
    return text;
}

class Attempt {
public:
    Attempt(const Bench& bench, const Stand& stand, const Point& point)
        : m_bench(bench), m_stand(stand), m_point(point), m_tree(stand.Tree()) {}

    Trial Run() {
        m_trial.what = Describe(m_point);
        const bool isCut = m_point.fault.mode == "powercut";
        if (isCut)
            CutPower();
        else
            m_stand.LayStart();
        if (m_point.damage) {
            TryDamage();
            return std::move(m_trial);
        }
        const std::optional<ProcessEnd> end = isCut ? EndBeforeCut() : Strike();
        if (m_bench.Commands().work != Work::Upgrade)
            CheckWork(m_bench, m_tree, m_point, end, m_trial.problems);
        else if (end)
            CheckEnded(*end);
        else
            RunAgain();
        return std::move(m_trial);
    }

private:
    void Problem(std::string text) { m_trial.problems.push_back(std::move(text)); }

    void CutPower() {
        m_trial.what +=
            " [" + m_stand.TracedDisk().WriteAfterPowerCut(m_point.fault.at, m_point.seed, m_tree) + "]";
    }

    // How a run that came to its end before the power was cut has told that it went.
    std::optional<ProcessEnd> EndBeforeCut() const {
        return m_point.fault.at == m_stand.Calls().size() && m_bench.Commands().work != Work::Upgrade
                   ? std::optional(m_stand.End())
                   : std::nullopt;
    }

    // Runs with the fault; none: it was killed.
    std::optional<ProcessEnd> Strike() {
        std::optional<Guest> guest;
        if (m_point.hold)
            guest.emplace(m_tree, *m_point.hold, m_point.fault.haste);
        if (guest && m_point.fault.at == 0)
            guest->Come();
        const Struck struck = ::Run(m_bench.Commands().first, m_tree, m_point.fault,
                                    guest ? [&] { guest->Come(); } : std::function<void()>());
        guest.reset();
        if (!IsSameCall(struck.call, m_point.call))
            Problem("struck another call than the traced one: " + struck.call);
        if (!IsKill(m_point.fault))
            return struck.end;
        if (struck.end != kKilled)
            Problem("the run that was to be killed " + ToText(struck.end));
        return std::nullopt;
    }

    void CheckEnded(const ProcessEnd& end) {
        CheckTold(m_bench, end, m_tree, m_trial.problems);
        if (m_point.isUnnoticed && !LeavesItsRecord())
            Compare(m_bench.First(), end, "the run");
        else
            Finish(end);
    }

    // All is delivered then, but somebody reads the main database, for longer than the end of a run waits.
    bool LeavesItsRecord() const {
        return Tells(ReadLog(m_tree), "Failed to close the record of the upgrade");
    }

    // A run that ended by itself may owe something, or have failed. Either needs one more run.
    void Finish(const ProcessEnd& end) {
        const TreeImage image = ReadTree(m_tree);
        if (m_point.fault.error == EIO && m_point.fault.times == 1)
            CheckStamp(m_bench, image, m_trial.problems);
        const bool failed = end != m_bench.First().end;
        if (!failed && DifferencesFrom(m_bench.First(), image).empty())
            return;
        const Runs& runs = m_bench.Commands();
        const ProcessEnd last = ::Run(failed ? runs.first : runs.next, m_tree).end;
        const Messages log = ReadLog(m_tree);
        if (!failed) {
            CompareEnd(m_bench.First(), last, "the next upgrade");
            CompareTree(m_bench.First(),
                        [&](TreeImage seen) { return WithoutUnasked(std::move(seen), log); });
            return;
        }
        CompareEnd(m_bench.First(), last, "the run after a failure");
        for (std::string& difference : DifferencesAfterFailure(m_bench, ReadTree(m_tree), log))
            Problem(std::move(difference));
    }

    // The rest of the databases has been upgraded, and the damaged one left alone from then on.
    void TryDamage() {
        const auto& [database, page] = *m_point.damage;
        const fs::path path = m_tree / database;
        {
            std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
            file.seekp(static_cast<std::streamoff>((page - 1) * kPageSize));
            file << std::string(kPageSize, '\xA5');
        }
        struct stat status {};
        stat(path.c_str(), &status);
        std::string bytes = ReadFile(path);
        const Traced traced = Trace(m_bench.Commands().first, m_tree);
        std::optional<std::string> whenTold;
        for (const TracedCall& call : traced.calls) {
            if (call.op == Op::Message && !whenTold && TellsDamage(call.data, database))
                whenTold = bytes;
            if (call.failed || call.inode != status.st_ino)
                continue;
            const auto at = static_cast<size_t>(call.value);
            if (call.op == Op::Truncate)
                bytes.resize(at);
            if (call.op == Op::Write) {
                bytes.resize(std::max(bytes.size(), at + call.data.size()));
                bytes.replace(at, call.data.size(), call.data);
            }
        }
        if (whenTold && ReadFile(path) != *whenTold)
            Problem("written to after its damage was told");
        if (traced.end.how != ProcessEnd::How::Exited)
            Problem("the run " + ToText(traced.end));
        CompareTree(m_bench.First(), [&](TreeImage seen) {
            return WithoutDamaged(std::move(seen), m_point.damage->database);
        });
    }

    // Once, whatever the first run has done.
    void RunAgain() {
        const Runs& runs = m_bench.Commands();
        // What was complete but for its history and for closing its files is complete.
        const auto isComplete = [&] {
            return runs.then == runs.first && DifferencesFrom(m_bench.Whole(), ReadCopyOf(m_tree)).empty();
        };
        if (isComplete())
            return;
        if (m_point.thenKill > 0) {
            const Struck struck = ::Run(runs.then, m_tree, {"kill", m_point.thenKill});
            m_trial.what += ", then kill at call " + std::to_string(m_point.thenKill) + " " +
                            (struck.call.empty() ? "(not reached)" : struck.call);
        }
        if (isComplete())
            return;
        const Outcome& expected =
            runs.then == runs.first ? m_bench.Whole() : ExpectedAfter(m_bench, ReadCopyOf(m_tree));
        const Struck last = ::Run(runs.then, m_tree);
        Compare(expected, last.end, "the run after");
    }

    void CompareEnd(const Outcome& expected, const ProcessEnd& end, const std::string& run) {
        if (end != expected.end)
            Problem(run + " " + ToText(end) + ", the one without faults " + ToText(expected.end));
    }

    // Of the part of each image that is to be the same.
    template <class Part = std::identity>
    std::vector<std::string> DifferencesFrom(const Outcome& expected, const TreeImage& image,
                                             Part part = {}) const {
        return Differences(part(Comparable(expected.image, m_bench.StartImage())),
                           part(Comparable(image, m_bench.StartImage())));
    }

    template <class Part = std::identity>
    void CompareTree(const Outcome& expected, Part part = {}) {
        for (std::string& difference : DifferencesFrom(expected, ReadTree(m_tree), part))
            Problem(std::move(difference));
    }

    void Compare(const Outcome& expected, const ProcessEnd& end, const std::string& run) {
        CompareEnd(expected, end, run);
        CompareTree(expected);
    }

    const Bench& m_bench;
    const Stand& m_stand;
    const Point& m_point;
    const fs::path& m_tree;
    Trial m_trial;
};

}  // namespace

Trial Try(const Bench& bench, const Stand& stand, const Point& point) {
    return Attempt(bench, stand, point).Run();
}
