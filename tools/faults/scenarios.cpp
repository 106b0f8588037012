#include "tools/faults/scenarios.h"

#include "tools/faults/points.h"

namespace {

constexpr size_t kManyCameras = 8000;

System Plain(const std::string& build) { return {build}; }
System WriteAhead(const std::string& build) { return {build, true}; }
System Large(const std::string& build) { return {build, false, kManyCameras}; }

// Every database has pages, as a new package's schema repair leaves it, and none of the rows has been
// migrated.
System Repaired(const std::string& build) { return {build, false, 0, {{UPGRADER_PROGRAM, {PACKAGE_BUILD}}}}; }

Command Installed(const std::string& program) { return {program, {PACKAGE_BUILD}}; }

Runs Same(const std::string& program, const std::string& build) {
    const Command run{program, {build}};
    return {run, run, run, Installed(program)};
}

Runs Newer(const std::string& program, const std::string& build) {
    const Command run{program, {build}};
    return {run, Installed(program), run, Installed(program)};
}

Runs Older(const std::string& program, const std::string& build) {
    constexpr int kBuildsBetween = 700;
    const Command older{program, {std::to_string(std::stoi(build) - kBuildsBetween)}};
    return {{program, {build}}, older, older, Installed(program)};
}

Runs Grown(const std::string& program, const std::string& build) {
    return {{program, {build}}, Installed(GROWN_PROGRAM), {GROWN_PROGRAM, {build}}, Installed(GROWN_PROGRAM)};
}

}  // namespace

const std::vector<Scenario>& AllScenarios() {
    static const std::vector<Scenario> scenarios = {
#define SCENARIO(name, system, runs, sample, text) {#name, text, sample, system, runs, points::name},
#include "tools/faults/scenarios.def"
#undef SCENARIO
    };
    return scenarios;
}
