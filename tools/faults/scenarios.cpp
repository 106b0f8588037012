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

Runs Controlled(const Command& command, const std::string& program, const std::string& build, Work work) {
    return {command, command, command, {program, {build}}, work};
}

Runs Snapshot(const std::string& program, const std::string& build) {
    return Controlled(Control({"snapshot", kSnapshot}), program, build, Work::Snapshot);
}

Runs Forget(const std::string& program, const std::string& build) {
    return Controlled(Control({"forget", kSnapshot}), program, build, Work::Forget);
}

Runs Restore(const std::string& program, const std::string& build) {
    return Controlled(Control({"restore", "--yes", kSnapshot}), program, build, Work::Restore);
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
