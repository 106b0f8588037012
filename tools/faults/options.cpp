#include "tools/faults/options.h"

#include <CLI/CLI.hpp>

#include "tools/faults/scenarios.h"

namespace {

constexpr int kWrongUsage = 2;
constexpr size_t kMost = 1'000'000;

std::vector<std::string> NamesOfScenarios() {
    std::vector<std::string> names = {kFlushes, kSense};
    for (const Scenario& scenario : AllScenarios())
        names.push_back(scenario.name);
    return names;
}

std::string TextOfScenarios() {
    std::string text = "Scenarios, all of them by default:\n";
    const auto add = [&](std::string name, const std::string& what) {
        name.resize(14, ' ');
        text += "  " + name + what + "\n";
    };
    for (const Scenario& scenario : AllScenarios())
        add(scenario.name, scenario.text);
    add(kFlushes, "counts the calls that change files, of which an up-to-date system needs none");
    add(kSense, "programs with a fault each, which the scenarios must notice");
    return text;
}

}  // namespace

std::optional<int> ParseOptions(int argc, char* argv[], Options& options) {
    CLI::App app(
        "Shows that an upgrade, or a restore, that is interrupted and run again ends as one that was not.",
        "vgfaults");
    app.footer(TextOfScenarios());
    std::vector<std::string> names = NamesOfScenarios();
    options.program = UPGRADER_PROGRAM;
    app.add_option("scenario", options.scenarios, "What to try (all by default)")
        ->option_text("SCENARIO...")
        ->check(CLI::IsMember(names) | CLI::IsMember({"all"}));
    app.add_option("--from", options.build, "The sample system to upgrade: 3000 (default), 2300 or 6500")
        ->option_text("BUILD")
        ->check(CLI::IsMember({"3000", "2300", "6500"}));
    app.add_option("--program", options.program, "The program to try, in place of the one that was built")
        ->option_text("PATH")
        ->check(CLI::ExistingFile);
    auto* const sample =
        app.add_option("--sample", options.sample, "Try N points of each scenario, spread at random")
            ->option_text("N")
            ->check(CLI::Range(size_t{1}, kMost));
    app.add_flag("--short", options.isShort, "Try a few points of each scenario")->excludes(sample);
    app.add_option("--every", options.every, "Try every K-th point")
        ->option_text("K")
        ->check(CLI::Range(size_t{1}, kMost));
    app.add_option("--at", options.at, "Try the points of call N only")
        ->option_text("N")
        ->check(CLI::Range(size_t{1}, kMost));
    app.add_option("--seed", options.seed, "For what is random (default 1)")->option_text("S");
    app.add_option("--jobs", options.jobs, "Points tried at the same time (default 2)")
        ->option_text("J")
        ->check(CLI::Range(size_t{1}, kMost));
    app.add_flag("--keep", options.keep, "Leave the trees of points that diverged, and tell where");
    app.add_flag("--verbose", options.verbose, "Tell all differences of every point that diverged");
    app.add_flag("--list", options.list, "Print the calls of the first scenario named, or of an upgrade");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : kWrongUsage;
    }
    if (options.scenarios.empty() ||
        std::find(options.scenarios.begin(), options.scenarios.end(), "all") != options.scenarios.end())
        options.scenarios = std::move(names);
    return std::nullopt;
}
