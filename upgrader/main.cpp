// vgupgrader OLD-BUILD: brings the data of an older package build to this one.
//
//   1. Parse the build number of the package that was installed before, and log it.
//   2. Wait for another upgrade of the same package tree.
//   3. Tell the data access whether the system is in non-rec mode.
//   4. Read what an earlier upgrade has left, and deliver what it owes.
//   5. Plan: the due rows, the schema repair, the room that they need.
//   6. Runner: repair the schema of the 17 databases, run the migrations, stamp the package version into settings.conf.
//   7. Say in the log and in the history what was done.
//
// Exit status: 0; 1 without an argument; 255 (-1) when a migration failed, another upgrade does not end, a restore is
// unfinished, or the main database was left alone.

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <string_view>

#include "platform/base/watch.h"
#include "platform/settings/settings.h"
#include "platform/settings/system.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/lock.h"
#include "upgrader/log.h"
#include "upgrader/restore_mark.h"
#include "upgrader/upgrade.h"

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

    Watch watch;  // when a rehearsal looks on
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
        return Upgrade(argument, build);
    } catch (const std::exception& error) {
        return UPG_FAIL("The upgrade ended by an exception: %s\n", error.what());
    }
}
