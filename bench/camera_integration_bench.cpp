// Runs the stream profile integration on the tree under VG_SYSROOT, as the driver does, and prints its peak
// memory in bytes. See the script camera_integration.
#include <sys/resource.h>

#include <cstdio>

#include "platform/userlog/vglog.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/migrations/migrations.h"

int main() {
    const int result = migrations::IntegrateExternalProfileToCam();
    const int flushed = VGLogFlush();
    VGDB::CloseAll();
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("%ld\n", usage.ru_maxrss * 1024);
    return result < 0 || flushed < 0 ? 1 : 0;
}
