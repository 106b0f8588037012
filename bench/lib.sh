# What the benchmarks share. A benchmark compares the program with the sqlite3 shell, or with cp, in the same run, on the
# same data and disk; figures are medians of runs that alternate. It ends with 1 when a figure is above its limit: times
# are limited as such ratios, counts (flushes, memory) as they are.
#
# After sourcing it: the release build is made, VG_SYSROOT is a tree in a folder that goes with the script, TARGET its
# package folder, and `work` a folder for anything else.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
readonly RUNS=${RUNS:-5}

scripts/bootstrap
cmake --preset release >/dev/null
cmake --build --preset release --target installed bench_watch >/dev/null
readonly PROGRAM=$PWD/build/release/upgrader/vgupgrader
readonly CONTROL=$PWD/build/release/control/vgupgradectl
readonly WATCH=$PWD/build/release/bench/libbench_watch.so

work=$(mktemp -d)
exceeded=0
clean_up() { :; } # what else has to go
finish() {
    local status=$?
    clean_up
    rm -rf "$work"
    exit $((status > 0 ? status : exceeded))
}
trap finish EXIT
export VG_SYSROOT=$work/run
readonly TARGET=$VG_SYSROOT/var/packages/Vigilo/target

# Prints figure $2, called $1, beside its limit $3, and fails the benchmark when it is above.
at_most() {
    local verdict=""
    awk -v figure="$2" -v limit="$3" 'BEGIN { exit !(figure <= limit) }' || verdict="  EXCEEDED" exceeded=1
    printf '  %-64s %8s, at most %s%s\n' "$1" "$2" "$3" "$verdict"
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / b }'; }
ms() { awk -v us="$1" 'BEGIN { printf "%.1f ms", us / 1000 }'; }

# Lays a system of the newest build, with 17 empty databases, into folder $1.
new_system() {
    local file name target=$1/var/packages/Vigilo/target
    mkdir -p "$target/@vigilo" "$1/var/packages/Vigilo/etc" "$1/var/log/vigilo"
    for file in schema/*.sql; do
        name=$(basename "$file" .sql)
        case $name in
        system | axisacsctrl | axisacsctrl_temp | pos) ;;
        *) name=@vigilo/$name ;;
        esac
        sqlite3 "$target/$name.db" <"$file"
    done
    install_into "$1"
}

# Lays sample system $1, with the program's files, into folder $2.
old_system() {
    scripts/sample-system "$1" "$2"
    install_into "$2"
}

install_into() { DESTDIR=$1 cmake --install build/release >/dev/null; }

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

# Upgrades the system in folder $1 from build $2, in turns with the shell that only runs the statements that result.
# Leaves the medians in `upgrade_us` and `shell_us`, and in `peak_kb` the upgrade's memory.
beside_the_shell() {
    local run
    restore "$1"
    batch_of_upgrade "$2" >"$work/batch.sql"
    rm -f "$work"/{upgrade,shell}.us
    upgrade() { BENCH_FIGURES=$work/figures LD_PRELOAD=$WATCH "$PROGRAM" "$old_build"; }
    shell() { sqlite3 -bail <"$work/batch.sql"; }
    local old_build=$2
    for ((run = 0; run < RUNS; ++run)); do
        restore "$1"
        timed upgrade >>"$work/upgrade.us"
        restore "$1"
        timed shell >>"$work/shell.us"
    done
    upgrade_us=$(median "$work/upgrade.us")
    shell_us=$(median "$work/shell.us")
    read -r _ _ _ _ peak_kb <"$work/figures"
}

# Microseconds of a command.
timed() {
    local start=${EPOCHREALTIME/[.,]/}
    "$@"
    echo $((${EPOCHREALTIME/[.,]/} - start))
}

median() { sort -n "$1" | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }
