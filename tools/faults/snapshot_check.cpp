#include "tools/faults/snapshot_check.h"

#include <algorithm>
#include <fstream>

#include "tools/faults/allowed.h"

namespace fs = std::filesystem;

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kUpgraderRefuses = 255;
constexpr const char* kOther = "two";  // another snapshot

ProcessEnd Exited(int status) { return {ProcessEnd::How::Exited, status}; }

bool IsBelow(const std::string& path, const std::string& folder) {
    return path == folder || path.starts_with(folder + '/');
}

// What is not below the folder of the snapshots.
TreeImage SystemOf(TreeImage image) {
    std::erase_if(image, [](const auto& entry) { return IsBelow(entry.first, kSnapshots); });
    return image;
}

// The files of a snapshot, by their paths on the system.
TreeImage FilesOf(const TreeImage& tree, const char* snapshot) {
    const std::string folder = std::string(kSnapshots) + '/' + snapshot + '/';
    TreeImage files;
    for (const auto& [path, file] : tree) {
        if (IsBelow(path, folder + "var"))
            files[path.substr(folder.size())] = file;
    }
    return files;
}

// `image` as far as it has the paths of `files`.
TreeImage At(const TreeImage& files, TreeImage image) {
    std::erase_if(image, [&](const auto& entry) { return !files.contains(entry.first); });
    return image;
}

// What a restore that had not begun to replace may leave; the next one removes it.
bool IsLitter(const std::string& path) {
    return path.ends_with(".vgrestore") || path == std::string(kRestoreMark) + ".vgtmp";
}

class Check {
public:
    Check(const Bench& bench, const fs::path& tree, const Point& point, const std::optional<ProcessEnd>& end,
          std::vector<std::string>& problems)
        : m_bench(bench), m_tree(tree), m_point(point), m_end(end), m_problems(problems) {}

    void Snapshot() {
        CheckEnd();
        Compare(SystemOf(m_bench.StartExactly()), SystemOf(ReadExactly(m_tree)), "the struck snapshot");
        const bool complete = IsComplete(kSnapshot);
        if (HasSaidDone() && !complete)
            Problem("the snapshot ended with status 0 and is not complete");
        if (complete)
            CheckFiles(kSnapshot);
        else
            RefuseAndForget();
        Expect({"snapshot", kOther}, kDone);
        CheckFiles(kOther);
        Compare(SystemOf(m_bench.StartExactly()), SystemOf(ReadExactly(m_tree)), "the next snapshot");
    }

    void Forget() {
        CheckEnd();
        const bool complete = IsComplete(kSnapshot);
        if (HasSaidDone() && complete)
            Problem("forget ended with status 0 and the snapshot is there");
        if (complete)
            Expect({"forget", kSnapshot}, kDone);
        Expect({"snapshot", kSnapshot}, kDone);
        CheckFiles(kSnapshot);
        Expect({"forget", kSnapshot}, kDone);
        if (!fs::is_empty(m_tree / kSnapshots))
            Problem("something is left of the forgotten");
        Compare(SystemOf(m_bench.StartExactly()), SystemOf(ReadExactly(m_tree)), "forget");
    }

    void Restore() {
        CheckEnd();
        if (fs::exists(m_tree / kRestoreMark))
            CheckUnfinished();
        else if (IsUntouched())
            CheckUpgrade();
        else if (!IsRestored())
            Problem("something is replaced, and nothing says that the restore is unfinished");
        if (HasSaidDone() && !IsRestored())
            Problem("the restore ended with status 0 and is not finished");
        if (m_point.thenKill > 0 && !IsRestored())
            (void)Run(m_bench.Commands().then, m_tree, {"kill", m_point.thenKill});
        if (!IsRestored())
            Expect(m_bench.Commands().then, Exited(kDone));
        Compare(m_bench.FirstExactly(), ReadExactly(m_tree), "the restore");
        const TreeImage saved = FilesOf(m_bench.StartExactly(), kSnapshot);
        Compare(saved, At(saved, ReadExactly(m_tree)), "the restore");
        CheckHistory();
    }

private:
    void Problem(std::string text) { m_problems.push_back(std::move(text)); }

    bool HasSaidDone() const { return m_end == Exited(kDone); }

    void CheckEnd() {
        if (m_end && !HasSaidDone() && m_end != Exited(kRefused))
            Problem("the run with the fault " + ToText(*m_end));
    }

    void Compare(const TreeImage& expected, const TreeImage& got, const std::string& after) {
        for (const std::string& difference : Differences(expected, got))
            Problem("after " + after + " " + difference);
    }

    ProcessEnd Control(std::vector<std::string> arguments) {
        return Run({CONTROL_PROGRAM, std::move(arguments)}, m_tree).end;
    }

    void Expect(const Command& command, const ProcessEnd& expected) {
        if (const ProcessEnd end = Run(command, m_tree).end; end != expected)
            Problem(fs::path(command.program).filename().string() + " " + command.arguments.front() + " " +
                    ToText(end) + ", expected: " + ToText(expected));
    }

    void Expect(std::vector<std::string> arguments, int status) {
        Expect(Command{CONTROL_PROGRAM, std::move(arguments)}, Exited(status));
    }

    // Whether a line of what a command prints matches.
    bool Prints(const std::string& command, const std::string& pattern) {
        const std::string line = CONTROL_PROGRAM " " + command + " | grep -Eq '" + pattern + "'";
        return Run({"sh", {"-c", line}}, m_tree).end == Exited(kDone);
    }

    // As it is listed; `verify` must be of the same opinion.
    bool IsComplete(const char* snapshot) {
        const bool isListed = Prints("snapshots", std::string("^") + snapshot + " .*complete");
        const bool complete =
            isListed && !Prints("snapshots", std::string("^") + snapshot + " .*not complete");
        if (fs::exists(m_tree / kSnapshots / snapshot) != isListed)
            Problem("there is a folder of a snapshot that is not listed");
        if (complete != (Control({"verify", snapshot}) == Exited(kDone)))
            Problem(complete ? "a snapshot that is complete is damaged"
                             : "a snapshot that is not complete is proved");
        return complete;
    }

    void CheckFiles(const char* snapshot) {
        Expect({"verify", snapshot}, kDone);
        const bool isOfStart = m_bench.Commands().work == Work::Forget;
        const TreeImage files =
            FilesOf(isOfStart ? m_bench.StartExactly() : m_bench.FirstExactly(), kSnapshot);
        Compare(At(files, m_bench.StartExactly()), FilesOf(ReadExactly(m_tree), snapshot),
                std::string("snapshot ") + snapshot);
    }

    void RefuseAndForget() {
        const fs::path folder = m_tree / kSnapshots / kSnapshot;
        Expect({"restore", "--yes", kSnapshot}, kRefused);
        if (fs::exists(folder))
            Expect({"forget", kSnapshot}, kDone);
        if (fs::exists(folder))
            Problem("a snapshot that is not complete cannot be removed");
    }

    bool IsUntouched() const {
        TreeImage image = ReadExactly(m_tree);
        std::erase_if(image, [](const auto& entry) { return IsLitter(entry.first); });
        return Differences(m_bench.StartExactly(), image).empty();
    }

    bool IsRestored() const { return Differences(m_bench.FirstExactly(), ReadExactly(m_tree)).empty(); }

    void CheckUpgrade() {
        const Outcome& expected = m_bench.Untouched();
        Expect(m_bench.Commands().next, expected.end);
        TreeImage image = ReadTree(m_tree);
        std::erase_if(image, [](const auto& entry) { return IsLitter(entry.first); });
        Compare(expected.image, image, "an upgrade after a restore that had not begun");
    }

    void CheckUnfinished() {
        const TreeImage before = ReadExactly(m_tree);
        Expect(m_bench.Commands().next, Exited(kUpgraderRefuses));
        Expect({"forget", kSnapshot}, kRefused);
        if (!Prints("--json status", std::string("\"restoring\":\"") + kSnapshot + '"'))
            Problem("status does not name the restore");
        Compare(before, ReadExactly(m_tree), "an upgrade while the restore was unfinished");
        if (m_point.fault.mode != "powercut")
            CheckJournals(before);
    }

    // A journal never stands beside a database that it does not belong to.
    void CheckJournals(const TreeImage& image) {
        const TreeImage& start = m_bench.StartExactly();
        for (const auto& [path, file] : FilesOf(start, kSnapshot)) {
            if (image.at(path) != file || start.at(path) == file)
                continue;
            for (const char* const suffix : {"-journal", "-wal", "-shm"}) {
                if (image.contains(path + suffix))
                    Problem(path + suffix + " stands beside a database that was replaced");
            }
        }
    }

    // Noted once, at the end; a note that could not be written is logged.
    void CheckHistory() {
        std::ifstream file(m_tree / kHistory);
        const std::string note = std::string("\"restored\":\"") + kSnapshot + '"';
        size_t notes = 0;
        bool isLast = false;
        for (std::string line; std::getline(file, line);) {
            isLast = line.ends_with('}') && line.find(note) != std::string::npos;
            notes += isLast;
        }
        if (notes == 1 && isLast)
            return;
        const Messages log = ReadLog(m_tree);
        const bool isTold = std::any_of(log.begin(), log.end(), [](const std::string& message) {
            return message.find(fs::path(kHistory).filename()) != std::string::npos;
        });
        if (notes > 1 || !isTold)
            Problem("the history has " + std::to_string(notes) + " notes of the restore" +
                    (isLast ? "" : ", none last"));
    }

    const Bench& m_bench;
    const fs::path& m_tree;
    const Point& m_point;
    const std::optional<ProcessEnd>& m_end;
    std::vector<std::string>& m_problems;
};

}  // namespace

void CheckWork(const Bench& bench, const fs::path& tree, const Point& point,
               const std::optional<ProcessEnd>& end, std::vector<std::string>& problems) {
    Check check(bench, tree, point, end, problems);
    switch (bench.Commands().work) {
        case Work::Upgrade:
            break;
        case Work::Snapshot:
            return check.Snapshot();
        case Work::Forget:
            return check.Forget();
        case Work::Restore:
            return check.Restore();
    }
}
