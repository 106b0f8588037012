// vgfaults: shows that an upgrade that is interrupted and run again ends as one that was not.
//
// Exit status: 0; 1 when a point diverged or files were changed in vain; 2 for a wrong command line or a
// bench that cannot be set up.

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <random>
#include <regex>
#include <string>
#include <thread>

#include "tools/faults/bench.h"
#include "tools/faults/scenarios.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kUsage =
    R"(Usage: vgfaults [OPTION]... SCENARIO...
SCENARIO: crash powercut full io flushes, or all

  --from BUILD   the sample system to upgrade: 3000 (default), 2300 or 6500
  --sample N     try N points of each scenario, evenly spread, each at random within its share
  --every K      try every K-th point
  --at N         try the points of call N only
  --seed S       for what is random (default 1)
  --jobs J       points tried at the same time (default 2)
  --keep         leave the trees of points that diverged, and tell where
  --verbose      tell all differences of every point that diverged
  --list         print the calls of the upgrade
)";

constexpr std::array kScenarios = {"flushes", "crash", "powercut", "full", "io"};

constexpr size_t kShownKinds = 12;
constexpr size_t kShownProblems = 4;
constexpr unsigned long long kRoomForTrees = 256ULL << 20;

struct Options {
    std::vector<std::string> scenarios;
    std::string build = "3000";
    size_t sample = 0;
    size_t every = 1;
    size_t at = 0;
    uint64_t seed = 1;
    size_t jobs = 2;
    bool keep = false;
    bool verbose = false;
    bool list = false;
};

bool Parse(int argc, char* argv[], Options& options) {
    for (int i = 1; i < argc; ++i) {
        const std::string argument = argv[i];
        const auto number = [&] { return std::strtoull(i + 1 < argc ? argv[++i] : "", nullptr, 10); };
        if (argument == "--from")
            options.build = i + 1 < argc ? argv[++i] : "";
        else if (argument == "--sample")
            options.sample = number();
        else if (argument == "--every")
            options.every = std::max<size_t>(number(), 1);
        else if (argument == "--at")
            options.at = number();
        else if (argument == "--seed")
            options.seed = number();
        else if (argument == "--jobs")
            options.jobs = std::max<size_t>(number(), 1);
        else if (argument == "--keep")
            options.keep = true;
        else if (argument == "--verbose")
            options.verbose = true;
        else if (argument == "--list")
            options.list = true;
        else if (argument == "all")
            options.scenarios.assign(kScenarios.begin(), kScenarios.end());
        else if (std::find(kScenarios.begin(), kScenarios.end(), argument) != kScenarios.end())
            options.scenarios.push_back(argument);
        else
            return false;
    }
    return !options.scenarios.empty() || options.list;
}

// A folder for the trees: in memory when there is room, since each point lays out and drops one.
class WorkFolder {
public:
    explicit WorkFolder(bool keep) : m_keep(keep), m_path(Make()) {}
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder() {
        std::error_code left;
        if (!m_keep)
            fs::remove_all(m_path, left);
    }

    const fs::path& Path() const { return m_path; }

private:
    static fs::path Make();

    bool m_keep;
    fs::path m_path;
};

fs::path WorkFolder::Make() {
    struct statvfs room {};
    const fs::path memory = "/dev/shm";
    const bool fits = access(memory.c_str(), W_OK) == 0 && statvfs(memory.c_str(), &room) == 0 &&
                      room.f_bavail * room.f_frsize > kRoomForTrees;
    std::string folder = (fits ? memory : fs::temp_directory_path()) / "vgfaults.XXXXXX";
    if (!mkdtemp(folder.data()))
        throw fs::filesystem_error("mkdtemp", folder, std::error_code(errno, std::generic_category()));
    return folder;
}

std::vector<Point> Select(const std::vector<Point>& all, const Options& options) {
    std::vector<Point> selected;
    if (options.at > 0) {
        std::copy_if(all.begin(), all.end(), std::back_inserter(selected),
                     [&](const Point& point) { return point.at == options.at; });
    } else if (options.sample > 0 && options.sample < all.size()) {
        std::mt19937_64 random(options.seed);
        for (size_t i = 0; i < options.sample; ++i) {
            const size_t from = i * all.size() / options.sample;
            const size_t to = (i + 1) * all.size() / options.sample;
            selected.push_back(all[from + random() % (to - from)]);
        }
    } else {
        for (size_t i = 0; i < all.size(); i += options.every)
            selected.push_back(all[i]);
    }
    return selected;
}

// Problems of one kind differ in numbers, random names and texts only.
std::string KindOf(const std::string& problem) {
    static const std::regex numbers("-mj[0-9A-F]+|[0-9]+");
    return std::regex_replace(problem.substr(0, problem.find(": expected [")), numbers, "*");
}

void PrintOutcome(const Outcome& outcome, size_t shown) {
    std::printf("    %s\n", outcome.what.c_str());
    for (size_t i = 0; i < outcome.problems.size() && i < shown; ++i)
        std::printf("        %s\n", outcome.problems[i].c_str());
    if (outcome.problems.size() > shown)
        std::printf("        and %zu more\n", outcome.problems.size() - shown);
}

using Stands = std::vector<std::unique_ptr<Stand>>;

// Tries the points on all stands at the same time.
std::vector<Outcome> TryAll(const std::vector<Point>& points, const Bench& bench, const Stands& stands,
                            bool keep) {
    std::vector<Outcome> outcomes(points.size());
    std::atomic<size_t> next = 0;
    const auto work = [&](const Stand& stand) {
        for (size_t i = next++; i < points.size(); i = next++) {
            stand.Clear();
            try {
                outcomes[i] = Try(bench, stand, points[i]);
            } catch (const std::exception& error) {
                outcomes[i].problems.push_back(error.what());
            }
            if (keep && !outcomes[i].problems.empty()) {
                const fs::path kept = stand.Tree().string() + "-" + points[i].fault + std::to_string(i);
                fs::rename(stand.Tree(), kept);
                outcomes[i].what += " (" + kept.string() + ")";
            }
        }
    };
    std::vector<std::jthread> workers;
    for (const auto& stand : stands)
        workers.emplace_back(work, std::cref(*stand));
    workers.clear();  // waits
    return outcomes;
}

// Returns whether no point diverged.
bool RunScenario(const std::string& scenario, const Bench& bench, const Stands& stands,
                 const Options& options) {
    const auto begin = std::chrono::steady_clock::now();
    const std::vector<Point> points = Select(PointsOf(scenario, bench.Calls(), options.seed), options);
    const std::vector<Outcome> outcomes = TryAll(points, bench, stands, options.keep);

    std::map<std::string, std::vector<const Outcome*>> kinds;
    size_t diverged = 0;
    for (const Outcome& outcome : outcomes) {
        if (outcome.problems.empty())
            continue;
        ++diverged;
        kinds[KindOf(outcome.problems.front())].push_back(&outcome);
        if (options.verbose)
            PrintOutcome(outcome, outcome.problems.size());
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::printf("%-8s %5zu points, %zu diverged (%.1f s)\n", scenario.c_str(), points.size(), diverged,
                taken.count());
    size_t shown = 0;
    for (const auto& [kind, same] : kinds) {
        if (options.verbose || ++shown > kShownKinds)
            break;
        std::printf("  %zu of the kind \"%s\", the first:\n", same.size(), kind.c_str());
        PrintOutcome(*same.front(), kShownProblems);
    }
    if (!options.verbose && kinds.size() > kShownKinds)
        std::printf("  and %zu more kinds\n", kinds.size() - kShownKinds);
    return diverged == 0;
}

size_t CountFlushes(const std::vector<TracedCall>& calls) {
    return static_cast<size_t>(std::count_if(calls.begin(), calls.end(), [](const TracedCall& call) {
        return call.op == Op::Flush || call.op == Op::FlushData || call.op == Op::FlushAll;
    }));
}

void PrintFlushes(const char* what, const std::vector<TracedCall>& calls) {
    std::printf("flushes  %s: %zu calls that change files, %zu of them flushes\n", what, calls.size(),
                CountFlushes(calls));
}

// Returns whether an upgrade of an up-to-date system leaves every file alone.
bool ReportFlushes(const Bench& bench, const fs::path& work, bool verbose) {
    const fs::path tree = work / "up-to-date";
    CopyTree(bench.UpgradedTree(), tree);
    ProcessEnd end;
    const std::vector<TracedCall> calls = TraceUpgrade(tree, PACKAGE_BUILD, end);
    PrintFlushes("full upgrade", bench.Calls());
    PrintFlushes("up-to-date system", calls);
    for (size_t i = 0; i < calls.size() && (verbose || i < kShownProblems); ++i)
        std::printf("    %s\n", calls[i].text.c_str());
    return calls.empty();
}

}  // namespace

int main(int argc, char* argv[]) {
    Options options;
    if (!Parse(argc, argv, options)) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    try {
        const WorkFolder folder(options.keep);
        const fs::path& work = folder.Path();
        const Bench bench(options.build, work);
        std::printf("Upgrade of build %s: %s; seed %llu\n", options.build.c_str(),
                    ToText(bench.End()).c_str(), static_cast<unsigned long long>(options.seed));
        for (size_t i = 0; options.list && i < bench.Calls().size(); ++i)
            std::printf("%5zu %s\n", i + 1, bench.Calls()[i].text.c_str());

        // Names as long as "upgraded", so that the journals are, too.
        Stands stands;
        for (size_t i = 0; i < options.jobs; ++i)
            stands.push_back(std::make_unique<Stand>(bench, work / ("stand" + std::to_string(100 + i))));
        bool good = true;
        for (const std::string& scenario : options.scenarios) {
            const bool fine = scenario == "flushes" ? ReportFlushes(bench, work, options.verbose)
                                                    : RunScenario(scenario, bench, stands, options);
            good = fine && good;
        }
        return good ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vgfaults: %s\n", error.what());
        return 2;
    }
}
