// vgupgrader OLD-BUILD: brings the data of an older package build to this one.
//
//   1. Parse the build number of the package that was installed before, and log it.
//   2. Wait for another upgrade of the same package tree.
//   3. Tell the data access whether the system is in non-rec mode.
//   4. Tell when the disk may be too full.
//   5. Finish what an interrupted upgrade left.
//   6. Repair the schema of the 17 databases.
//   7. Run the migrations that the old build never had.
//   8. Stamp the package version into settings.conf.
//
// Exit status: 0; 1 without an argument; 255 (-1) when a migration failed or another upgrade does not end.

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/settings/settings.h"
#include "platform/settings/system.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/disk_space.h"
#include "upgrader/driver.h"
#include "upgrader/log.h"
#include "upgrader/registry.h"
#include "upgrader/upgrade_lock.h"
#include "upgrader/upgrade_record.h"

namespace {

// Text that is not a number is build 0, so that every migration runs; a negative number wraps to a build
// above every threshold.
uint32_t ParseBuild(const char* text) {
    return text ? static_cast<uint32_t>(std::strtol(text, nullptr, 10)) : 0;
}

// A stamp that cannot be written changes nothing; the library has logged it. A disk that fails for a moment
// gets a second try.
void StampVersion() {
    const std::string version = GetVGPkgVersion(true);
    if (SetSettingConfValue("vg_upgrader_version", version))
        (void)SetSettingConfValue("vg_upgrader_version", version);
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc < 2) {
        OLIBCCopyright();
        std::puts("Usage:\nvgupgrader [pre-upgrade-version]");
        return 1;
    }
    const uint32_t oldBuild = ParseBuild(argv[1]);
    UPG_LOG("pre-upgrade version:%u\n", oldBuild);

    UpgradeLock lock;
    if (!lock.Acquire())
        return -1;

    VGDB::g_blCheckNonRecMode = !IsLeavingNonRecMode();
    CheckDiskSpace(MigrationRegistry, oldBuild);
    UpgradeRecord record(oldBuild);
    record.Recover();
    RepairSchema(record);
    const int result = DoAction(MigrationRegistry, oldBuild, record);
    StampVersion();
    record.Close();
    VGDB::CloseAll();
    return result;
}
