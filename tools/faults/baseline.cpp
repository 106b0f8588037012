#include "tools/faults/baseline.h"

#include <json/reader.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace {

Ran MustRun(const Command& command, const fs::path& tree) {
    Ran ran = Run(command, tree);
    if (ran.end != ProcessEnd{ProcessEnd::How::Exited, 0})
        throw std::runtime_error(command.program + " " + ToText(ran.end));
    return ran;
}

void RunSql(const fs::path& database, const std::string& sql) {
    MustRun({"sqlite3", {"-bail", database, sql}}, "/");
}

// Cameras like those that are there, each with an analytics task.
void AddCameras(const fs::path& database, size_t count) {
    const std::string number = std::to_string(count);
    for (const std::string table : {"camera", "iva_setting"})
        RunSql(database,
               "CREATE TEMP TABLE more AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n"
               " WHERE i < " +
                   number + ") SELECT " + table + ".* FROM n, " + table + " LIMIT " + number +
                   "; UPDATE more SET id = 1000 + rowid, name = name || ' ' || rowid" +
                   (table == "camera" ? "" : ", camera_id = 1000 + rowid") + "; INSERT INTO " + table +
                   " SELECT * FROM more");
}

void LaySystem(const Setup& setup, const fs::path& tree) {
    const fs::path source = SOURCE_DIR;
    fs::create_directories(tree.parent_path());
    if (const size_t colon = setup.from.find(':'); colon != std::string::npos) {
        CopyTree(setup.from.substr(colon + 1), tree);
    } else {
        MustRun({source / "scripts/sample-system", {setup.from, tree}}, "/");
        fs::copy(source / "schema", tree / kTarget / "schema");
    }
    if (setup.cameras > 0)
        AddCameras(tree / kMainDatabase, setup.cameras);
    for (const Command& command : setup.before)
        MustRun(command, tree);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
        if (setup.writeAhead && entry.path().extension() == ".db")
            RunSql(entry.path(), "PRAGMA journal_mode = WAL; PRAGMA user_version = 0");
    }
    fs::remove(tree / kPackageLog);
}

}  // namespace

Ran Run(const Command& command, const fs::path& tree, const Fault& fault,
        const std::function<void(int)>& onStop) {
    // A run that stands still has others beside it, of another mode.
    const std::string own = tree.string() + "." + std::to_string(static_cast<int>(fault.mode));
    const std::string out = own + ".fault", output = own + ".out";
    std::vector<std::string> environment = {"VG_SYSROOT=" + tree.string()};
    if (fault.mode != Mode::None) {
        environment.push_back("LD_PRELOAD=" FAULT_LIBRARY);
        std::ostringstream plan;
        plan << "VGFAULT=" << static_cast<int>(fault.mode) << ' ' << fault.at << ' ' << fault.reads << ' '
             << fault.error << ' ' << static_cast<int>(fault.which) << ' ' << fault.path << ' ' << fault.times
             << ' ' << fault.haste << ' ' << fault.during << ' ' << out;
        environment.push_back(plan.str());
    }
    std::vector<std::string> line = {command.program};
    line.insert(line.end(), command.arguments.begin(), command.arguments.end());
    Ran ran;
    ran.end = RunProcess(line, environment, output, onStop);
    ran.output = ReadFile(output);
    if (fault.mode == Mode::Trace) {
        ran.calls = ReadTrace(out);
        for (const TracedCall& call : ran.calls)
            ran.waited += call.op == Op::Wait ? static_cast<double>(call.value) / 1e9 : 0;
    } else if (fault.mode != Mode::None) {
        std::istringstream told(ReadFile(out));
        std::getline(told, ran.call);
        told >> ran.waited;
        ran.waited /= 1000;
    }
    fs::remove(out);
    fs::remove(output);
    return ran;
}

Json::Value Parse(const std::string& document) {
    std::istringstream text(document);
    Json::Value value;
    return Json::parseFromStream(Json::CharReaderBuilder(), text, &value, nullptr) ? value : Json::Value();
}

Json::Value Ask(const fs::path& tree, const std::string& command) {
    return Parse(Run({"vgupgradectl", {"--json", command}}, tree).output);
}

std::vector<TracedCall> Counted(std::vector<TracedCall> calls) {
    std::erase_if(calls, [](const TracedCall& call) { return call.op == Op::Wait; });
    return calls;
}

Baseline::Baseline(const Setup& setup, Runs runs, fs::path folder)
    : m_runs(std::move(runs)), m_folder(std::move(folder)) {
    LaySystem(setup, Start());
    m_startTree = ReadCopyOf(Start());
    m_startExactly = ReadExactly(Start());
    std::optional<Disk> disk;
    m_first = TraceOn(FirstPath(), disk);
    m_firstExactly = ReadExactly(FirstPath());
    m_outcomes[{{m_runs.first}, ""}] = {ReadCopyOf(FirstPath()), m_first.end};
    for (const auto& [name, text] : First().tree) {
        if (!m_startTree.contains(name) && (name.find(".db-") != std::string::npos || name == kRecord ||
                                            name.find(".vgtmp") != std::string::npos))
            throw std::runtime_error("the run without faults leaves " + name);
    }
}

Ran Baseline::TraceOn(const fs::path& tree, std::optional<Disk>& disk) const {
    CopyTree(Start(), tree);
    disk.emplace(tree);
    Ran ran = Run(m_runs.first, tree, {Mode::Trace});
    ran.calls = Counted(std::move(ran.calls));
    if (ran.end.how != ProcessEnd::How::Exited)
        throw std::runtime_error("the run without faults " + ToText(ran.end));
    disk->AddRun(ran.calls);
    // A call that the preload library missed, or a disk that is wrong, would make every later answer worthless.
    const fs::path explained = tree.string() + ".explained";
    disk->WriteFinal(explained);
    const std::vector<std::string> unexplained = Differences(ReadExactly(tree), ReadExactly(explained));
    if (!unexplained.empty())
        throw std::runtime_error("the trace does not explain the tree: " + unexplained.front());
    fs::remove_all(explained);
    return ran;
}

void Baseline::TraceDisk(const fs::path& tree, std::optional<Disk>& disk) const {
    (void)TraceOn(tree, disk);
    fs::remove_all(tree);
}

std::vector<TracedCall> Baseline::CallsWithReads() const {
    const fs::path tree = m_folder / "tree998";
    CopyTree(Start(), tree);
    Fault fault{Mode::Trace};
    fault.reads = true;
    std::vector<TracedCall> calls = Counted(Run(m_runs.first, tree, fault).calls);
    fs::remove_all(tree);
    return calls;
}

const Outcome& Baseline::After(const std::vector<Command>& commands, const std::string& settings) const {
    const std::lock_guard lock(m_mutex);
    const auto [entry, isNew] = m_outcomes.try_emplace({commands, settings});
    Outcome& outcome = entry->second;
    if (!isNew)
        return outcome;
    const fs::path tree = m_folder / "tree997";
    CopyTree(Start(), tree);
    if (!settings.empty())
        std::ofstream(tree / kSettingsConf, std::ios::app) << settings;
    for (const Command& command : commands)
        outcome.end = Run(command, tree).end;
    outcome.tree = ReadTree(tree);
    fs::remove_all(tree);
    return outcome;
}

std::vector<std::string> ReadLog(const fs::path& tree) {
    std::vector<std::string> messages;
    std::ifstream log(tree / kPackageLog);
    for (std::string line; std::getline(log, line);)
        messages.push_back(line.substr(std::min(line.find('('), line.size())));
    return messages;
}
