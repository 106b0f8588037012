#include "tools/faults/bench.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "tests/support/pattern.h"
#include "tools/faults/allowed.h"

namespace fs = std::filesystem;

namespace {

void MustEnd(const Command& command, const ProcessEnd& end) {
    if (end != ProcessEnd{ProcessEnd::How::Exited, 0})
        throw std::runtime_error(command.program + " " + ToText(end));
}

// Runs a text on a database by the sqlite3 shell.
void RunSql(const fs::path& database, const std::vector<std::string>& sql) {
    Command shell{"sqlite3", {"-bail", database}};
    shell.arguments.insert(shell.arguments.end(), sql.begin(), sql.end());
    MustEnd(shell, Run(shell, database.parent_path()).end);
}

// Cameras like those that are there, each with an analytics task.
void AddCameras(const fs::path& target, size_t count) {
    const std::string numbers = "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
                                std::to_string(count) + ") ";
    for (const std::string table : {"camera", "iva_setting"}) {
        const bool isTask = table != "camera";
        RunSql(target / "system.db", {"CREATE TEMP TABLE more AS " + numbers + "SELECT " + table +
                                          ".* FROM n, " + table + " LIMIT " + std::to_string(count),
                                      "UPDATE more SET id = 1000 + rowid, name = name || ' ' || rowid" +
                                          std::string(isTask ? ", camera_id = 1000 + rowid" : ""),
                                      "INSERT INTO " + table + " SELECT * FROM more"});
    }
}

void LaySystem(const System& system, const fs::path& tree) {
    const fs::path source = SOURCE_DIR;
    fs::create_directories(tree / kTarget);
    const Command sample{source / "scripts/sample-system", {system.build, tree}};
    MustEnd(sample, Run(sample, tree).end);
    fs::copy(source / "schema", tree / kTarget / "schema");
    if (system.cameras > 0)
        AddCameras(tree / kTarget, system.cameras);
    for (const Command& command : system.before)
        MustEnd(command, Run(command, tree).end);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(tree)) {
        if (system.writeAhead && entry.path().extension() == ".db")
            RunSql(entry.path(), {"PRAGMA journal_mode = WAL", "PRAGMA user_version = 0"});
    }
    fs::remove(tree / kPackageLog);
}

// What another run of the same kind writes otherwise.
std::string WithoutRun(std::string line, const std::string& tree) {
    static const Pattern ofRun("^\\S+ vgupgrader:[0-9]+ |0x[0-9a-f]+|, [0-9.]+ s\\b");
    for (size_t at = line.find(tree); at != std::string::npos; at = line.find(tree))
        line.erase(at, tree.size());
    return ofRun.ReplaceIn(line, "");
}

Disk LaidOut(const Bench& bench, const fs::path& tree) {
    CopyTree(bench.Start(), tree);
    return Disk(tree);
}

std::vector<std::string> EnvironmentOf(const Fault& fault, const fs::path& tree, const fs::path& out) {
    std::vector<std::string> environment = {"VG_SYSROOT=" + tree.string()};
    if (fault.mode.empty())
        return environment;
    const auto set = [&](const char* name, const std::string& value) {
        environment.push_back("VGFAULT_" + std::string(name) + "=" + value);
    };
    environment.push_back("LD_PRELOAD=" FAULT_LIBRARY);
    set("MODE", fault.mode);
    set("AT", std::to_string(fault.at));
    set("ERROR", std::to_string(fault.error));
    set("WHICH", fault.which);
    set("PATH", fault.path);
    set("TIMES", std::to_string(fault.times));
    set("READS", fault.reads ? "1" : "0");
    set("HASTE", std::to_string(fault.haste));
    set("OUT", out);
    return environment;
}

ProcessEnd RunIn(const Command& command, const std::vector<std::string>& environment,
                 const std::function<void()>& onStop) {
    std::vector<std::string> line = {command.program};
    line.insert(line.end(), command.arguments.begin(), command.arguments.end());
    return RunProcess(line, environment, onStop);
}

}  // namespace

Struck Run(const Command& command, const fs::path& tree, const Fault& fault,
           const std::function<void()>& onStop) {
    const fs::path out = tree.string() + ".fault";
    const ProcessEnd end = RunIn(command, EnvironmentOf(fault, tree, out), onStop);
    Struck struck{end, fault.mode.empty() ? "" : ReadFile(out)};
    fs::remove(out);
    return struck;
}

Traced Trace(const Command& command, const fs::path& tree, bool reads) {
    const fs::path out = tree.string() + ".trace";
    Fault trace{"trace"};
    trace.reads = reads;
    const ProcessEnd end = RunIn(command, EnvironmentOf(trace, tree, out), {});
    Traced traced{end, ReadTrace(out)};
    fs::remove(out);
    return traced;
}

Stand::Stand(const Bench& bench, fs::path tree)
    : m_bench(bench), m_tree(std::move(tree)), m_disk(LaidOut(bench, m_tree)) {
    Traced traced = Trace(bench.Commands().first, m_tree);
    m_end = traced.end;
    if (m_end.how != ProcessEnd::How::Exited)
        throw std::runtime_error("the run without faults " + ToText(m_end));
    std::erase_if(traced.calls, [](const TracedCall& call) { return call.op == Op::Message; });
    m_disk.AddRun(std::move(traced.calls));
    CheckTrace();
}

// A call that the preload library missed, or a disk that is wrong, would make every later answer worthless.
void Stand::CheckTrace() const {
    const fs::path explained = m_tree.string() + ".explained";
    m_disk.WriteFinal(explained);
    const std::vector<std::string> unexplained = Differences(ReadExactly(m_tree), ReadExactly(explained));
    if (!unexplained.empty())
        throw std::runtime_error("the trace does not explain the tree: " + unexplained.front());
    fs::remove_all(explained);
}

void Stand::Clear() const { fs::remove_all(m_tree); }

void Stand::LayStart() const { CopyTree(m_bench.Start(), m_tree); }

Bench::Bench(const System& system, Runs runs, fs::path folder)
    : m_runs(std::move(runs)), m_folder(std::move(folder)) {
    LaySystem(system, Start());
    m_startImage = ReadCopyOf(Start());
    m_startExactly = ReadExactly(Start());
    m_stand = std::make_unique<Stand>(*this, FirstTree());
    m_log = ReadLog(FirstTree());
    m_firstExactly = ReadExactly(FirstTree());
    m_first = {ReadTree(FirstTree()), m_stand->End()};
    if (const std::string left = LeftBehind(m_startImage, m_first.image); !left.empty())
        throw std::runtime_error("the run without faults leaves " + left);
}

const Outcome& Bench::Tried(const std::vector<Command>& commands) const {
    if (commands == std::vector{m_runs.first})
        return m_first;
    const std::lock_guard lock(m_mutex);
    const auto [entry, isNew] = m_tried.try_emplace(commands);
    Outcome& outcome = entry->second;
    if (!isNew)
        return outcome;
    const fs::path tree = m_folder / "tried";
    CopyTree(Start(), tree);
    for (const Command& command : commands)
        outcome.end = Run(command, tree).end;
    outcome.image = ReadTree(tree);
    fs::remove_all(tree);
    return outcome;
}

std::vector<TracedCall> Bench::CallsWithReads() const {
    const fs::path tree = m_folder / "read";
    CopyTree(Start(), tree);
    std::vector<TracedCall> calls = Trace(m_runs.first, tree, true).calls;
    std::erase_if(calls, [](const TracedCall& call) { return call.op == Op::Message; });
    fs::remove_all(tree);
    return calls;
}

void CopyTree(const fs::path& from, const fs::path& to) {
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    for (const auto& entry : fs::recursive_directory_iterator(from)) {
        const fs::path copy = to / entry.path().lexically_relative(from);
        struct stat status {};
        if (lstat(entry.path().c_str(), &status) != 0)
            continue;
        if ((status.st_uid != geteuid() || status.st_gid != getegid()) &&
            lchown(copy.c_str(), status.st_uid, status.st_gid) != 0)
            throw std::runtime_error("cannot give " + entry.path().string() + " its owner in a copy");
        const timespec times[] = {{0, UTIME_OMIT}, status.st_mtim};
        if (utimensat(AT_FDCWD, copy.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
            throw std::runtime_error("cannot give " + entry.path().string() + " its time in a copy");
    }
}

Messages ReadLog(const fs::path& tree) {
    Messages messages;
    std::ifstream log(tree / kPackageLog);
    for (std::string line; std::getline(log, line);)
        messages.push_back(WithoutRun(line, tree));
    return messages;
}

bool Tells(std::span<const std::string> messages, std::string_view text) {
    return std::any_of(messages.begin(), messages.end(), [text](const std::string& message) {
        return message.find(text) != std::string::npos;
    });
}
