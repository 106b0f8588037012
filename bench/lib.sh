# What the benchmarks share. A benchmark compares the program with the sqlite3 shell in the same run, on the same data
# and disk; figures are medians of runs that alternate.
#
# After sourcing it: the release build is made, VG_SYSROOT is a tree in a folder that goes with the script, TARGET its
# package folder, and `work` a folder for anything else.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly RUNS=${RUNS:-5}

cmake --preset release -DVG_BUILD_BENCH=ON >/dev/null
cmake --build --preset release --target vgupgrader migration_bench bench_watch >/dev/null
readonly PROGRAM=$PWD/build/release/upgrader/vgupgrader
readonly MIGRATION=$PWD/build/release/bench/migration_bench
readonly WATCH=$PWD/build/release/bench/libbench_watch.so

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

# Lays sample system $1, with the program's files, into folder $2.
old_system() {
    scripts/sample-system "$1" "$2"
    DESTDIR=$2 cmake --install build/release >/dev/null
}

# Adds $2 rows to each table of the sample system in folder $1 that grows with time.
fill() {
    local databases=$1/var/packages/Vigilo/target/@vigilo
    sqlite3 "$databases/recording.db" "ATTACH '$databases/log.db' AS log_db" \
        "ATTACH '$databases/axisacsevtlog.db' AS doors_db" "ATTACH '$databases/snapshot.db' AS snapshot_db" \
        ".param init" ".param set :rows $2" ".read bench/large_system.sql"
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

# Upgrades the tree of the run from build $1, and prints the statements that have changed a database, but those of the
# upgrade's record, for the shell: in one transaction a database.
batch_of_upgrade() {
    local path statements
    rm -rf "$work/statements"
    mkdir "$work/statements"
    BENCH_STATEMENTS=$work/statements LD_PRELOAD=$WATCH "$PROGRAM" "$1"
    while read -r path; do
        statements=$work/statements/${path##*/}.sql
        [[ -f $statements ]] || continue
        echo ".open $path"
        echo "PRAGMA synchronous = EXTRA; BEGIN IMMEDIATE;"
        cat "$statements"
        echo "COMMIT;"
    done < <(find "$TARGET" -name '*.db' | sort)
}

# Microseconds of a command.
timed() {
    local start=${EPOCHREALTIME/[.,]/}
    "$@"
    echo $((${EPOCHREALTIME/[.,]/} - start))
}

median() { sort -n "$1" | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }
