// Properties: what holds for an upgrade of any system. Each is tried on generated systems, by the real programs; one that
// is broken is shown with the smallest system that was found to break it.
//
// Usage: vgproperties [SECONDS [SEED [PROPERTY...]]]   shares the time out among the properties (60); seed 0: one of
//                                                      its own; another one: at most 40 systems a property
//        vgproperties --system SEED FOLDER             lays the system of a seed into the folder, and prints its build
//
// Exit status: 0; 1 when a property is broken; 2 for a wrong command line.
#include <json/json.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>

#include "tests/properties/tree.h"
#include "tools/faults/fault.h"

namespace {

using Clock = std::chrono::steady_clock;

// All give what is wrong, "" when the property holds.

// An upgrade from the new build finds nothing to do.
std::string TwiceIsOnce(const System& system) {
    const Tree tree(system);
    tree.Upgrade(system.build);
    const auto once = tree.Read();
    tree.Upgrade(9760);
    return Differences(once, tree.Read());
}

// What the package does not declare makes no difference, and stays.
std::string ForeignDoesNotMatter(const System& system) {
    const Tree with(system), without(system, Form::WithoutForeign);
    const auto foreign = with.Read(Tree::What::Foreign);
    with.Upgrade(system.build);
    without.Upgrade(system.build);
    return Differences(without.Read(Tree::What::Declared), with.Read(Tree::What::Declared)) +
           Lost(foreign, with.Read(Tree::What::Foreign));
}

std::string OrderDoesNotMatter(const System& system) {
    const Tree tree(system), reversed(system, Form::RowsReversed);
    tree.Upgrade(system.build);
    reversed.Upgrade(system.build);
    return Differences(tree.Read(), reversed.Read());
}

Json::Value Parse(const std::string& text) {
    Json::Value value;
    std::istringstream in(text);
    Json::CharReaderBuilder reader;
    std::string errors;
    if (!Json::parseFromStream(reader, in, &value, &errors))
        throw std::runtime_error(errors + text);
    return value;
}

// The last upgrade, null when it changed nothing.
Json::Value History(const Tree& tree) {
    const std::string all = tree.File("var/log/vigilo/vgupgrader.history.jsonl");
    return all.empty() ? Json::Value() : Parse(all.substr(all.rfind('\n', all.size() - 2) + 1));
}

// The plan names each migration that changes something, and each object that the schema gets.
std::string PlanForesees(const System& system) {
    const Tree tree(system);
    const Json::Value plan = Parse(tree.Control("plan " + std::to_string(system.build)).out);
    const auto before = tree.Schema();
    tree.Upgrade(system.build);
    std::string wrong;
    // An upgrade that found nothing to do has no history.
    const Json::Value done = History(tree), none;
    for (Json::ArrayIndex i = 0;
         i < std::max(plan["migrations"].size(), done["migrations"].size()) && !done.isNull(); ++i) {
        const Json::Value due = plan["migrations"].get(i, none), ran = done["migrations"].get(i, none);
        if (due["name"] != ran["name"] || (due["verdict"] != "runs" && ran["changes"].asInt() > 0))
            wrong += "planned " + due["name"].asString() + ", ran " + ran["name"].asString() + '\n';
    }
    const auto after = tree.Schema();
    for (const std::string& name : before)
        if (!after.contains(name))
            wrong += "gone: " + name + '\n';
    std::set<std::string> planned;
    for (const Json::Value& repair : plan["repair"]) {
        const std::string database = repair["database"].asString() + ' ';
        for (const std::string& table : repair["missing"].getMemberNames())
            for (const Json::Value& column : repair["missing"][table])
                planned.insert(database + table + '.' + column.asString());
        for (const std::string& name : after)
            if (name.starts_with(database + "index ") &&
                repair["sql"].asString().find(name.substr(name.rfind(' '))) != std::string::npos)
                planned.insert(name);
    }
    for (const std::string& name : after)
        if (!before.contains(name) && !planned.contains(name) &&
            !name.starts_with("system.db vgupgrader_record.") &&
            !planned.contains(name.substr(0, name.find('.', name.find(' '))) + ".*"))
            wrong += "not planned: " + name + '\n';
    for (const std::string& name : planned)
        if (!name.ends_with(".*") && !after.contains(name))
            wrong += "planned in vain: " + name + '\n';
    // A database without a file stays without one.
    for (const Json::Value& left : Parse(tree.Control("plan 9760").out)["repair"])
        if (!left["missing"].empty())
            wrong += "not repaired: " + left.toStyledString();
    return wrong;
}

// How many rows of each table are gone and how many are new, by "DATABASE TABLE". A table that has got or lost a column
// has other rows, and is left out.
using Counts = std::map<std::string, std::pair<int, int>>;
Counts CountRows(const Tree::State& before, const Tree::State& after) {
    std::map<std::pair<std::string, std::string>, int> lines;  // how many more there are afterwards
    for (const auto& line : before)
        --lines[line];
    for (const auto& line : after)
        ++lines[line];
    Counts counts;
    std::set<std::string> changed;
    for (const auto& [line, more] : lines) {
        const auto& [where, what] = line;
        const size_t at = where.find(" row of ");
        if (at != where.npos && more != 0)
            (more < 0 ? counts[where.substr(0, at) + ' ' + where.substr(at + 8)].first
                      : counts[where.substr(0, at) + ' ' + where.substr(at + 8)].second) += std::abs(more);
        else if (more != 0 && what.starts_with("column "))
            changed.insert(where + ' ' + what.substr(7, what.find('.') - 7));
    }
    std::erase_if(counts, [&](const auto& table) { return changed.contains(table.first); });
    return counts;
}

// What a rehearsal tells is what the upgrade does, and it leaves the system alone.
std::string RehearsalIsTheUpgrade(const System& system) {
    const Tree tree(system);
    const auto before = tree.Read();
    const Json::Value told =
        Parse(tree.Control("rehearse --upgrader " UPGRADER_PROGRAM " " + std::to_string(system.build)).out);
    std::string wrong = Differences(before, tree.Read());
    if (const int status = tree.Upgrade(system.build); told["status"].asInt() != status)
        wrong += "told status " + told["status"].asString() + ", then " + std::to_string(status) + '\n';
    const auto after = tree.Read();
    Counts done = CountRows(before, after), counted;
    for (const Json::Value& database : told["databases"])
        for (const Json::Value& table : database["tables"]) {
            const int updated = table["updated"].asInt();
            counted[database["database"].asString() + ' ' + table["table"].asString()] = {
                table["deleted"].asInt() + updated, table["inserted"].asInt() + updated};
        }
    for (const auto& [table, rows] : done)
        if (!table.ends_with(" vgupgrader_record") && counted[table] != rows)
            wrong += table + ": " + std::to_string(rows.first) + " gone, " + std::to_string(rows.second) +
                     " new; told " + std::to_string(counted[table].first) + ", " +
                     std::to_string(counted[table].second) + '\n';
    std::set<std::string> keys, toldKeys;
    for (const auto& [one, other] : {std::pair(before, after), std::pair(after, before)})
        for (const auto& [where, what] : one)
            if (const auto [first, end] = other.equal_range(where);
                where.ends_with("/settings.conf") &&
                std::none_of(first, end,
                             [&, &line = what](const auto& entry) { return entry.second == line; }))
                keys.insert(what.substr(0, what.find('=')));
    for (const Json::Value& change : told["settings"])
        if (change["file"] == "/var/packages/Vigilo/etc/settings.conf")
            toldKeys.insert(change["key"].asString());
    for (const std::string& key : toldKeys)
        wrong += keys.contains(key) ? "" : "told, but not done: " + key + '\n';
    for (const std::string& key : keys)
        wrong += toldKeys.contains(key) ? "" : "done, but not told: " + key + '\n';
    return wrong;
}

std::string RestoredIsAsBefore(const System& system) {
    const Tree tree(system);
    const auto before = tree.ReadBytes();
    tree.Control("snapshot before");
    tree.Upgrade(system.build);
    tree.Control("restore --yes before");
    const auto after = tree.ReadBytes();
    std::string wrong;
    for (const auto& [name, bytes] : before)
        if (!after.contains(name) || after.find(name)->second != bytes)
            wrong += "differs: " + name + '\n';
    return wrong + (after.size() == before.size() ? "" : "files that were not there\n");
}

// The upgrade that nothing disturbed.
Tree::State Undisturbed(const System& system) {
    const Tree tree(system);
    tree.Upgrade(system.build);
    return tree.Read();
}

// What the fault harness's library does to a run (tools/faults/fault.h).
std::string Fault(Mode mode, int at, Which which, int during) {
    std::ostringstream fault;
    fault << "LD_PRELOAD=" FAULT_LIBRARY " VGFAULT='" << static_cast<int>(mode) << ' ' << at << " 0 0 "
          << static_cast<int>(which) << " - 0 1 " << during << " /dev/null'";
    return fault.str();
}

// Killed at a call that changes a file, and run again, it ends as one that was not killed.
std::string KilledIsAsNotKilled(const System& system) {
    const int call = *rc::gen::resize(100, rc::gen::inRange(1, 400));
    const Tree tree(system);
    tree.Upgrade(system.build, Fault(Mode::Kill, call, Which::None, -1));
    // Once it is stamped, it does not begin at the old build again.
    const bool stamped =
        tree.File("var/packages/Vigilo/etc/settings.conf").find("9.2.9-9760") != std::string::npos;
    tree.Upgrade(stamped ? 9760 : system.build);
    const std::string wrong = Differences(Undisturbed(system), tree.Read());
    return wrong.empty() ? "" : "killed at call " + std::to_string(call) + ":\n" + wrong;
}

// By the number of a migration: whether it sets its flag also when it has failed, and is never run again.
constexpr bool kIsTriedOnce[] = {
#define ROW(...) false,
#define ONCE_STAMP(...) true,
#include "upgrader/registry.def"
};

// A migration that failed alone, and was run again, is as one that has not failed.
std::string FailedIsAsNotFailed(const System& system) {
    const int migration = *rc::gen::resize(100, rc::gen::inRange<int>(0, std::size(kIsTriedOnce)));
    if (kIsTriedOnce[migration])
        return "";
    const Tree tree(system);
    tree.Upgrade(system.build, Fault(Mode::Fail, 0, Which::SqlWrites, migration));
    tree.Control("retry");
    const std::string wrong = Differences(Undisturbed(system), tree.Read());
    return wrong.empty() ? "" : "migration " + std::to_string(migration) + " failed:\n" + wrong;
}

struct Property {
    const char* name;
    std::string (*check)(const System& system);
};

constexpr Property kProperties[] = {
    {"TwiceIsOnce", TwiceIsOnce},
    {"ForeignDoesNotMatter", ForeignDoesNotMatter},
    {"OrderDoesNotMatter", OrderDoesNotMatter},
    {"PlanForesees", PlanForesees},
    {"RehearsalIsTheUpgrade", RehearsalIsTheUpgrade},
    {"RestoredIsAsBefore", RestoredIsAsBefore},
    {"KilledIsAsNotKilled", KilledIsAsNotKilled},
    {"FailedIsAsNotFailed", FailedIsAsNotFailed},
};

// A finding may take as long to shrink.
constexpr std::chrono::seconds kShrinking{120};

bool Holds(const Property& property, std::chrono::milliseconds time) {
    auto end = Clock::now() + time;
    int tried = 0;
    std::ostringstream smallest;
    const auto unread = std::cerr.rdbuf(nullptr);  // RapidCheck's report: it knows no end of the time
    const bool holds = rc::check(property.name, [&] {
        if (Clock::now() > end)
            return;
        const System system = *Systems();
        ++tried;
        std::string wrong;
        try {
            wrong = property.check(system);
        } catch (const std::runtime_error& error) {
            wrong = error.what();
        }
        if (wrong.empty())
            return;
        if (smallest.str().empty())
            end = Clock::now() + kShrinking;
        smallest.str("");
        showValue(system, smallest);
        smallest << "\nis upgraded wrongly:\n" << wrong;
        RC_FAIL("");
    });
    std::cerr.rdbuf(unread);
    std::cout << property.name << ": " << tried << " systems" << smallest.str() << std::endl;
    return holds;
}

int LaySystem(unsigned long seed, const char* folder) {
    const System system = Systems()(rc::Random(seed), 100).value();
    Lay(system, folder);
    std::cout << system.build << std::endl;
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string first = argc > 1 ? argv[1] : "60";
    if (first == "--system" && argc == 4)
        return LaySystem(std::strtoul(argv[2], nullptr, 10), argv[3]);
    const double seconds = std::atof(first.c_str());
    if (seconds <= 0) {
        std::cerr << "Usage: vgproperties [SECONDS [SEED [PROPERTY...]]] | --system SEED FOLDER\n";
        return 2;
    }
    std::string seed = argc > 2 ? argv[2] : "0";
    const bool random = seed == "0";
    if (random)
        seed = std::to_string(std::random_device()());
    // A seed that was given is to try the same, however fast the machine is.
    const char* const most = random ? "1000000" : "40";
    setenv("RC_PARAMS", ("seed=" + seed + " max_success=" + most).c_str(), 1);
    std::cout << "seed " << seed << std::endl;
    std::vector<Property> properties;
    for (const Property& property : kProperties)
        if (argc <= 3 || std::find(argv + 3, argv + argc, std::string(property.name)) != argv + argc)
            properties.push_back(property);
    bool hold = true;
    for (const Property& property : properties)
        hold &= Holds(property, std::chrono::milliseconds(static_cast<long>(seconds * 1000) /
                                                          static_cast<long>(properties.size())));
    return hold ? 0 : 1;
}
