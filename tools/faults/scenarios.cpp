#include "tools/faults/scenarios.h"

#include "tools/faults/allowed.h"
#include "tools/faults/points.h"

namespace {

constexpr size_t kManyCameras = 8000;

System Plain(const std::string& build) { return {build}; }
System WriteAhead(const std::string& build) { return {build, true}; }
System Large(const std::string& build) { return {build, false, kManyCameras}; }

// Every database has pages, as a new package's schema repair leaves it, and none of the rows has been
// migrated.
System Repaired(const std::string& build) { return {build, false, 0, {{UPGRADER_PROGRAM, {PACKAGE_BUILD}}}}; }

// Commands of the shell in the package's folder.
Command Shell(const std::string& text) {
    return {"sh", {"-c", "cd \"$VG_SYSROOT/" + std::string(kTarget) + "\" && " + text}};
}

Command Control(std::vector<std::string> arguments) { return {CONTROL_PROGRAM, std::move(arguments)}; }

System Saved(const std::string& build) { return {build, false, 0, {Control({"snapshot", kSnapshot})}}; }

// Everything that a restore has to deal with: since the snapshot the system was upgraded, files have come that were not
// there, and processes were killed in the middle of a commit.
System Upgraded(const std::string& build) {
    const auto killed = [](const std::string& database, const std::string& mode) {
        return "echo \"PRAGMA journal_mode = " + mode +
               "; PRAGMA cache_size = 1; CREATE TABLE filler(x); INSERT INTO filler VALUES(randomblob(9999)); BEGIN;" +
               " UPDATE filler SET x = randomblob(99999);\n.system kill -KILL \\$PPID\" | sqlite3 " +
               database + "; true";
    };
    return {build,
            false,
            0,
            {Shell("rm @VGData/variable.conf @vigilo/bookmark.db"),
             Control({"snapshot", kSnapshot}),
             {UPGRADER_PROGRAM, {build}},
             Shell("cp system.db @vigilo/bookmark.db && touch @VGData/variable.conf"),
             Shell(killed("system.db", "DELETE")),
             Shell(killed("@vigilo/recording.db", "WAL"))}};
}

Command Installed(const std::string& program) { return {program, {PACKAGE_BUILD}}; }

Runs Same(const Programs& programs, const std::string& build) {
    const Command run{programs.upgrader, {build}};
    return {run, run, run, Installed(programs.upgrader)};
}

Runs Newer(const Programs& programs, const std::string& build) {
    const Command run{programs.upgrader, {build}};
    return {run, Installed(programs.upgrader), run, Installed(programs.upgrader)};
}

Runs Older(const Programs& programs, const std::string& build) {
    constexpr int kBuildsBetween = 700;
    const Command older{programs.upgrader, {std::to_string(std::stoi(build) - kBuildsBetween)}};
    return {{programs.upgrader, {build}}, older, older, Installed(programs.upgrader)};
}

Runs Grown(const Programs& programs, const std::string& build) {
    return {{programs.upgrader, {build}},
            Installed(GROWN_PROGRAM),
            {GROWN_PROGRAM, {build}},
            Installed(GROWN_PROGRAM)};
}

// What has to work in spite of it, or must not, is an upgrade.
Runs Controlled(const Programs& programs, const std::string& build, Work work,
                std::vector<std::string> arguments) {
    const Command run{programs.control, std::move(arguments)};
    return {run, run, run, {programs.upgrader, {build}}, work};
}

Runs Snapshot(const Programs& programs, const std::string& build) {
    return Controlled(programs, build, Work::Snapshot, {"snapshot", kSnapshot});
}

Runs Forget(const Programs& programs, const std::string& build) {
    return Controlled(programs, build, Work::Forget, {"forget", kSnapshot});
}

Runs Restore(const Programs& programs, const std::string& build) {
    return Controlled(programs, build, Work::Restore, {"restore", "--yes", kSnapshot});
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
