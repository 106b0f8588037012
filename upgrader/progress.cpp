#include "upgrader/progress.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <type_traits>

#include "platform/files/file_io.h"

namespace fs = std::filesystem;

namespace {

constexpr const char* kName = "vgupgrader-progress";
constexpr uint32_t kMagic = 0x56475031;

// A reader takes what it reads when the count is even, and the same before and after.
struct Shared {
    uint32_t magic;
    std::atomic<uint32_t> changes;
    uint64_t place;
    uint64_t of;
    int64_t migration;
    int64_t begunNs;  // of the monotonic clock
    char name[96];    // NOLINT(modernize-avoid-c-arrays): shared between processes
};
static_assert(std::is_standard_layout_v<Shared> && std::atomic<uint32_t>::is_always_lock_free);

int64_t MonotonicNs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// Null where the kernel gives no such memory: then nobody is told.
Shared* MakeShared() {
    const int fd = memfd_create(kName, MFD_CLOEXEC);  // stays open: others find it by the descriptor
    if (fd < 0 || ftruncate(fd, sizeof(Shared)) != 0)
        return nullptr;
    void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED)
        return nullptr;
    auto* const shared = new (memory) Shared{};
    shared->begunNs = MonotonicNs();
    shared->magic = kMagic;
    return shared;
}

std::optional<Progress> Read(const Shared& shared) {
    for (int attempt = 0; attempt < 100; ++attempt) {
        const uint32_t before = shared.changes.load(std::memory_order_acquire);
        Progress progress{.place = shared.place,
                          .of = shared.of,
                          .migration = static_cast<int>(shared.migration),
                          .name = std::string(shared.name, strnlen(shared.name, sizeof shared.name)),
                          .seconds = static_cast<double>(MonotonicNs() - shared.begunNs) / 1e9};
        std::atomic_thread_fence(std::memory_order_acquire);
        if (before % 2 == 0 && before > 0 && shared.changes.load(std::memory_order_relaxed) == before)
            return progress;
    }
    return std::nullopt;
}

}  // namespace

void NoteProgress(size_t place, size_t of, int migration, const char* name) {
    static Shared* const shared = MakeShared();
    if (!shared)
        return;
    shared->changes.fetch_add(1, std::memory_order_acq_rel);
    shared->place = place;
    shared->of = of;
    shared->migration = migration;
    std::memset(shared->name, 0, sizeof shared->name);
    std::memcpy(shared->name, name, std::min(std::strlen(name), sizeof shared->name - 1));
    shared->changes.fetch_add(1, std::memory_order_release);
}

std::optional<Progress> ReadProgress(int pid) {
    std::error_code error;
    const std::string link = std::string("/memfd:") + kName;
    for (fs::directory_iterator entry("/proc/" + std::to_string(pid) + "/fd", error), end;
         !error && entry != end; entry.increment(error)) {
        std::error_code unreadable;
        if (!fs::read_symlink(entry->path(), unreadable).native().starts_with(link))
            continue;
        const UniqueFd fd(open(entry->path().c_str(), kReadFlags));
        if (!fd || lseek(fd.Get(), 0, SEEK_END) < static_cast<off_t>(sizeof(Shared)))
            continue;
        void* const memory = mmap(nullptr, sizeof(Shared), PROT_READ, MAP_SHARED, fd.Get(), 0);
        if (memory == MAP_FAILED)
            continue;
        const auto* const shared = static_cast<const Shared*>(memory);
        const std::optional<Progress> progress = shared->magic == kMagic ? Read(*shared) : std::nullopt;
        munmap(memory, sizeof(Shared));
        if (progress)
            return progress;
    }
    return std::nullopt;
}
