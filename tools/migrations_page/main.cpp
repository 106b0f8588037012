// migrations_page [--rows | --sentence]: the registry as the documentation tells it.
//
//   (nothing)   docs/migrations.md
//   --rows      a line a row for scripts: row, threshold, state, name
//   --sentence  how many rows do work, as README.md says it

#include <array>
#include <cstdio>
#include <string_view>

#include "upgrader/registry.h"

namespace {

constexpr std::array kStates = {MigrationState::Body, MigrationState::Partial, MigrationState::Library,
                                MigrationState::Flag, MigrationState::Empty};

size_t Count(MigrationState state) {
    size_t count = 0;
    for (size_t row = 0; row < kMigrationCount; ++row)
        count += MigrationAt(row).state == state;
    return count;
}

void PrintSentence() {
    const size_t flags = Count(MigrationState::Flag);
    const size_t empty = Count(MigrationState::Empty);
    std::printf(
        "Of the %zu migrations, %zu do work, %zu of them only a part of it. The other %zu have no body: %zu"
        " set their once-only key and nothing more, %zu do nothing.\n",
        kMigrationCount, kMigrationCount - flags - empty, Count(MigrationState::Partial), flags + empty,
        flags, empty);
}

void PrintPage() {
    std::puts(
        "# Migrations\n"
        "\n"
        "Every migration in the order in which they run; one runs when the build that was installed before "
        "lies\n"
        "below its threshold, or always when that is 0. Printed from `upgrader/registry.def` by\n"
        "`scripts/list-migrations`.\n");
    PrintSentence();
    std::puts(
        "\n"
        "- body: does its work.\n"
        "- partial: does a part of it; what it leaves out is not settled.\n"
        "- library: an operation of the package's libraries does its work.\n"
        "- flag: sets its key in settings.conf and does nothing more; its work is not settled.\n"
        "- empty: does nothing; what it concerns is known, what it did is not settled.\n"
        "\n"
        "| Row | Threshold | Migration | State | Concerns | Leaves out |\n"
        "|---:|---:|---|---|---|---|");
    for (size_t row = 0; row < kMigrationCount; ++row) {
        const Migration& info = MigrationAt(row);
        std::printf("| %zu | %u | `%s` | %s | %s | %s |\n", row, MigrationRegistry[row].threshold, info.name,
                    StateName(info.state), info.concerns, info.leavesOut ? info.leavesOut : "");
    }
    std::printf("\n%zu rows", kMigrationCount);
    for (const MigrationState state : kStates)
        std::printf("; %s: %zu", StateName(state), Count(state));
    std::puts(".");
}

void PrintRows() {
    for (size_t row = 0; row < kMigrationCount; ++row)
        std::printf("%zu %u %s %s\n", row, MigrationRegistry[row].threshold, StateName(MigrationAt(row).state),
                    MigrationAt(row).name);
}

}  // namespace

int main(int argc, char* argv[]) {
    const std::string_view what = argc > 1 ? argv[1] : "";
    if (what == "--rows")
        PrintRows();
    else if (what == "--sentence")
        PrintSentence();
    else if (what.empty())
        PrintPage();
    else
        return 1;
    return std::fflush(stdout) == 0 ? 0 : 1;
}
