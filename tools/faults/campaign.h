// Tries the points of a scenario on several stands at the same time, and tells what came of it.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tools/faults/options.h"
#include "tools/faults/scenarios.h"

// A bench with its stands.
class Field {
public:
    Field(const System& system, const Runs& runs, const std::filesystem::path& folder, size_t jobs);

    const Bench& TheBench() const { return m_bench; }
    const std::vector<std::unique_ptr<Stand>>& Stands() const { return m_stands; }

private:
    Bench m_bench;
    std::vector<std::unique_ptr<Stand>> m_stands;
};

struct Tally {
    size_t points = 0;
    size_t diverged = 0;
};

// Prints the count of points and divergences, and the kinds of divergences. `sample` 0: every point.
Tally RunScenario(const Scenario& scenario, const Field& field, const Options& options, size_t sample);

// The same, in silence, until the first divergence.
bool Diverges(const Scenario& scenario, const Field& field, uint64_t seed, size_t sample);
