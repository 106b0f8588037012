#include "tools/faults/sense.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace {

constexpr size_t kPoints = 5;  // of the scenario

// Shell commands around the run of the program, which gives $status; $target and $conf are the package's
// folder and settings. $again is set in a run on a tree that has seen one before, so that the uninterrupted
// run is as it should be.
struct Mutant {
    const char* name;
    const char* scenario;
    const char* before;
    const char* after;
};

constexpr Mutant kMutants[] = {
    {"leaves a temporary file", "crash", "", "[ $again ] && touch $conf.vgtmp"},
    {"leaves a journal", "crash", "", "[ $again ] && touch $target/system.db-journal"},
    {"leaves a write-ahead log", "crash", "", "[ $again ] && touch $target/@vigilo/log.db-wal"},
    {"leaves its record", "crash", "",
     "[ $again ] && sqlite3 $target/system.db 'CREATE TABLE vgupgrader_record(x)'"},
    {"leaves its marker in the log database", "crash", "",
     "[ $again ] && sqlite3 $target/@vigilo/log.db 'CREATE TABLE vgupgrader_delivered(x)'"},
    {"loses a transaction and says nothing", "crash", "",
     "[ $again ] && sqlite3 $target/system.db 'DELETE FROM eventlabelsetting'"},
    {"drops the record of another upgrade", "newer",
     "tables=$(sqlite3 $target/system.db \"SELECT name FROM sqlite_schema WHERE name LIKE 'vgupgrader%'\")\n"
     "for table in $tables; do sqlite3 $target/system.db \"DROP TABLE $table\"; done",
     ""},
    {"does not write the stamp a second time", "io", "",
     "[ \"$VGFAULT_MODE\" = fail ] && sed -i 's/^vg_upgrader_version=.*/vg_upgrader_version=\"0\"/' $conf"},
    {"ends with 0 whatever has failed", "full", "", "status=0"},
    {"delivers the entries of an upgrade that was undone", "full", "",
     "[ $status -ne 0 ] && sqlite3 $target/@vigilo/log.db 'INSERT INTO log(log_type) VALUES(1)'"},
    {"delivers the keys of an upgrade that was undone", "full", "",
     "[ $status -ne 0 ] && echo 'undone=\"1\"' >>$conf"},
    {"says that a snapshot is taken which is not", "snapshot", "", "status=0"},
    {"leaves a file beside one that it has brought back", "restore", "",
     "[ \"$VGFAULT_MODE\" ] || touch $conf.vgrestore"},
    {"brings a file back with another time", "restore", "", "[ \"$VGFAULT_MODE\" ] || touch $conf"},
};

constexpr const char* kFrame = R"(#!/bin/sh
export preload="$LD_PRELOAD"
unset LD_PRELOAD
target="$VG_SYSROOT/var/packages/Vigilo/target"
conf="$VG_SYSROOT/var/packages/Vigilo/etc/settings.conf"
[ -s "$VG_SYSROOT/var/log/vigilo/vgupgrader.log" ] && again=1
)";

void WriteMutant(const Mutant& mutant, const std::string& program, const fs::path& path) {
    std::ofstream script(path);
    script << kFrame << mutant.before << "\nLD_PRELOAD=\"$preload\" '" << program << "' \"$@\"\nstatus=$?\n"
           << "[ $status -gt 128 ] && [ $status -lt 255 ] && kill -KILL $$\n"
           << mutant.after << "\nexit $status\n";
    script.close();
    fs::permissions(path, fs::perms::owner_all);
}

// Tries the mutant in its scenario, or in that of another.
bool Notices(const std::string& name, const Mutant& mutant, const Options& options, const fs::path& folder) {
    const auto scenario = std::find_if(AllScenarios().begin(), AllScenarios().end(),
                                       [&](const Scenario& one) { return one.name == name; });
    fs::create_directories(folder);
    Programs programs{options.program, CONTROL_PROGRAM};
    const bool isUpgrade = scenario->runs(programs, options.build).work == Work::Upgrade;
    std::string& program = isUpgrade ? programs.upgrader : programs.control;
    WriteMutant(mutant, program, folder / "mutant");
    program = folder / "mutant";
    const bool noticed = [&] {
        const Field field(scenario->system(options.build), scenario->runs(programs, options.build),
                          folder / "field", 1);
        return Diverges(*scenario, field, options.seed, kPoints);
    }();
    fs::remove_all(folder);
    return noticed;
}

}  // namespace

Tally RunSense(const Options& options, const fs::path& folder) {
    constexpr Mutant kFaultless{"has no fault", "", "", ""};
    std::map<std::string, bool> divergesAnyway;
    Tally tally;
    for (const Mutant& mutant : kMutants) {
        if (IsInterrupted())
            break;
        ++tally.points;
        const std::string name = mutant.scenario;
        if (!divergesAnyway.contains(name))
            divergesAnyway[name] = Notices(name, kFaultless, options, folder);
        if (!divergesAnyway[name] && Notices(name, mutant, options, folder))
            continue;
        ++tally.diverged;
        std::printf("  %s: a program that %s (%s)\n",
                    divergesAnyway[name] ? "cannot be told from the program itself" : "not noticed",
                    mutant.name, mutant.scenario);
    }
    std::printf("%-13s %5zu faulty programs, %zu not noticed\n", kSense, tally.points, tally.diverged);
    return tally;
}
