# What the benchmarks share. A benchmark compares the program with the sqlite3 shell in the same run, on the same data
# and disk; figures are medians of runs that alternate.
#
# After sourcing it: the release build is made, VG_SYSROOT is a tree in a folder that goes with the script, TARGET its
# package folder, and `work` a folder for anything else.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly RUNS=${RUNS:-5}

cmake --preset release -DVG_BUILD_BENCH=ON >/dev/null
cmake --build --preset release --target vgupgrader migration_bench >/dev/null
readonly PROGRAM=$PWD/build/release/upgrader/vgupgrader
readonly MIGRATION=$PWD/build/release/bench/migration_bench

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export VG_SYSROOT=$work/run
readonly TARGET=$VG_SYSROOT/var/packages/Vigilo/target

# Lays a tree of new databases (as named) into folder $1.
new_tree() {
    local tree=$1 target=$1/var/packages/Vigilo/target database
    shift
    mkdir -p "$target/@vigilo" "$tree/var/packages/Vigilo/etc" "$tree/var/log/vigilo"
    for database in "$@"; do
        sqlite3 "$target/$database.db" <"schema/${database##*/}.sql"
    done
}

# Makes the tree of the run a copy of folder $1, on disk.
restore() {
    rm -rf "$VG_SYSROOT"
    cp -a "$1" "$VG_SYSROOT"
    sync -f "$VG_SYSROOT"
}

# Statements of a query on database $1, one a row, as one transaction for the shell.
in_one_transaction() {
    echo "PRAGMA synchronous = EXTRA; BEGIN IMMEDIATE;"
    sqlite3 "$1" "$2"
    echo "COMMIT;"
}

# Microseconds of a command.
timed() {
    local start=${EPOCHREALTIME/[.,]/}
    "$@"
    echo $((${EPOCHREALTIME/[.,]/} - start))
}

median() { sort -n "$1" | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }
