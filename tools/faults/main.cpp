// vgfaults: shows that an upgrade, or a restore, that is interrupted and run again ends as one that was not.
//
// Exit status: 0; 1 when a point diverged or files were changed in vain; 2 for a wrong command line or a
// bench that cannot be set up; 130 after an interrupt.

#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <utility>

#include "tools/faults/allowed.h"
#include "tools/faults/campaign.h"
#include "tools/faults/sense.h"

namespace fs = std::filesystem;

namespace {

constexpr size_t kShownCalls = 4;
constexpr unsigned long long kRoomForTrees = 2ULL << 30;
constexpr int kInterrupted = 130;

// A folder for the trees: in memory when there is room, since each point lays out and drops one.
class WorkFolder {
public:
    explicit WorkFolder(bool keep) : m_keep(keep), m_path(Make()) {}
    WorkFolder(const WorkFolder&) = delete;
    WorkFolder& operator=(const WorkFolder&) = delete;
    ~WorkFolder() {
        std::error_code left;
        if (!m_keep)
            fs::remove_all(m_path, left);
    }

    const fs::path& Path() const { return m_path; }

private:
    static fs::path Make();

    bool m_keep;
    fs::path m_path;
};

fs::path WorkFolder::Make() {
    struct statvfs room {};
    const fs::path memory = "/dev/shm";
    const bool fits = access(memory.c_str(), W_OK) == 0 && statvfs(memory.c_str(), &room) == 0 &&
                      room.f_bavail * room.f_frsize > kRoomForTrees;
    std::string folder = (fits ? memory : fs::temp_directory_path()) / "vgfaults.XXXXXX";
    if (!mkdtemp(folder.data()))
        throw fs::filesystem_error("mkdtemp", folder, std::error_code(errno, std::generic_category()));
    return folder;
}

// The fields of the scenarios, each laid out when it is first needed.
class Fields {
public:
    Fields(const Options& options, fs::path folder) : m_options(options), m_folder(std::move(folder)) {}

    const Field& Of(const Scenario& scenario) {
        std::unique_ptr<Field>& field = m_fields[{scenario.system, scenario.runs}];
        if (!field)
            field = std::make_unique<Field>(
                scenario.system(m_options.build),
                scenario.runs({m_options.program, CONTROL_PROGRAM}, m_options.build),
                m_folder / ("field" + std::to_string(m_fields.size())), m_options.jobs);
        return *field;
    }

private:
    const Options& m_options;
    fs::path m_folder;
    std::map<std::pair<decltype(Scenario::system), decltype(Scenario::runs)>, std::unique_ptr<Field>>
        m_fields;
};

void PrintFlushes(const char* what, const std::vector<TracedCall>& calls) {
    const auto flushes = std::count_if(calls.begin(), calls.end(), [](const TracedCall& call) {
        return call.op == Op::Flush || call.op == Op::FlushData || call.op == Op::FlushAll;
    });
    std::printf("%-13s %s: %zu calls that change files, %td of them flushes\n", kFlushes, what, calls.size(),
                flushes);
}

// Whether an upgrade of an up-to-date system leaves every file alone.
Tally RunFlushes(const Bench& bench, const Options& options, const fs::path& tree) {
    CopyTree(bench.FirstTree(), tree);
    std::vector<TracedCall> calls = Trace({options.program, {PACKAGE_BUILD}}, tree).calls;
    std::erase_if(calls, [](const TracedCall& call) { return call.op == Op::Message; });
    PrintFlushes("full upgrade", bench.Calls());
    PrintFlushes("up-to-date system", calls);
    for (size_t i = 0; i < calls.size() && (options.verbose || i < kShownCalls); ++i)
        std::printf("    %s\n", calls[i].text.c_str());
    return {1, calls.empty() ? 0U : 1U};
}

Tally Run(const std::string& name, Fields& fields, const Options& options, const fs::path& work) {
    const auto& all = AllScenarios();
    if (name == kFlushes)
        return RunFlushes(fields.Of(all.front()).TheBench(), options, work / "up-to-date");
    if (name == kSense)
        return RunSense(options, work / kSense);
    const auto scenario =
        std::find_if(all.begin(), all.end(), [&](const Scenario& one) { return one.name == name; });
    if (options.isShort && scenario->shortSample == 0)
        return {};
    return RunScenario(*scenario, fields.Of(*scenario), options,
                       options.isShort ? scenario->shortSample : options.sample);
}

// The first one named, or else an upgrade.
const Scenario& Listed(const Options& options) {
    const auto& all = AllScenarios();
    const auto named = std::find_if(
        all.begin(), all.end(), [&](const Scenario& one) { return one.name == options.scenarios.front(); });
    return named == all.end() ? all.front() : *named;
}

void PrintCalls(const std::vector<TracedCall>& calls) {
    for (size_t i = 0; i < calls.size(); ++i)
        std::printf("%5zu %s\n", i + 1, calls[i].text.c_str());
}

}  // namespace

int main(int argc, char* argv[]) {
    Options options;
    if (const std::optional<int> status = ParseOptions(argc, argv, options))
        return *status;
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    CatchInterrupts();
    try {
        const WorkFolder work(options.keep);
        Fields fields(options, work.Path());
        if (options.list) {
            PrintCalls(fields.Of(Listed(options)).TheBench().Calls());
            return 0;
        }
        Tally all;
        for (const std::string& name : options.scenarios) {
            const Tally tally = Run(name, fields, options, work.Path());
            if (IsInterrupted())
                return kInterrupted;
            all.points += tally.points;
            all.diverged += tally.diverged;
        }
        std::printf("From %s, seed %llu: %zu points, %zu diverged\n", options.build.c_str(),
                    static_cast<unsigned long long>(options.seed), all.points, all.diverged);
        return all.diverged == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vgfaults: %s\n", IsInterrupted() ? "interrupted" : error.what());
        return IsInterrupted() ? kInterrupted : 2;
    }
}
