// vgupgrader OLD-BUILD: brings the data of an older package build to this one.
//
//   1. Parse the build number of the package that was installed before, and log it.
//   2. Wait for another upgrade of the same package tree.
//   3. Tell the data access whether the system is in non-rec mode.
//   4. Read what an earlier upgrade has left, and deliver what it owes.
//   5. Plan: the due rows, the schema repair, the room that they need.
//   6. Walk: repair the schema of the 17 databases, run the migrations, stamp the package version into settings.conf.
//   7. Say in the log and in the history what was done.
//
// Exit status: 0; 1 without an argument; 255 (-1) when a migration failed, another upgrade does not end, a restore is
// unfinished, or the main database was left alone.

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/base/vgprintf.h"
#include "platform/settings/settings.h"
#include "platform/settings/system.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/history.h"
#include "upgrader/lock.h"
#include "upgrader/log.h"
#include "upgrader/outbox.h"
#include "upgrader/plan.h"
#include "upgrader/repair.h"
#include "upgrader/restore_mark.h"
#include "upgrader/walk.h"

namespace {

constexpr const char* kHelp =
    "vgupgrader OLD-BUILD\n"
    "\n"
    "Brings the data of the package from the build OLD-BUILD, a number, to this one. The package's upgrade script\n"
    "runs it once, after the new files are in place and before any service starts.\n"
    "\n"
    "  --help     prints this\n"
    "  --version  prints the package version that this program upgrades to\n"
    "\n"
    "Exit status: 0, the upgrade is complete; 255, something failed: see /var/log/vigilo/vgupgrader.log and\n"
    "`vgupgradectl status`; 1, no argument was given.\n";

// Text that is not a number is build 0, so that every migration runs; a negative number wraps to a build
// above every threshold.
uint32_t ParseBuild(const char* text) {
    return text ? static_cast<uint32_t>(std::strtol(text, nullptr, 10)) : 0;
}

bool IsDigits(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// A stamp that cannot be written changes nothing; the library has logged it. Nor does one that is not known.
void StampVersion() {
    std::string version;
    if (FindVGPkgVersion(version) == 0)
        (void)SetSettingConfValue("vg_upgrader_version", version);
    else
        UPG_LOG("No version is stamped, since %s cannot be read.\n", ResolvePath(kPackageConf).c_str());
}

void LogDiskNeeds(const Plan& plan, const LogSite& site) {
    for (const DiskNeed& disk : plan.disk)
        if (disk.needed > disk.free)
            LogMessage(site,
                       "The file system of %s may be too full: %llu bytes can be needed, %llu are free.\n",
                       disk.fileSystem.c_str(), static_cast<unsigned long long>(disk.needed),
                       static_cast<unsigned long long>(disk.free));
}

// The last line of an upgrade.
void LogUpgrade(const Plan& plan, const Walk& walk, double seconds, const LogSite& site) {
    std::vector<WalkRow> failed = plan.failedBefore;
    for (const RowRun& run : walk.Runs())
        if (run.result < 0)
            failed.push_back(run.row);
    std::string names;
    for (const WalkRow& row : failed)
        names += StringPrintf("%s [%d] %s", names.empty() ? ":" : ",", row.number, row.name);
    LogMessage(site, "Upgrade from build %u: %zu migrations ran, %zu failed, %.2f s%s.\n", plan.oldBuild,
               walk.Runs().size(), failed.size(), seconds, names.c_str());
}

int Upgrade(const char* argument, uint32_t build, const LogSite& site) {
    const auto started = std::chrono::system_clock::now();
    const auto begin = std::chrono::steady_clock::now();

    SetPatienceBeforeWalk();
    Record::Facts facts;
    const Record::State state = Record::Open(facts);
    if (state == Record::State::Usable)
        Outbox::DeliverOwed(facts);

    Plan plan = PlanRows(build, facts);
    PlanRepair(plan);
    PlanDisk(plan);
    LogDiskNeeds(plan, site);

    std::vector<RepairDone> repaired;
    Walk walk(facts, state);
    walk.OnProgress([&plan, count = 0](const WalkRow& row) mutable {
        SetProgressLine(StringPrintf("[%d/%zu] %s", ++count, plan.rows.size(), row.name));
    });
    const int walked = walk.Run({.oldBuild = plan.oldBuild,
                                 .missing = plan.missing,
                                 .before = RepairBeforeWalk(plan, repaired, site),
                                 .rows = plan.rows,
                                 .after = StampVersion});
    SetProgressLine("");

    const bool failed = walked < 0 || state == Record::State::SetAside || !plan.failedBefore.empty();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    if (walk.HasChanged())
        LogIndexesLeftOut(plan, site);
    if (walk.HasChanged() || failed)
        (void)AppendHistory(
            HistoryOf(plan, walk, repaired, argument, started, seconds.count(), failed ? -1 : 0), failed);
    LogUpgrade(plan, walk, seconds.count(), site);
    return failed ? -1 : 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        OLIBCCopyright();
        std::puts("Usage:\nvgupgrader [pre-upgrade-version]");
        return 1;
    }
    const std::string_view argument = argv[1] ? argv[1] : "";
    if (argc == 2 && argument == "--help") {
        std::fputs(kHelp, stdout);
        return 0;
    }
    if (argc == 2 && argument == "--version") {
        std::puts(kBuiltVersion);
        return 0;
    }
    umask(077);  // the package's folders may be shared
    const uint32_t build = ParseBuild(argv[1]);
    UPG_LOG("pre-upgrade version:%u\n", build);
    if (!IsDigits(argument))
        UPG_LOG("Not a build number: [%s], taken as %u.\n", argument.data(), build);

    UpgradeLock lock;
    if (!lock.Acquire())
        return -1;
    std::string snapshot;
    if (const int restoring = FindUnfinishedRestore(snapshot); restoring != 0)
        return UPG_FAIL(
            "The restore of snapshot [%s] is not finished, nothing was changed. Finish it: vgupgradectl restore %s\n",
            snapshot.c_str(), snapshot.c_str());
    VGDB::g_blCheckNonRecMode = !IsLeavingNonRecMode();
    try {
        return Upgrade(argument.data(), build, LogSite::Here());
    } catch (const std::exception& error) {
        return UPG_FAIL("The upgrade ended by an exception: %s\n", error.what());
    }
}
