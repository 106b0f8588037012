#include "tools/faults/sense.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fstream>

namespace fs = std::filesystem;

namespace {

// Shell commands around the run of the program, $VGUPGRADER "$@", which gives its status; $target and $conf are the
// package's folder and settings. LD_PRELOAD is for the program alone.
struct Mutant {
    const char* name;
    const char* before;
    const char* after;  // $status holds how the program ended
    const char* scenario;
};

constexpr Mutant kMutants[] = {
    {"leaves a temporary file", "", "touch $conf.vgtmp", "crash"},
    {"leaves a journal", "", "touch $target/system.db-journal", "crash"},
    {"leaves a write-ahead log", "", "touch $target/@vigilo/log.db-wal", "crash"},
    {"leaves its record", "", "sqlite3 $target/system.db 'CREATE TABLE IF NOT EXISTS vgupgrader_record(x)'", "crash"},
    {"leaves its marker in the log database", "",
     "sqlite3 $target/@vigilo/log.db 'CREATE TABLE IF NOT EXISTS vgupgrader_delivered(x)'", "crash"},
    {"drops the record of another upgrade",
     "sqlite3 $target/system.db 'DROP TABLE IF EXISTS vgupgrader_record; DROP TABLE IF EXISTS vgupgrader_outbox'", "",
     "newer"},
    {"loses a transaction and says nothing",
     "[ -f $target/../seen ] && sqlite3 $target/system.db 'DELETE FROM eventlabelsetting'; touch $target/../seen", "",
     "crash"},
    {"does not write the stamp again", "",
     "[ -n \"$preload\" ] && sed -i 's/^vg_upgrader_version=.*/vg_upgrader_version=\"0\"/' $conf", "io"},
    {"ends with 0 whatever has failed", "", "status=0", "full"},
    {"delivers the entries of an upgrade that was undone", "",
     "[ $status -ne 0 ] && sqlite3 $target/@vigilo/log.db 'INSERT INTO log(log_type) VALUES(1)'", "full"},
    {"delivers the keys of an upgrade that was undone", "", "[ $status -ne 0 ] && echo 'undone=\"1\"' >> $conf",
     "full"},
};

constexpr const char* kFrame = R"(#!/bin/sh
export preload="$LD_PRELOAD"
unset LD_PRELOAD
target="$VG_SYSROOT/var/packages/Vigilo/target"
conf="$VG_SYSROOT/var/packages/Vigilo/etc/settings.conf"
)";

void WriteMutant(const Mutant& mutant, const std::string& program, const fs::path& path) {
    std::ofstream script(path);
    script << kFrame << mutant.before << "\nLD_PRELOAD=\"$preload\" '" << program << "' \"$@\"\nstatus=$?\n"
           << "[ $status -gt 128 ] && [ $status -lt 255 ] && kill -KILL $$\n"
           << mutant.after << "\nexit $status\n";
    script.close();
    fs::permissions(path, fs::perms::owner_all);
}

bool IsNoticed(const Mutant& mutant, const Options& options, const fs::path& folder) {
    const auto scenario = std::find_if(AllScenarios().begin(), AllScenarios().end(),
                                       [&](const Scenario& one) { return one.name == mutant.scenario; });
    fs::create_directories(folder);
    WriteMutant(mutant, options.program, folder / "mutant");
    try {
        const Field field(scenario->system(options.build), scenario->runs(folder / "mutant", options.build),
                          folder / "field", 1);
        return Diverges(*scenario, field, options.seed, 2 * scenario->shortSample);
    } catch (const std::exception&) {
        return true;  // the run without faults is wrong already
    }
}

}  // namespace

Tally RunSense(const Options& options, const fs::path& folder) {
    Tally tally;
    for (const Mutant& mutant : kMutants) {
        if (IsInterrupted())
            break;
        ++tally.points;
        const bool noticed = IsNoticed(mutant, options, folder);
        fs::remove_all(folder);
        if (noticed)
            continue;
        ++tally.diverged;
        std::printf("  not noticed: a program that %s (%s)\n", mutant.name, mutant.scenario);
    }
    std::printf("%-13s %5zu faulty programs, %zu not noticed\n", kSense, tally.points, tally.diverged);
    return tally;
}
