#include "tools/faults/bench.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr const char* kTarget = "var/packages/Vigilo/target";
constexpr const char* kPackageLog = "var/log/vigilo/vgupgrader.log";

void LaySystem(const std::string& build, const fs::path& tree) {
    const fs::path source = SOURCE_DIR;
    fs::create_directories(tree / kTarget);
    const ProcessEnd end = RunProcess({source / "scripts/sample-system", build, tree});
    if (end.how != ProcessEnd::How::Exited || end.code != 0)
        throw std::runtime_error("scripts/sample-system " + build + " " + ToText(end));
    fs::copy(source / "schema", tree / kTarget / "schema");
}

std::string ReadText(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What another run of the same kind writes otherwise.
std::string WithoutRun(std::string line, const std::string& tree) {
    static const std::regex ofRun("^\\S+ vgupgrader:[0-9]+ |0x[0-9a-f]+");
    for (size_t at = line.find(tree); at != std::string::npos; at = line.find(tree))
        line.erase(at, tree.size());
    return std::regex_replace(line, ofRun, "");
}

Disk LaidOut(const Bench& bench, const fs::path& tree) {
    CopyTree(bench.Start(), tree);
    return Disk(tree);
}

}  // namespace

Stand::Stand(const Bench& bench, fs::path tree)
    : m_bench(bench), m_tree(std::move(tree)), m_disk(LaidOut(bench, m_tree)) {
    m_disk.AddRun(TraceUpgrade(m_tree, bench.Build(), m_end));
    if (m_end.how != ProcessEnd::How::Exited)
        throw std::runtime_error("the upgrade without faults " + ToText(m_end));
    CheckTrace();
}

// A call that the preload library missed, or a disk that is wrong, would make every later answer worthless.
void Stand::CheckTrace() const {
    const fs::path explained = m_tree.string() + ".explained";
    m_disk.WriteFinal(explained);
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_tree)) {
        const fs::path path = entry.path().lexically_relative(m_tree);
        if (entry.is_regular_file() && path != kPackageLog &&
            ReadText(entry.path()) != ReadText(explained / path))
            throw std::runtime_error("the trace does not explain the bytes of " + path.string());
    }
    const std::vector<std::string> unexplained = Differences(ReadTree(m_tree), ReadTree(explained));
    if (!unexplained.empty())
        throw std::runtime_error("the trace does not explain the tree: " + unexplained.front());
    fs::remove_all(explained);
}

void Stand::Clear() const { fs::remove_all(m_tree); }

void Stand::LayStart() const { CopyTree(m_bench.Start(), m_tree); }

ProcessEnd Stand::Upgrade(const Fault& fault, std::string* hit) const {
    std::vector<std::string> environment = {"VG_SYSROOT=" + m_tree.string()};
    const fs::path out = m_tree.string() + ".fault";
    if (!fault.mode.empty()) {
        environment.push_back("LD_PRELOAD=" FAULT_LIBRARY);
        environment.push_back("VGFAULT_MODE=" + fault.mode);
        environment.push_back("VGFAULT_AT=" + std::to_string(fault.at));
        environment.push_back("VGFAULT_OUT=" + out.string());
    }
    const ProcessEnd end = RunProcess({UPGRADER_PROGRAM, m_bench.Build()}, environment);
    if (hit)
        *hit = ReadText(out);
    fs::remove(out);
    return end;
}

Bench::Bench(std::string build, fs::path folder)
    : m_build(std::move(build)), m_start(folder / "start"), m_upgraded(folder / "upgraded") {
    LaySystem(m_build, m_start);
    m_stand = std::make_unique<Stand>(*this, m_upgraded);
    m_log = ReadLog(m_upgraded);
    m_result = ReadTree(m_upgraded);
}

std::vector<TracedCall> TraceUpgrade(const fs::path& tree, const std::string& argument, ProcessEnd& end) {
    const fs::path out = tree.string() + ".trace";
    end =
        RunProcess({UPGRADER_PROGRAM, argument}, {"VG_SYSROOT=" + tree.string(), "LD_PRELOAD=" FAULT_LIBRARY,
                                                  "VGFAULT_MODE=trace", "VGFAULT_OUT=" + out.string()});
    std::vector<TracedCall> calls = ReadTrace(out);
    fs::remove(out);
    return calls;
}

void CopyTree(const fs::path& from, const fs::path& to) {
    fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
}

Messages ReadLog(const fs::path& tree) {
    Messages messages;
    std::ifstream log(tree / kPackageLog);
    for (std::string line; std::getline(log, line);)
        messages.push_back(WithoutRun(line, tree));
    return messages;
}
