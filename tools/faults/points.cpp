#include "tools/faults/points.h"

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <random>

#include "tools/faults/allowed.h"

namespace fs = std::filesystem;

namespace {

constexpr int kPowerCutsPerCall = 3;
constexpr int kPowerCutsOfSnapshots = 6;
constexpr int kPowerCutsAtEnd = 20;  // when the run has told that all is done
constexpr size_t kLargePoints = 40;  // of each kind on the large system
constexpr size_t kHoldPoints = 40;   // calls at which somebody takes a database
// How much faster the program waits: for somebody who stays, and for somebody who leaves in time.
constexpr size_t kHaste = 20;
constexpr size_t kGentleHaste = 10;
constexpr size_t kMostFailures = 40;  // calls that a full disk fails before it has space again

bool MakesName(Op op) {
    return op == Op::Create || op == Op::MakeFolder || op == Op::Symlink || op == Op::Link;
}

bool NeedsSpace(Op op) { return op == Op::Write || MakesName(op); }

Fault Failing(size_t at, int error, size_t times, const std::string& which = "") {
    return {.mode = "fail", .at = at, .error = error, .which = which, .times = times};
}

// From the start of the run on, below a path.
Fault FailingBelow(const std::string& path, int error, const std::string& which) {
    return {.mode = "fail", .error = error, .which = which, .path = path};
}

// Adds the points of every call of the run; add(at, call) gives them by `put`.
template <typename Add>
std::vector<Point> OfCalls(const std::vector<TracedCall>& calls, Add add) {
    std::vector<Point> all;
    for (size_t at = 1; at <= calls.size(); ++at) {
        const TracedCall& call = calls[at - 1];
        const auto put = [&](Point point) {
            point.call = call.text;
            all.push_back(std::move(point));
        };
        add(at, call, put);
    }
    return all;
}

// At most `count` of them, evenly spread.
std::vector<Point> Thinned(const std::vector<Point>& all, size_t count) {
    std::vector<Point> some;
    for (size_t i = 0; i < count && i < all.size(); ++i)
        some.push_back(all[all.size() <= count ? i : i * all.size() / count]);
    return some;
}

void Append(std::vector<Point>& to, std::vector<Point> more) {
    std::move(more.begin(), more.end(), std::back_inserter(to));
}

std::vector<Point> Kills(const Bench& bench) {
    return OfCalls(bench.Calls(), [](size_t at, const TracedCall&, auto put) { put({{"kill", at}}); });
}

Fault Stopping(size_t at, const HoldPlan& hold) {
    return {.mode = "stop", .at = at, .haste = hold.seconds > 0 ? kGentleHaste : kHaste};
}

// Somebody takes the database at calls all over the run, for so long.
std::vector<Point> Holds(const Bench& bench, const HoldPlan& hold, bool isUnnoticed) {
    return Thinned(OfCalls(bench.Calls(),
                           [&](size_t at, const TracedCall&, auto put) {
                               put({.fault = Stopping(at, hold), .hold = hold, .isUnnoticed = isUnnoticed});
                           }),
                   kHoldPoints);
}

Point HeldFromStart(const HoldPlan& hold, bool isUnnoticed) {
    return {.fault = Stopping(0, hold), .hold = hold, .isUnnoticed = isUnnoticed};
}

// Whether the call is on something below the path.
bool IsBelow(const TracedCall& call, const std::string& path) {
    return call.text.find(path) != std::string::npos;
}

}  // namespace

namespace points {

std::vector<Point> crash(const Bench& bench, uint64_t seed) {
    std::mt19937_64 random(seed);
    const size_t count = bench.Calls().size();
    return OfCalls(bench.Calls(), [&](size_t at, const TracedCall& call, auto put) {
        put({{"kill", at}});
        if (call.op == Op::Write)
            put({{"tear", at}});
        // The run after does what was left, and a little more.
        put({.fault = {"kill", at}, .thenKill = 1 + random() % (count - at + 10)});
    });
}

std::vector<Point> powercut(const Bench& bench, uint64_t seed) {
    std::mt19937_64 random(seed);
    const bool isUpgrade = bench.Commands().work == Work::Upgrade;
    const int each = isUpgrade ? kPowerCutsPerCall : kPowerCutsOfSnapshots;
    return OfCalls(bench.Calls(), [&](size_t at, const TracedCall&, auto put) {
        for (int i = 1; i < (at == bench.Calls().size() ? kPowerCutsAtEnd : each); ++i)
            put({.fault = {"powercut", at}, .seed = seed + random() % 1'000'000});
        put({.fault = {"powercut", at}, .isAlwaysTried = at == bench.Calls().size()});
    });
}

std::vector<Point> full(const Bench& bench, uint64_t) {
    return OfCalls(bench.Calls(), [](size_t at, const TracedCall& call, auto put) {
        if (NeedsSpace(call.op))
            put({Failing(at, ENOSPC, 0, "space")});
        if (call.op == Op::Write)
            put({{"grow", at, ENOSPC}});
    });
}

std::vector<Point> refill(const Bench& bench, uint64_t seed) {
    std::mt19937_64 random(seed);
    return OfCalls(bench.Calls(), [&](size_t at, const TracedCall& call, auto put) {
        if (!NeedsSpace(call.op))
            return;
        put({Failing(at, ENOSPC, 1)});
        put({Failing(at, ENOSPC, 2 + random() % kMostFailures, "space")});
        if (call.op == Op::Write)
            put({{.mode = "grow", .at = at, .error = ENOSPC, .times = 1 + random() % kMostFailures}});
    });
}

std::vector<Point> io(const Bench& bench, uint64_t) {
    return OfCalls(bench.Calls(), [](size_t at, const TracedCall&, auto put) {
        put({Failing(at, EIO, 1)});
        put({Failing(at, EIO, 0, "writes")});
    });
}

std::vector<Point> renames(const Bench& bench, uint64_t) {
    return OfCalls(bench.Calls(), [](size_t at, const TracedCall& call, auto put) {
        const bool isRename = call.op == Op::Rename || call.op == Op::Link;
        if (!isRename && call.op != Op::Remove && call.op != Op::RemoveFolder)
            return;
        for (const int error : {EPERM, EBUSY, ENOSPC, EIO}) {
            if (!isRename && error == ENOSPC)
                continue;
            put({Failing(at, error, 1)});
            if (isRename)
                put({Failing(at, error, 0, "renames")});
        }
    });
}

std::vector<Point> reads(const Bench& bench, uint64_t) {
    return OfCalls(bench.CallsWithReads(), [](size_t at, const TracedCall& call, auto put) {
        const auto putRead = [&](int error, size_t times, const std::string& which) {
            Fault fault = Failing(at, error, times, which);
            fault.path = "same";
            fault.reads = true;
            put({fault});
        };
        if (call.op != Op::Open && call.op != Op::Read && call.op != Op::Look)
            return;
        putRead(EIO, 1, "");
        putRead(EIO, 0, "reads");
        if (call.op != Op::Open)
            return;
        putRead(EMFILE, 1, "");
        putRead(EACCES, 1, "");
    });
}

std::vector<Point> wal_crash(const Bench& bench, uint64_t seed) { return crash(bench, seed); }
std::vector<Point> wal_powercut(const Bench& bench, uint64_t seed) { return powercut(bench, seed); }
std::vector<Point> newer(const Bench& bench, uint64_t) { return Kills(bench); }
std::vector<Point> older(const Bench& bench, uint64_t) { return Kills(bench); }
std::vector<Point> grown(const Bench& bench, uint64_t) { return Kills(bench); }

std::vector<Point> log(const Bench& bench, uint64_t) {
    const std::string below = "/" + std::string(kLogDatabase);
    std::vector<Point> all;
    for (const int error : {EROFS, EACCES})
        all.push_back({FailingBelow(below, error, "changes")});
    all.push_back({FailingBelow(below, ENOSPC, "space")});
    for (const Hold::Kind kind : {Hold::Kind::Writer, Hold::Kind::Reader}) {
        all.push_back(HeldFromStart({kLogDatabase, kind}, false));
        Append(all, Holds(bench, {kLogDatabase, kind}, false));
        Append(all, Holds(bench, {kLogDatabase, kind, kPatience / 2.0}, false));
    }
    Append(all, OfCalls(bench.Calls(), [&](size_t at, const TracedCall& call, auto put) {
               if (!IsBelow(call, below))
                   return;
               for (const size_t times : {0, 3}) {
                   Fault fault = Failing(at, ENOSPC, times, "space");
                   fault.path = below;
                   if (NeedsSpace(call.op))
                       put({fault});
               }
               Fault fault = Failing(at, EROFS, 0, "changes");
               fault.path = below;
               put({fault});
           }));
    return all;
}

std::vector<Point> settings(const Bench& bench, uint64_t) {
    std::vector<Point> all;
    for (const int error : {EROFS, EACCES})
        all.push_back({FailingBelow(kSettings, error, "changes")});
    all.push_back({FailingBelow(kSettings, ENOSPC, "space")});
    Append(all, OfCalls(bench.Calls(), [](size_t at, const TracedCall& call, auto put) {
               if (!IsBelow(call, kSettings))
                   return;
               for (const size_t times : {0, 1, 3}) {
                   Fault fault = Failing(at, ENOSPC, times, "space");
                   fault.path = kSettings;
                   if (NeedsSpace(call.op))
                       put({fault});
                   fault.error = EROFS;
                   fault.which = "changes";
                   put({fault});
               }
           }));
    return all;
}

std::vector<Point> busy(const Bench& bench, uint64_t) {
    using enum Hold::Kind;
    std::vector<Point> all;
    for (const double seconds : {kPatience + 1.0, kPatienceAtStart / 2.0}) {
        all.push_back(HeldFromStart({kMainDatabase, Writer, seconds}, true));
        all.push_back(HeldFromStart({kMainDatabase, Reader, seconds}, true));
    }
    all.push_back(HeldFromStart({kMainDatabase, Writer}, false));
    all.push_back(HeldFromStart({kMainDatabase, Reader}, false));
    Append(all, Holds(bench, {kMainDatabase, Writer, kPatience / 2.0}, true));
    Append(all, Holds(bench, {kMainDatabase, Reader, kPatience * 2.0}, true));
    Append(all, Holds(bench, {kMainDatabase, Writer}, false));
    Append(all, Holds(bench, {kMainDatabase, Reader}, false));
    return all;
}

std::vector<Point> damage(const Bench& bench, uint64_t) {
    std::vector<Point> all;
    for (const auto& [path, file] : bench.StartImage()) {
        const size_t pages = file.isDatabase ? fs::file_size(bench.Start() / path) / kPageSize : 0;
        for (size_t page = 2; page <= pages; ++page)
            all.push_back({.damage = Damage{path, page}});
    }
    return all;
}

std::vector<Point> restore(const Bench& bench, uint64_t seed) {
    // A disk that fails may not be written to any more.
    std::vector<Point> all = OfCalls(bench.Calls(), [](size_t at, const TracedCall&, auto put) {
        put({Failing(at, EROFS, 0, "changes")});
    });
    for (const auto scenario : {crash, full, io, powercut})
        Append(all, scenario(bench, seed));
    return all;
}

std::vector<Point> snapshot(const Bench& bench, uint64_t seed) {
    std::vector<Point> all = restore(bench, seed);
    std::erase_if(all, [](const Point& point) { return point.thenKill > 0; });
    return all;
}

std::vector<Point> forget(const Bench& bench, uint64_t seed) { return snapshot(bench, seed); }

std::vector<Point> large(const Bench& bench, uint64_t seed) {
    std::vector<Point> all;
    for (const auto scenario : {crash, powercut, full})
        Append(all, Thinned(scenario(bench, seed), kLargePoints));
    return all;
}

}  // namespace points
