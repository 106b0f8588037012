// One point of a scenario is tried: the first run is struck, and what it leaves must be right, and what further runs
// make of it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tools/faults/baseline.h"

// Somebody else uses a database, by its path below the tree.
struct Guest {
    std::string database;
    bool isWriter = false;
    double seconds = 0;  // of the program's time; 0: until the run has ended
};

struct Point {
    Fault fault{};                 // in the first run; Mode::PowerCut: what the disk kept of it
    std::string call{};            // the text of the call at which it strikes, as traced; empty: none
    uint64_t seed = 0;             // of a power cut; 0: all is lost that was not flushed
    size_t thenKill = 0;           // kill the run after, too, at this call
    std::optional<Guest> guest{};  // from the call on at which the run stops, or from the beginning
    std::string damaged{};         // a database of which a page is overwritten before the run
    size_t page = 0;
    bool isUnnoticed = false;    // the run ends as the one without faults
    bool isLooked = false;       // commands look, and a service works, where the run stops
    bool isAlwaysTried = false;  // also where points are picked at random
};

inline constexpr size_t kPageSize = 4096;  // of the sample databases

class Trial {
public:
    // `path` is one that the point has to itself; `disk` has seen the first run there, or is none yet.
    Trial(const Baseline& baseline, std::filesystem::path path, std::optional<Disk>& disk, const Point& tried)
        : base(baseline), tree(std::move(path)), point(tried), m_disk(disk) {}

    void Run();

    const Baseline& base;
    const std::filesystem::path tree;
    const Point& point;
    std::string what;                   // the point for people
    std::vector<std::string> problems;  // empty: as it should be

    // For the checks.
    void Problem(std::string text) { problems.push_back(std::move(text)); }
    void Compare(const Tree& expected, const Tree& got, const std::string& after);
    void Expect(const Command& command, int status);
    Ran Do(const Command& command, const Fault& fault = {}) const { return ::Run(command, tree, fault); }

private:
    std::optional<Ran> Strike();

    std::optional<Disk>& m_disk;
};

// Each gets how the struck run ended; none: it was killed, or the power was cut.
using Check = void(Trial& trial, const std::optional<Ran>& ran);
Check CheckUpgrade, CheckSnapshot, CheckForget, CheckRestore;

// Lets every command that looks do so, and a service read and write, while the upgrade `pid` stands still.
class Onlookers {
public:
    explicit Onlookers(Trial& trial) : m_trial(trial) {}
    void Come(int pid);
    void Leave();  // when the run has ended

private:
    Trial& m_trial;
    int m_read = 0, m_wrote = 0;  // as SQLite has answered the service
    std::jthread m_reader, m_writer;
};

// Faults of a kind, at many points of a run.
struct Scenario {
    const char* name;
    const char* text;
    size_t shortSample;  // points that the short form tries; 0: it leaves the scenario out
    Setup (*setup)(const std::string& from);
    Runs (*runs)(const std::string& build);
    std::vector<Point> (*points)(const Baseline& base, uint64_t seed);
    bool waits = false;  // it leaves the processor to others
};

const std::vector<Scenario>& AllScenarios();
