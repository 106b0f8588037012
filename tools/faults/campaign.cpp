#include "tools/faults/campaign.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <exception>
#include <iterator>
#include <map>
#include <random>
#include <thread>

#include "tests/support/pattern.h"
#include "tools/faults/trial.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kShownKinds = 12;
constexpr size_t kShownProblems = 4;

std::vector<Point> Select(const std::vector<Point>& all, const Options& options, size_t sample) {
    std::vector<Point> selected;
    if (options.at > 0) {
        std::copy_if(all.begin(), all.end(), std::back_inserter(selected),
                     [&](const Point& point) { return point.fault.at == options.at; });
    } else if (sample > 0 && sample < all.size()) {
        std::mt19937_64 random(options.seed);
        for (size_t i = 0; i < sample; ++i) {
            const size_t from = i * all.size() / sample;
            const size_t to = (i + 1) * all.size() / sample;
            const auto end = all.begin() + static_cast<std::ptrdiff_t>(to);
            const auto always = std::find_if(all.begin() + static_cast<std::ptrdiff_t>(from), end,
                                             [](const Point& point) { return point.isAlwaysTried; });
            selected.push_back(always == end ? all[from + random() % (to - from)] : *always);
        }
    } else {
        for (size_t i = 0; i < all.size(); i += options.every)
            selected.push_back(all[i]);
    }
    return selected;
}

// How far a scenario has come: a line that is rewritten on a terminal, one now and then elsewhere.
class Progress {
public:
    Progress(const std::string& scenario, size_t points) : m_scenario(scenario), m_points(points) {}

    void Tell(size_t done, size_t diverged) {
        const auto now = std::chrono::steady_clock::now();
        if (now - m_told < (m_isTerminal ? std::chrono::milliseconds(200) : std::chrono::seconds(30)))
            return;
        m_told = now;
        std::fprintf(
            stderr,
            m_isTerminal ? "\r%-13s %5zu of %zu points, %zu diverged " : "%s: %zu of %zu, %zu diverged\n",
            m_scenario.c_str(), done, m_points, diverged);
    }
    void Clear() const {
        if (m_isTerminal)
            std::fputs("\r\033[K", stderr);
    }

private:
    const std::string& m_scenario;
    size_t m_points;
    bool m_isTerminal = isatty(STDERR_FILENO) == 1;
    std::chrono::steady_clock::time_point m_told = std::chrono::steady_clock::now();
};

void TryPoint(const Bench& bench, const Stand& stand, const Point& point, Trial& trial) {
    stand.Clear();
    try {
        trial = Try(bench, stand, point);
    } catch (const std::exception& error) {
        trial.problems.push_back(error.what());
    }
}

void Keep(const Stand& stand, size_t number, Trial& trial) {
    const fs::path kept = stand.Tree().string() + "-" + std::to_string(number);
    fs::rename(stand.Tree(), kept);
    trial.what += " (" + kept.string() + ")";
}

// Tries the points on all stands at the same time. What an interrupt has cut off stays empty.
std::vector<Trial> TryAll(const std::vector<Point>& points, const Field& field, bool keep,
                          Progress& progress) {
    std::vector<Trial> trials(points.size());
    std::atomic<size_t> next = 0;
    std::atomic<size_t> done = 0;
    std::atomic<size_t> diverged = 0;
    const auto work = [&](const Stand& stand) {
        for (size_t i = next++; i < points.size(); i = next++) {
            TryPoint(field.TheBench(), stand, points[i], trials[i]);
            if (IsInterrupted()) {
                trials[i] = {};
                return;
            }
            ++done;
            if (trials[i].problems.empty())
                continue;
            ++diverged;
            if (keep)
                Keep(stand, i, trials[i]);
        }
    };
    std::atomic<size_t> working = field.Stands().size();
    std::vector<std::jthread> workers;
    for (const auto& stand : field.Stands())
        workers.emplace_back([&] {
            work(*stand);
            --working;
        });
    while (working > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        progress.Tell(done, diverged);
    }
    progress.Clear();
    return trials;
}

// Problems of one kind differ in numbers, random names and texts only.
std::string KindOf(const std::string& problem) {
    static const Pattern numbers("-mj[0-9A-F]+|[0-9]+");
    return numbers.ReplaceIn(problem.substr(0, problem.find(": expected [")), "*");
}

void PrintTrial(const Trial& trial, size_t shown) {
    std::printf("    %s\n", trial.what.c_str());
    for (size_t i = 0; i < trial.problems.size() && i < shown; ++i)
        std::printf("        %s\n", trial.problems[i].c_str());
    if (trial.problems.size() > shown)
        std::printf("        and %zu more\n", trial.problems.size() - shown);
}

}  // namespace

Field::Field(const System& system, const Runs& runs, const fs::path& folder, size_t jobs)
    : m_bench(system, runs, folder) {
    // Names as long as that of the bench's own tree, so that the journals are, too.
    for (size_t i = 0; i < jobs; ++i)
        m_stands.push_back(std::make_unique<Stand>(m_bench, folder / ("stand" + std::to_string(100 + i))));
}

Tally RunScenario(const Scenario& scenario, const Field& field, const Options& options, size_t sample) {
    const auto begin = std::chrono::steady_clock::now();
    const std::vector<Point> all = scenario.points(field.TheBench(), options.seed);
    const std::vector<Point> points = Select(all, options, sample);
    Progress progress(scenario.name, points.size());
    const std::vector<Trial> trials = TryAll(points, field, options.keep, progress);

    std::map<std::string, std::vector<const Trial*>> kinds;
    Tally tally;
    for (const Trial& trial : trials) {
        tally.points += !trial.what.empty();
        if (trial.problems.empty())
            continue;
        ++tally.diverged;
        kinds[KindOf(trial.problems.front())].push_back(&trial);
        if (options.verbose)
            PrintTrial(trial, trial.problems.size());
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    std::printf("%-13s %5zu of %5zu points, %zu diverged (%.1f s)%s\n", scenario.name.c_str(), tally.points,
                all.size(), tally.diverged, taken.count(), IsInterrupted() ? ", interrupted" : "");
    size_t shown = 0;
    for (const auto& [kind, same] : kinds) {
        if (options.verbose || ++shown > kShownKinds)
            break;
        std::printf("  %zu of the kind \"%s\", the first:\n", same.size(), kind.c_str());
        PrintTrial(*same.front(), kShownProblems);
    }
    if (!options.verbose && kinds.size() > kShownKinds)
        std::printf("  and %zu more kinds\n", kinds.size() - kShownKinds);
    return tally;
}

bool Diverges(const Scenario& scenario, const Field& field, uint64_t seed, size_t sample) {
    Options options;
    options.seed = seed;
    const std::vector<Point> points = Select(scenario.points(field.TheBench(), seed), options, sample);
    return std::any_of(points.begin(), points.end(), [&](const Point& point) {
        Trial trial;
        TryPoint(field.TheBench(), *field.Stands().front(), point, trial);
        return !trial.problems.empty();
    });
}
