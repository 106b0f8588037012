// Runs one migration on the tree under VG_SYSROOT, as the driver does, and prints the peak memory of the process in
// bytes. For the scripts beside it.
#include <sys/resource.h>

#include <cstdio>
#include <string_view>

#include "upgrader/migrations.h"
#include "upgrader/runner.h"

namespace {

constexpr struct {
    std::string_view name;
    int (*run)();
} kMigrations[] = {
    {"IntegrateExternalProfileToCam", migrations::IntegrateExternalProfileToCam},
    {"UpdateCameraAlertEventType", migrations::UpdateCameraAlertEventType},
};

}  // namespace

int main(int argc, char* argv[]) {
    for (const auto& migration : kMigrations) {
        if (argc != 2 || migration.name != argv[1])
            continue;
        Runner walk({}, Record::State::Usable);
        const int result = walk.Run(
            {.oldBuild = 0,
             .missing = {},
             .before = {},
             .migrations = {{.number = 0, .name = argv[1], .threshold = 1, .function = migration.run}},
             .after = {}});
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        std::printf("%ld\n", usage.ru_maxrss * 1024);
        return result < 0 ? 1 : 0;
    }
    std::fputs("usage: migration_bench MIGRATION\n", stderr);
    return 2;
}
