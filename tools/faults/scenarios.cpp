#include "tools/faults/trial.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <random>

#include "tools/faults/registry.h"

namespace fs = std::filesystem;

namespace {

using Points = std::vector<Point>;

constexpr const char* kEtcPath = "/var/packages/Vigilo/etc/";
constexpr const char* kSettingsPath = "/var/packages/Vigilo/etc/settings.conf";
constexpr const char* kSnapshot = "one";
constexpr size_t kManyCameras = 8000;
constexpr size_t kLargePoints = 40;     // of each kind on the large system
constexpr size_t kVisits = 12;          // calls at which somebody takes a database
constexpr size_t kHaste = 50;           // how much faster the program's time goes while it waits
constexpr double kShortVisit = 30;      // seconds that an upgrade waits for in any case
constexpr uint64_t kMostFailures = 40;  // calls that a full disk fails before it has space again
constexpr int kPowerCuts = 3;           // of each call
constexpr int kPowerCutsAtEnd = 20;     // when the run has told that all is done

// Systems ---------------------------------------------------------------------------------------------------

Setup Plain(const std::string& from) { return {from}; }
Setup WriteAhead(const std::string& from) { return {from, true}; }
Setup Large(const std::string& from) { return {from, false, kManyCameras}; }

// Every database has pages, as a new package's schema repair leaves it, and nothing has been migrated.
Setup Repaired(const std::string& from) { return {from, false, 0, {{"vgupgrader", {PACKAGE_BUILD}}}}; }

Setup Migrated(const std::string& from) {
    return {from, false, 0, {{"vgupgrader", {from.substr(0, from.find(':'))}}}};
}

// Commands of the shell in the package's folder.
Command Shell(const std::string& text) {
    return {"sh", {"-c", "cd \"$VG_SYSROOT/" + std::string(kTarget) + "\" && " + text}};
}

Command Control(std::vector<std::string> arguments) { return {"vgupgradectl", std::move(arguments)}; }

Setup Served(const std::string& from) {
    return {from, false, 0, {Shell("sqlite3 system.db 'CREATE TABLE service(text)'")}};
}

Setup Saved(const std::string& from) { return {from, false, 0, {Control({"snapshot", kSnapshot})}}; }

// Everything that a restore has to deal with: since the snapshot the system was upgraded, files have come that were not
// there, and processes were killed in the middle of a commit.
Setup Upgraded(const std::string& from) {
    const auto killed = [](const std::string& database, const std::string& mode) {
        return Shell(
            "echo \"PRAGMA journal_mode = " + mode +
            "; PRAGMA cache_size = 1; CREATE TABLE filler(x); INSERT INTO filler VALUES(randomblob(9999));" +
            " BEGIN; UPDATE filler SET x = randomblob(99999);\n.system kill -KILL \\$PPID\" | sqlite3 " +
            database + "; true");
    };
    return {from,
            false,
            0,
            {Shell("rm @VGData/variable.conf @vigilo/bookmark.db"),
             Control({"snapshot", kSnapshot}),
             {"vgupgrader", {from.substr(0, from.find(':'))}},
             Shell("cp system.db @vigilo/bookmark.db && touch @VGData/variable.conf"),
             killed("system.db", "DELETE"),
             killed("@vigilo/recording.db", "WAL")}};
}

// Runs ------------------------------------------------------------------------------------------------------

Command Upgrade(const std::string& build) { return {"vgupgrader", {build}}; }

Runs Same(const std::string& build) {
    return {Upgrade(build), Upgrade(build), Upgrade(build), {}, CheckUpgrade};
}
Runs Again(const std::string&) {
    const Command again = Upgrade(PACKAGE_BUILD);
    return {again, again, again, {}, [](Trial& trial, const std::optional<Ran>& ran) {
                for (const TracedCall& call : ran->calls)
                    trial.Problem(call.text);
            }};
}
Runs Newer(const std::string& build) {
    return {Upgrade(build), Upgrade(PACKAGE_BUILD), Upgrade(build), {}, CheckUpgrade};
}
Runs Older(const std::string& build) {
    const Command older = Upgrade(std::to_string(std::stoi(build) - 700));
    return {Upgrade(build), older, older, {}, CheckUpgrade};
}
// What has to work in spite of it, or must not, is an upgrade.
Runs Controlled(const std::string& build, const Command& run, Check* check) {
    return {run, run, run, Upgrade(build), check};
}
Runs Snapshot(const std::string& build) {
    return Controlled(build, Control({"snapshot", kSnapshot}), CheckSnapshot);
}
Runs Forget(const std::string& build) {
    return Controlled(build, Control({"forget", kSnapshot}), CheckForget);
}
Runs Restore(const std::string& build) {
    return Controlled(build, Control({"restore", "--yes", kSnapshot}), CheckRestore);
}

// Points ----------------------------------------------------------------------------------------------------

bool Any(const TracedCall&) { return true; }
bool IsWrite(const TracedCall& call) { return call.op == Op::Write; }
bool NeedsSpace(const TracedCall& call) {
    return IsWrite(call) || MakesInode(call.op) || call.op == Op::Link;
}
bool IsRename(const TracedCall& call) { return call.op == Op::Rename || call.op == Op::Link; }
bool IsRemoval(const TracedCall& call) { return call.op == Op::Remove || call.op == Op::RemoveFolder; }
bool IsRenameOrRemoval(const TracedCall& call) { return IsRename(call) || IsRemoval(call); }
bool IsOpen(const TracedCall& call) { return call.op == Op::Open; }
bool IsLook(const TracedCall& call) { return IsRead(call.op); }

// At each call of the kind that is on something below the path; at 0: from the start of the run on, below the path.
struct Rule {
    bool (*strikes)(const TracedCall& call);
    Fault fault;
    bool isUnnoticed = false;
};

Fault Failing(int error, size_t times, Which which = Which::None, const char* path = "-",
              bool reads = false) {
    return {Mode::Fail, 0, error, which, times, path, reads};
}

Points Strike(const std::vector<TracedCall>& calls, const std::vector<Rule>& rules,
              const std::string& below = "") {
    Points points;
    for (size_t at = 1; at <= calls.size(); ++at) {
        for (const Rule& rule : rules) {
            const TracedCall& call = calls[at - 1];
            if (!rule.strikes(call) || call.text.find(below) == std::string::npos)
                continue;
            Point& point = points.emplace_back(Point{rule.fault, call.text});
            point.fault.at = at;
            point.isUnnoticed = rule.isUnnoticed;
        }
    }
    return points;
}

// At most `count` of them, evenly spread.
Points Thinned(const Points& all, size_t count) {
    Points some;
    for (size_t i = 0; i < count && i < all.size(); ++i)
        some.push_back(all[all.size() <= count ? i : i * all.size() / count]);
    return some;
}

void Append(Points& to, Points more) { std::move(more.begin(), more.end(), std::back_inserter(to)); }

Points Once(const Baseline&, uint64_t) { return {{{Mode::Trace}}}; }
Points Kill(const Baseline& base, uint64_t) { return Strike(base.Calls(), {{Any, {Mode::Kill}}}); }

// The run after the second kind of kill does what was left, and a little more.
Points Crash(const Baseline& base, uint64_t seed) {
    std::mt19937_64 random(seed);
    Points points = Strike(base.Calls(), {{Any, {Mode::Kill}}, {IsWrite, {Mode::Tear}}});
    for (Point point : Kill(base, seed)) {
        point.thenKill = 1 + random() % (base.Calls().size() - point.fault.at + 10);
        points.push_back(point);
    }
    return points;
}

Points PowerCut(const Baseline& base, uint64_t seed) {
    std::mt19937_64 random(seed);
    Points points;
    for (const Point& cut : Strike(base.Calls(), {{Any, {Mode::PowerCut}}})) {
        const bool isEnd = cut.fault.at == base.Calls().size();
        for (int i = 1; i < (isEnd ? kPowerCutsAtEnd : kPowerCuts); ++i)
            points.emplace_back(cut).seed = seed + random() % 1'000'000;
        points.emplace_back(cut).isAlwaysTried = isEnd;
    }
    return points;
}

Points Full(const Baseline& base, uint64_t) {
    return Strike(base.Calls(),
                  {{NeedsSpace, Failing(ENOSPC, 0, Which::Space)}, {IsWrite, {Mode::Grow, 0, ENOSPC}}});
}

Points FullThenFree(const Baseline& base, uint64_t seed) {
    std::mt19937_64 random(seed);
    Points points = Strike(base.Calls(), {{NeedsSpace, Failing(ENOSPC, 1)},
                                          {NeedsSpace, Failing(ENOSPC, 2, Which::Space)},
                                          {IsWrite, {Mode::Grow, 0, ENOSPC, Which::None, 1}}});
    for (Point& point : points) {
        if (point.fault.which == Which::Space || point.fault.mode == Mode::Grow)
            point.fault.times += random() % kMostFailures;
    }
    return points;
}

Points InputOutput(const Baseline& base, uint64_t) {
    return Strike(base.Calls(), {{Any, Failing(EIO, 1)}, {Any, Failing(EIO, 0, Which::Writes)}});
}

Points Renames(const Baseline& base, uint64_t) {
    std::vector<Rule> rules = {{IsRename, Failing(ENOSPC, 1)}, {IsRename, Failing(ENOSPC, 0, Which::Names)}};
    for (const int error : {EPERM, EBUSY, EIO}) {
        rules.push_back({IsRenameOrRemoval, Failing(error, 1)});
        rules.push_back({IsRename, Failing(error, 0, Which::Names)});
    }
    return Strike(base.Calls(), rules);
}

Points Reads(const Baseline& base, uint64_t) {
    return Strike(base.CallsWithReads(), {{IsLook, Failing(EIO, 1, Which::None, "same", true)},
                                          {IsLook, Failing(EIO, 0, Which::Reads, "same", true)},
                                          {IsOpen, Failing(EMFILE, 1, Which::None, "same", true)},
                                          {IsOpen, Failing(EACCES, 1, Which::None, "same", true)}});
}

// Somebody takes the database at the start, and at calls all over the run.
Points Visits(const Baseline& base, const Guest& guest, bool isUnnoticed) {
    const Fault stop{Mode::Stop, 0, 0, Which::None, 0, "-", false, -1, kHaste};
    Points points = {{stop}};
    Append(points, Thinned(Strike(base.Calls(), {{Any, stop}}), kVisits));
    for (Point& point : points) {
        point.guest = guest;
        point.isUnnoticed = isUnnoticed;
    }
    return points;
}

Points Readers(const Baseline& base, uint64_t) {
    Points points;
    for (const double seconds : {5, 30, 70, 130, 400})
        for (const char* const database : {"system", "@vigilo/log", "@vigilo/recording", "@vigilo/archive"})
            Append(points, Visits(base, {std::string(kTarget) + '/' + database + ".db", false, seconds},
                                  database == std::string("system") && seconds <= kShortVisit));
    return points;
}

Points Busy(const Baseline& base, uint64_t) {
    Points points;
    for (const double seconds : {5, 30, 0})
        Append(points, Visits(base, {kMainDatabase, true, seconds}, false));
    return points;
}

// The folder or file is read-only or full: from the start, from a call on, for some calls.
Points Unwritable(const Baseline& base, const std::string& below) {
    Points points = {{Failing(EROFS, 0, Which::Changes, below.c_str())},
                     {Failing(EACCES, 0, Which::Changes, below.c_str())},
                     {Failing(ENOSPC, 0, Which::Space, below.c_str())}};
    for (const size_t times : {0, 1, 3})
        Append(points, Strike(base.Calls(),
                              {{NeedsSpace, Failing(ENOSPC, times, Which::Space, below.c_str())},
                               {Any, Failing(EROFS, times, Which::Changes, below.c_str())}},
                              below));
    return points;
}

Points Settings(const Baseline& base, uint64_t) { return Unwritable(base, kEtcPath); }

Points Log(const Baseline& base, uint64_t) {
    Points points = Unwritable(base, std::string("/") + kLogDatabase);
    for (const double seconds : {5, 0})
        Append(points, Visits(base, {kLogDatabase, true, seconds}, false));
    return points;
}

Points Damage(const Baseline& base, uint64_t) {
    Points points;
    for (const auto& [name, text] : base.StartTree()) {
        const size_t pages = name.ends_with(".db") ? fs::file_size(base.Start() / name) / kPageSize : 0;
        for (size_t page = 2; page <= pages; ++page) {
            points.emplace_back().damaged = name;
            points.back().page = page;
        }
    }
    return points;
}

// Each migration that is due and does something fails at its start, and only that; then all that work on a table.
Points Alone(const Baseline& base, uint64_t) {
    const int build = std::stoi(base.Commands().first.arguments.front());
    Points points;
    for (size_t number = 0; number < AllMigrations().size(); ++number) {
        const Migration& migration = AllMigrations()[number];
        if (migration.isEmpty || (migration.threshold != 0 && migration.threshold <= build))
            continue;
        for (Fault fault :
             {Failing(0, 0, Which::SqlWrites), Failing(0, 0, Which::Sql),
              Failing(EACCES, 0, Which::Reads, kSettingsPath), Failing(EPERM, 0, Which::Names)}) {
            fault.during = static_cast<int>(number);
            points.push_back({fault});
        }
    }
    for (const auto& [name, rows] : base.First().tree) {
        const auto before = base.StartTree().find(name);
        const size_t table = name.find(" table ");
        if (table == std::string::npos || (before != base.StartTree().end() && before->second == rows))
            continue;
        for (const Which which : {Which::SqlWrites, Which::Sql})
            points.push_back({Failing(0, 0, which, name.substr(table + 7).c_str())});
    }
    return points;
}

Points Between(const Baseline& base, uint64_t) {
    Points points = Strike(base.Calls(), {{Any, {Mode::Stop}, true}});
    for (Point& point : points)
        point.isLooked = true;
    return points;
}

Points RestoreFaults(const Baseline& base, uint64_t seed) {
    // A disk that fails may not be written to any more.
    Points points = Strike(base.Calls(), {{Any, Failing(EROFS, 0, Which::Changes)}});
    for (const auto scenario : {Crash, Full, InputOutput, PowerCut})
        Append(points, scenario(base, seed));
    return points;
}

Points SnapshotFaults(const Baseline& base, uint64_t seed) {
    Points points = RestoreFaults(base, seed);
    std::erase_if(points, [](const Point& point) { return point.thenKill > 0; });
    return points;
}

Points LargeFaults(const Baseline& base, uint64_t seed) {
    Points points;
    for (const auto scenario : {Crash, PowerCut, Full})
        Append(points, Thinned(scenario(base, seed), kLargePoints));
    return points;
}

}  // namespace

const std::vector<Scenario>& AllScenarios() {
    static const std::vector<Scenario> scenarios = {
        {"up_to_date", "nothing: no file is changed", 1, Migrated, Again, Once},
        {"crash", "killed before each call, in each write, and a second time", 15, Plain, Same, Crash},
        {"powercut", "the disk forgets what was not flushed", 20, Plain, Same, PowerCut},
        {"full", "no space from a call on", 10, Plain, Same, Full},
        {"full_then_free", "no space for some calls, then enough", 10, Plain, Same, FullThenFree},
        {"io", "input/output errors: of one call, of all writes from one on", 12, Plain, Same, InputOutput},
        {"renames", "renames, links and removals fail", 8, Plain, Same, Renames},
        {"reads", "reads, opens and looks at files fail", 15, Plain, Same, Reads},
        {"alone", "one migration fails: its writes, its databases, the settings", 25, Plain, Same, Alone},
        {"wal_crash", "crash, with all databases in write-ahead mode", 8, WriteAhead, Same, Crash},
        {"wal_powercut", "powercut, likewise", 8, WriteAhead, Same, PowerCut},
        {"newer", "killed, then run with the build that is installed", 6, Plain, Newer, Kill},
        {"older", "killed, then run with an older build", 6, Plain, Older, Kill},
        {"log", "the log database busy, read-only, full", 8, Plain, Same, Log, true},
        {"settings", "the settings' folder full or read-only", 8, Plain, Same, Settings},
        {"busy", "somebody writes to the main database", 5, Plain, Same, Busy, true},
        {"readers", "readers of databases, for 5 to 400 seconds", 10, Plain, Same, Readers, true},
        {"between", "commands look, and a service works, at each call", 6, Served, Same, Between},
        {"damage", "a damaged page in each database in turn", 12, Repaired, Same, Damage},
        {"snapshot", "vgupgradectl snapshot killed, cut off, on a bad disk", 12, Plain, Snapshot,
         SnapshotFaults},
        {"forget", "vgupgradectl forget likewise", 5, Saved, Forget, SnapshotFaults},
        {"restore", "vgupgradectl restore likewise, after an upgrade", 12, Upgraded, Restore, RestoreFaults},
        {"large", "killed, cut off and full with 8,000 cameras", 0, Large, Same, LargeFaults},
    };
    return scenarios;
}
