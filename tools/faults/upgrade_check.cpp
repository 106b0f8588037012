// What an upgrade that was struck has to leave, and what has to become of it.
//
//   killed, cut off   The run after ends as an upgrade that was never interrupted: the same status, files, settings and
//                     rows. Before its commit it has changed nothing in the main database.
//   ended             The last line of the log and the status are of one opinion, and `status` names the command that
//                     goes on, until there is none. Then all is as after the upgrade without faults.
#include <algorithm>
#include <fstream>

#include "tests/support/pattern.h"
#include "tools/faults/registry.h"
#include "tools/faults/trial.h"

namespace {

constexpr int kFailed = 255;
constexpr int kMostRuns = 3;          // that are needed to get through
constexpr double kMostWaiting = 200;  // seconds of a run, whoever holds what
constexpr const char* kLogCounts = "var/packages/Vigilo/target/@vigilo/log_cnt.db table ";
constexpr const char* kMarker = "var/packages/Vigilo/etc/vgupgrader.due";
constexpr const char* kMainTables = "var/packages/Vigilo/target/system.db table ";

bool Has(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

// The rows of the main database that are the user's.
Tree MainTables(Tree tree) {
    std::erase_if(
        tree, [](const auto& fact) { return !fact.first.starts_with(kMainTables) || fact.first == kRecord; });
    return tree;
}

// What was owed, or failed at first, came later: keys in settings.conf and log entries stand in another order, and the
// counts that the upgrade itself has made of the entries are older than the last.
Tree InAnyOrder(Tree tree) {
    static const Pattern id("^id=[0-9]+, |\nid=[0-9]+, ");
    std::string& settings = tree[std::string(kSettingsConf) + " content"];
    settings = Sorted(settings);
    std::string& log = tree[std::string(kLogDatabase) + " table log"];
    log = Sorted(id.ReplaceIn(log, "\n"));
    std::erase_if(tree, [](const auto& fact) { return fact.first.starts_with(kLogCounts); });
    return tree;
}

// The settings keys of failed migrations that set theirs in every case: they are not tried again.
std::string KeysSetInEveryCase(const std::string& lastLine) {
    std::string keys;
    for (const Migration& migration : AllMigrations()) {
        if (migration.keyInEveryCase && Has(lastLine, std::string("] ") + migration.name))
            keys += migration.keyInEveryCase + std::string("=\"true\"\n");
    }
    return keys;
}

std::string BytesBefore(const Trial& trial) {
    std::string bytes = ReadFile(trial.base.Start() / trial.point.damaged);
    return bytes.replace((trial.point.page - 1) * kPageSize, kPageSize, kPageSize, '\xA5');
}

// Puts the page back, unless somebody has written it.
void Mend(const Trial& trial) {
    const size_t at = (trial.point.page - 1) * kPageSize;
    const std::string good = ReadFile(trial.base.Start() / trial.point.damaged).substr(at, kPageSize);
    std::fstream file(trial.tree / trial.point.damaged, std::ios::binary | std::ios::in | std::ios::out);
    if (ReadFile(trial.tree / trial.point.damaged).substr(at, kPageSize) == std::string(kPageSize, '\xA5'))
        file.seekp(static_cast<std::streamoff>(at)) << good;
}

class UpgradeCheck {
public:
    explicit UpgradeCheck(Trial& trial) : m_trial(trial), m_base(trial.base) {}

    void Ended(const Ran& ran) {
        const std::vector<std::string> log = ReadLog(m_trial.tree);
        const std::string last = log.empty() ? "" : log.back();
        CheckTold(ran, last);
        if (m_trial.point.isUnnoticed)
            return Compare(m_base.First(), ran.end, "the run");
        if (m_trial.point.page > 0 && !CheckDamaged(log))
            return;
        const bool again = Recover();
        const Outcome& first = m_base.First();
        const Tree got = ReadTree(m_trial.tree);
        if (!again)
            return Compare(first, ran.end, "the run that told success");
        std::vector<std::string> differences = Differences(InAnyOrder(first.tree), InAnyOrder(got));
        const std::string keys = differences.empty() ? "" : KeysSetInEveryCase(last);
        if (!keys.empty())
            differences =
                Differences(InAnyOrder(m_base.After({m_base.Commands().first}, keys).tree), InAnyOrder(got));
        for (const std::string& difference : differences)
            m_trial.Problem("after a failure and what status names, " + difference);
    }

    void Killed() {
        const Runs& runs = m_base.Commands();
        const auto isComplete = [&] {
            return runs.then == runs.first &&
                   Differences(m_base.First().tree, ReadCopyOf(m_trial.tree)).empty();
        };
        // What was complete but for its history and for closing its files is complete.
        if (isComplete())
            return;
        if (m_trial.point.thenKill > 0) {
            const Ran struck = m_trial.Do(runs.then, {Mode::Kill, m_trial.point.thenKill});
            m_trial.what +=
                ", then kill at call " + std::to_string(m_trial.point.thenKill) + " " + struck.call;
            if (isComplete())
                return;
        }
        const Outcome& expected = Expected(ReadCopyOf(m_trial.tree));
        Compare(expected, m_trial.Do(runs.then).end, "the run after");
    }

private:
    // A first run without a record has never been; one with its record is done anew; one that has taken effect has.
    const Outcome& Expected(const Tree& left) const {
        const Runs& runs = m_base.Commands();
        const bool hasChanged = MainTables(left) != MainTables(m_base.StartTree());
        if (hasChanged && runs.then != runs.first)
            return m_base.After({runs.first, runs.then});
        const bool hasRecord = left.contains(kRecord) || left.contains(kMarker);
        return m_base.After({hasChanged || hasRecord ? runs.whole : runs.then});
    }

    void CheckTold(const Ran& ran, const std::string& last) {
        if (ran.end.how != ProcessEnd::How::Exited || (ran.end.code != 0 && ran.end.code != kFailed))
            m_trial.Problem("the run with the fault " + ToText(ran.end));
        if (ran.waited > kMostWaiting)
            m_trial.Problem("the run with the fault waited for " + std::to_string(ran.waited) + " s");
        const bool isNothing = Has(last, "Nothing was changed"), isUndone = Has(last, ": undone: ");
        if (!isNothing && !Has(last, "Upgrade from build "))
            m_trial.Problem("the last line of the log is " + last);
        if ((ran.end.code == 0) != Has(last, ", 0 failed"))
            m_trial.Problem("the run with the fault " + ToText(ran.end) + " and told " + last);
        if (!isNothing && !isUndone)
            return;
        Tree left = ReadCopyOf(m_trial.tree);
        if (isUndone)
            return m_trial.Compare(MainTables(m_base.StartTree()), MainTables(left),
                                   "an upgrade that was undone");
        std::erase_if(left, [](const auto& fact) { return fact.first.starts_with(kMarker); });
        m_trial.Compare(m_base.StartTree(), left, "a run that told that nothing was changed");
    }

    // The rest has been upgraded, and the damaged database left alone. False: it cannot be mended.
    bool CheckDamaged(const std::vector<std::string>& log) {
        const auto tells = [&](const std::string& text) {
            return std::any_of(log.begin(), log.end(),
                               [&](const std::string& message) { return Has(message, text); });
        };
        const bool isTold = tells("Damaged, not written to any more: ");
        const bool isMain = m_trial.point.damaged == kMainDatabase;
        if (isTold && !isMain && ReadFile(m_trial.tree / m_trial.point.damaged) != BytesBefore(m_trial))
            m_trial.Problem("a database was written to in spite of its damage");
        Mend(m_trial);
        return !isMain || !isTold;
    }

    // Types what `status` names next, until there is nothing to do. Returns whether there was.
    bool Recover() {
        for (int i = 0; i <= kMostRuns; ++i) {
            const Json::Value status = Ask(m_trial.tree, "status");
            if (!status.isObject())
                m_trial.Problem("status gives no document");
            if (!status.isObject() || !status["next"].isString())
                return i > 0;
            m_trial.what += ", then " + status["next"].asString();
            if (i < kMostRuns)
                m_end = m_trial.Do({"sh", {"-c", status["next"].asString()}}).end;
        }
        m_trial.Problem("what status names next does not end it");
        return true;
    }

    void Compare(const Outcome& expected, const ProcessEnd& end, const std::string& run) {
        if (end != expected.end)
            m_trial.Problem(run + " " + ToText(end) + ", the one without faults " + ToText(expected.end));
        m_trial.Compare(expected.tree, ReadTree(m_trial.tree), run);
    }

    Trial& m_trial;
    const Baseline& m_base;
    ProcessEnd m_end;
};

}  // namespace

void CheckUpgrade(Trial& trial, const std::optional<Ran>& ran) {
    UpgradeCheck check(trial);
    if (ran)
        check.Ended(*ran);
    else
        check.Killed();
}
