// What a command of vgupgradectl that makes, removes or brings back a snapshot has to leave when it is struck.
//
//   snapshot, forget   The system is as it was, byte for byte. The snapshot is complete and every file of it is the
//                      system's, or it says that it is not, is not restored, and can be removed. The next one succeeds.
//   restore            Nothing has changed, and upgrades work. Or the restore is unfinished: upgrades refuse to run,
//                      `status` names it. Run again, it ends with the files as they were when the snapshot was taken.
//
// What a run that came to its end has told is so.
#include <fstream>

#include "tools/faults/trial.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kUpgraderRefuses = 255;
constexpr const char* kSnapshots = "var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots";
constexpr const char* kRestoreMark = "var/packages/Vigilo/target/@vigilo/@UpgradeSnapshots/.restoring";
constexpr const char* kSnapshot = "one";
constexpr const char* kOther = "two";

const ProcessEnd kSaidDone{ProcessEnd::How::Exited, kDone};

// What is not below the folder of the snapshots.
Tree SystemOf(Tree tree) {
    std::erase_if(tree, [](const auto& fact) { return fact.first.starts_with(kSnapshots); });
    return tree;
}

// The files of a snapshot, by their paths on the system.
Tree FilesOf(const Tree& tree, const std::string& snapshot) {
    const std::string folder = std::string(kSnapshots) + '/' + snapshot + '/';
    Tree files;
    for (const auto& [name, text] : tree) {
        if (name.starts_with(folder + "var"))
            files[name.substr(folder.size())] = text;
    }
    return files;
}

// `tree` as far as it has the names of `files`.
Tree At(const Tree& files, Tree tree) {
    std::erase_if(tree, [&](const auto& fact) { return !files.contains(fact.first); });
    return tree;
}

// Without what a restore that had not begun to replace may leave; the next one removes it.
Tree WithoutLitter(Tree tree) {
    std::erase_if(tree, [](const auto& fact) {
        return fact.first.find(".vgrestore") != std::string::npos ||
               fact.first.starts_with(std::string(kRestoreMark) + ".vgtmp");
    });
    return tree;
}

class SnapshotCheck {
public:
    SnapshotCheck(Trial& trial, const std::optional<Ran>& ran)
        : m_trial(trial), m_base(trial.base), m_saidDone(ran && ran->end == kSaidDone) {
        if (ran && !m_saidDone && ran->end != ProcessEnd{ProcessEnd::How::Exited, kRefused})
            trial.Problem("the run with the fault " + ToText(ran->end));
    }

    void Snapshot() {
        CompareSystem("the struck snapshot");
        const bool complete = IsComplete(kSnapshot);
        if (m_saidDone && !complete)
            m_trial.Problem("the snapshot ended with status 0 and is not complete");
        if (complete) {
            CheckFiles(kSnapshot);
        } else {
            Expect({"restore", "--yes", kSnapshot}, kRefused);
            if (fs::exists(Folder(kSnapshot)))
                Expect({"forget", kSnapshot}, kDone);
            if (fs::exists(Folder(kSnapshot)))
                m_trial.Problem("a snapshot that is not complete cannot be removed");
        }
        Expect({"snapshot", kOther}, kDone);
        CheckFiles(kOther);
        CompareSystem("the next snapshot");
    }

    void Forget() {
        const bool complete = IsComplete(kSnapshot);
        if (m_saidDone && complete)
            m_trial.Problem("forget ended with status 0 and the snapshot is there");
        if (complete)
            Expect({"forget", kSnapshot}, kDone);
        Expect({"snapshot", kSnapshot}, kDone);
        CheckFiles(kSnapshot);
        Expect({"forget", kSnapshot}, kDone);
        if (!fs::is_empty(m_trial.tree / kSnapshots))
            m_trial.Problem("something is left of the forgotten");
        CompareSystem("forget");
    }

    void Restore() {
        const Command& again = m_base.Commands().then;
        if (fs::exists(m_trial.tree / kRestoreMark))
            CheckUnfinished();
        else if (WithoutLitter(Now()) == m_base.StartExactly())
            CheckUpgrade();
        else if (!IsRestored())
            m_trial.Problem("something is replaced, and nothing says that the restore is unfinished");
        if (m_saidDone && !IsRestored())
            m_trial.Problem("the restore ended with status 0 and is not finished");
        if (m_trial.point.thenKill > 0 && !IsRestored())
            (void)m_trial.Do(again, {Mode::Kill, m_trial.point.thenKill});
        if (!IsRestored())
            m_trial.Expect(again, kDone);
        m_trial.Compare(m_base.FirstExactly(), Now(), "the restore");
        const Tree saved = FilesOf(m_base.StartExactly(), kSnapshot);
        m_trial.Compare(saved, At(saved, Now()), "the restore");
        CheckHistory();
    }

private:
    Tree Now() const { return ReadExactly(m_trial.tree); }
    fs::path Folder(const char* snapshot) const { return m_trial.tree / kSnapshots / snapshot; }
    bool IsRestored() const { return Now() == m_base.FirstExactly(); }

    void Expect(std::vector<std::string> arguments, int status) {
        m_trial.Expect({"vgupgradectl", std::move(arguments)}, status);
    }

    void CompareSystem(const std::string& after) {
        m_trial.Compare(SystemOf(m_base.StartExactly()), SystemOf(Now()), after);
    }

    // As it is listed; `verify` must be of the same opinion.
    bool IsComplete(const char* snapshot) {
        bool isListed = false, complete = false;
        for (const Json::Value& listed : Ask(m_trial.tree, "snapshots")) {
            isListed = isListed || listed["name"] == snapshot;
            complete = complete || (listed["name"] == snapshot && listed["complete"].asBool());
        }
        if (fs::exists(Folder(snapshot)) != isListed)
            m_trial.Problem("there is a folder of a snapshot that is not listed");
        if (complete != (m_trial.Do({"vgupgradectl", {"verify", snapshot}}).end == kSaidDone))
            m_trial.Problem(complete ? "a snapshot that is complete is damaged"
                                     : "a snapshot that is not complete is proved");
        return complete;
    }

    void CheckFiles(const char* snapshot) {
        Expect({"verify", snapshot}, kDone);
        const Tree files =
            FilesOf(m_base.Commands().check == CheckForget ? m_base.StartExactly() : m_base.FirstExactly(),
                    kSnapshot);
        m_trial.Compare(At(files, m_base.StartExactly()), FilesOf(Now(), snapshot),
                        std::string("snapshot ") + snapshot);
    }

    void CheckUpgrade() {
        const Outcome& expected = m_base.After({m_base.Commands().other});
        m_trial.Expect(m_base.Commands().other, expected.end.code);
        m_trial.Compare(expected.tree, WithoutLitter(ReadTree(m_trial.tree)),
                        "an upgrade after a restore that had not begun");
    }

    void CheckUnfinished() {
        const Tree before = Now();
        m_trial.Expect(m_base.Commands().other, kUpgraderRefuses);
        Expect({"forget", kSnapshot}, kRefused);
        if (Ask(m_trial.tree, "status")["restoring"] != kSnapshot)
            m_trial.Problem("status does not name the restore");
        m_trial.Compare(before, Now(), "an upgrade while the restore was unfinished");
        if (m_trial.point.fault.mode != Mode::PowerCut)
            CheckJournals(before);
    }

    // A journal never stands beside a database that it does not belong to.
    void CheckJournals(const Tree& tree) {
        for (const auto& [name, text] : FilesOf(m_base.StartExactly(), kSnapshot)) {
            const auto old = m_base.StartExactly().find(name), now = tree.find(name);
            if (now == tree.end() || now->second != text || old == m_base.StartExactly().end() ||
                old->second == text)
                continue;
            for (const char* const suffix : {"-journal", "-wal", "-shm"}) {
                if (tree.contains(name + suffix))
                    m_trial.Problem(name + suffix + " stands beside a database that was replaced");
            }
        }
    }

    // Noted once, at the end; a note that could not be written is logged.
    void CheckHistory() {
        std::ifstream file(m_trial.tree / kHistory);
        const std::string note = std::string("\"restored\":\"") + kSnapshot + '"';
        size_t notes = 0;
        bool isLast = false, isTold = false;
        for (std::string line; std::getline(file, line);) {
            isLast = line.ends_with('}') && line.find(note) != std::string::npos;
            notes += isLast;
        }
        for (const std::string& message : ReadLog(m_trial.tree))
            isTold = isTold || message.find(fs::path(kHistory).filename()) != std::string::npos;
        if (notes > 1 || (notes + isLast < 2 && !isTold))
            m_trial.Problem("the history has " + std::to_string(notes) + " notes of the restore" +
                            (isLast ? "" : ", none last"));
    }

    Trial& m_trial;
    const Baseline& m_base;
    bool m_saidDone;
};

}  // namespace

void CheckSnapshot(Trial& trial, const std::optional<Ran>& ran) { SnapshotCheck(trial, ran).Snapshot(); }
void CheckForget(Trial& trial, const std::optional<Ran>& ran) { SnapshotCheck(trial, ran).Forget(); }
void CheckRestore(Trial& trial, const std::optional<Ran>& ran) { SnapshotCheck(trial, ran).Restore(); }
