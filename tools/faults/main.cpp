// vgfaults: shows that an upgrade, or a restore, that is interrupted and run again ends as one that was not.
//
// Exit status: 0; 1 when a point diverged; 2 for a wrong command line or a system that cannot be laid out; 130 after an
// interrupt.
#include <sys/statvfs.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>

#include "tests/support/pattern.h"
#include "tools/faults/trial.h"

namespace fs = std::filesystem;

namespace {

constexpr int kWrongUsage = 2;
constexpr int kInterrupted = 130;
constexpr size_t kWaiters = 5;  // points that wait for each one that works
constexpr size_t kShownKinds = 12;
constexpr size_t kShownProblems = 4;
constexpr unsigned long long kRoomForTrees = 2ULL << 30;

struct Options {
    std::vector<std::string> scenarios;
    std::string programs = BUILD_DIR;
    std::string from = "3000";
    size_t sample = 0;
    bool isShort = false;
    size_t at = 0;
    uint64_t seed = 1;
    size_t jobs = 2;
    bool keep = false;
    bool verbose = false;
    bool list = false;
};

struct Result {
    std::string what;  // empty: not tried
    std::vector<std::string> problems;
};

void Describe(CLI::App& app, Options& options) {
    std::string text = "Scenarios, all of them by default:\n";
    std::vector<std::string> names;
    for (const Scenario& scenario : AllScenarios()) {
        names.push_back(scenario.name);
        text += "  " + names.back() + std::string(16 - names.back().size(), ' ') + scenario.text + "\n";
    }
    app.footer(text);
    app.add_option("scenario", options.scenarios, "What to try")->check(CLI::IsMember(names));
    app.add_option("--from", options.from,
                   "The sample system 3000, 2300 or 6500, or BUILD:FOLDER for another");
    app.add_option("--programs", options.programs, "The build folder of the programs to try")
        ->check(CLI::ExistingDirectory);
    app.add_option("--sample", options.sample, "Try N points of each scenario, spread at random");
    app.add_flag("--short", options.isShort, "Try a few points of each scenario");
    app.add_option("--at", options.at, "Try the points of call N, or of migration N, only");
    app.add_option("--seed", options.seed, "For what is random");
    app.add_option("--jobs", options.jobs, "Points tried at the same time");
    app.add_flag("--keep", options.keep, "Leave the trees of points that diverged, and tell where");
    app.add_flag("--verbose", options.verbose, "Tell all differences of every point that diverged");
    app.add_flag("--list", options.list, "Print the calls of the first scenario named");
}

// A folder for the trees: in memory when there is room, since each point lays out and drops one.
fs::path MakeWorkFolder() {
    struct statvfs room {};
    const bool fits = access("/dev/shm", W_OK) == 0 && statvfs("/dev/shm", &room) == 0 &&
                      room.f_bavail * room.f_frsize > kRoomForTrees;
    std::string folder = (fits ? fs::path("/dev/shm") : fs::temp_directory_path()) / "vgfaults.XXXXXX";
    if (!mkdtemp(folder.data()))
        throw std::runtime_error("no folder for the trees");
    return folder;
}

std::vector<Point> Select(const std::vector<Point>& all, const Options& options, size_t sample) {
    std::vector<Point> selected;
    if (options.at > 0) {
        std::copy_if(all.begin(), all.end(), std::back_inserter(selected), [&](const Point& point) {
            return point.fault.at == options.at || point.fault.during == static_cast<int>(options.at);
        });
        return selected;
    }
    if (sample == 0 || sample >= all.size())
        return all;
    std::mt19937_64 random(options.seed);
    for (size_t i = 0; i < sample; ++i) {
        const size_t from = i * all.size() / sample, to = (i + 1) * all.size() / sample;
        size_t chosen = from + random() % (to - from);
        for (size_t k = from; k < to; ++k)
            chosen = all[k].isAlwaysTried ? k : chosen;
        selected.push_back(all[chosen]);
    }
    return selected;
}

// Tries the points one after the other, below a path of the worker's own, as long as those of others.
class Worker {
public:
    Worker(const Baseline& base, const fs::path& tree, bool keep)
        : m_base(base), m_tree(tree), m_keep(keep) {}

    void Try(const Point& point, size_t number, Result& result) {
        Trial trial(m_base, m_tree, m_disk, point);
        try {
            trial.Run();
        } catch (const std::exception& error) {
            trial.Problem(error.what());
        }
        result = {trial.what, trial.problems};
        if (m_keep && !result.problems.empty()) {
            const fs::path kept = m_tree.string() + "-" + std::to_string(number);
            fs::rename(m_tree, kept);
            result.what += " (" + kept.string() + ")";
        }
        fs::remove_all(m_tree);
    }

private:
    const Baseline& m_base;
    fs::path m_tree;
    bool m_keep;
    std::optional<Disk> m_disk;
};

// Tries the points at the same time. What an interrupt has cut off stays empty.
std::vector<Result> TryAll(const std::vector<Point>& points, const Baseline& base, const Options& options,
                           size_t jobs) {
    std::vector<Result> results(points.size());
    std::atomic<size_t> next = 0;
    std::vector<std::jthread> workers;
    for (size_t job = 0; job < jobs; ++job)
        workers.emplace_back([&, job] {
            Worker worker(base, base.Folder() / ("tree" + std::to_string(100 + job)), options.keep);
            for (size_t i = next++; i < points.size() && !IsInterrupted(); i = next++) {
                worker.Try(points[i], i, results[i]);
                if (IsInterrupted())
                    results[i] = {};
            }
        });
    return workers.clear(), results;
}

void Print(const Result& result, size_t shown) {
    std::printf("    %s\n", result.what.c_str());
    for (size_t i = 0; i < result.problems.size() && i < shown; ++i)
        std::printf("        %s\n", result.problems[i].c_str());
    if (result.problems.size() > shown)
        std::printf("        and %zu more\n", result.problems.size() - shown);
}

// Returns how many diverged. Divergences of one kind differ in numbers, random names and texts only.
size_t RunScenario(const Scenario& scenario, const Baseline& base, const Options& options) {
    static const Pattern numbers("-mj[0-9A-F]+|[0-9]+");
    const auto begin = std::chrono::steady_clock::now();
    const std::vector<Point> all = scenario.points(base, options.seed);
    const std::vector<Point> points =
        Select(all, options, options.isShort ? scenario.shortSample : options.sample);
    const std::vector<Result> results =
        TryAll(points, base, options, options.jobs * (scenario.waits ? kWaiters : 1));

    std::map<std::string, std::vector<const Result*>> kinds;
    size_t diverged = 0;
    for (const Result& result : results) {
        if (result.problems.empty())
            continue;
        ++diverged;
        const std::string& problem = result.problems.front();
        kinds[numbers.ReplaceIn(problem.substr(0, problem.find(": expected [")), "*")].push_back(&result);
        if (options.verbose)
            Print(result, result.problems.size());
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::printf("%-16s %5zu of %5zu points, %zu diverged (%.1f s)\n", scenario.name, points.size(),
                all.size(), diverged, taken.count());
    size_t shown = 0;
    for (const auto& [kind, same] : kinds) {
        if (options.verbose || ++shown > kShownKinds)
            break;
        std::printf("  %zu of the kind \"%s\", the first:\n", same.size(), kind.c_str());
        Print(*same.front(), kShownProblems);
    }
    return diverged;
}

int RunAll(const Options& options, const fs::path& work) {
    using Kind = std::pair<decltype(Scenario::setup), decltype(Scenario::runs)>;
    std::map<Kind, std::unique_ptr<Baseline>> baselines;  // each laid out when it is first needed
    size_t diverged = 0;
    for (const Scenario& scenario : AllScenarios()) {
        const auto& named = options.scenarios;
        const bool isNamed = std::find(named.begin(), named.end(), scenario.name) != named.end();
        if ((!named.empty() && !isNamed) || (options.isShort && scenario.shortSample == 0))
            continue;
        std::unique_ptr<Baseline>& base = baselines[{scenario.setup, scenario.runs}];
        if (!base)
            base = std::make_unique<Baseline>(scenario.setup(options.from),
                                              scenario.runs(options.from.substr(0, options.from.find(':'))),
                                              work / ("system" + std::to_string(baselines.size())));
        if (options.list) {
            for (size_t i = 0; i < base->Calls().size(); ++i)
                std::printf("%5zu %s\n", i + 1, base->Calls()[i].text.c_str());
            return 0;
        }
        diverged += RunScenario(scenario, *base, options);
        if (IsInterrupted())
            return kInterrupted;
    }
    std::printf("From %s, seed %llu: %zu diverged\n", options.from.c_str(),
                static_cast<unsigned long long>(options.seed), diverged);
    return diverged == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    CLI::App app(
        "Shows that an upgrade, or a restore, that is interrupted and run again ends as one that was not.",
        "vgfaults");
    app.option_defaults()->always_capture_default();
    Options options;
    Describe(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kWrongUsage;
    }
    // Commands are called by their names, as people do.
    const fs::path programs = fs::absolute(options.programs);
    const std::string path = (programs / "upgrader:").string() + (programs / "control:").string();
    setenv("PATH", (path + std::getenv("PATH")).c_str(), 1);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    CatchInterrupts();
    int status = kWrongUsage;
    fs::path work;
    try {
        work = MakeWorkFolder();
        status = RunAll(options, work);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vgfaults: %s\n", error.what());
    }
    std::error_code left;
    if (!options.keep)
        fs::remove_all(work, left);
    return IsInterrupted() ? kInterrupted : status;
}
