// The readers of a snapshot, snapshot.json and its sums, on which root replaces files. Input: the sums, a line "%", the
// document.
#include <filesystem>

#include "control/snapshot/keep.h"
#include "control/snapshot/tree_files.h"
#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/base/json.h"
#include "platform/base/paths.h"

namespace {

SnapshotPlace g_place;
std::string g_folder;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::Make();
    g_place = {FuzzTree::Path("/snapshots"), true};
    g_folder = g_place.folder + "/one/";
    std::filesystem::create_directories(g_folder);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzTree::EmptyLog();
    const std::string_view input = AsText(data, size);
    const size_t end = input.find("\n%\n");
    FuzzTree::Write(g_folder + kSumsFile, input.substr(0, end == input.npos ? end : end + 1));
    FuzzTree::Write(g_folder + kSnapshotJson, end == input.npos ? "" : input.substr(end + 3));

    std::vector<Snapshot> all;
    std::string problem;
    Expect(ListSnapshots(g_place, all, problem) == 0, "snapshots can be listed whatever they hold");
    Snapshot snapshot;
    if (FindSnapshot(g_place, "one", snapshot, problem) != 0) {
        Expect(!problem.empty(), "who finds no snapshot says why");
        return 0;
    }
    for (const std::string& path : snapshot.absent)
        Expect(!snapshot.complete || IsTreeFile(path), "only files of a snapshot are removed");
    Expect(!JsonWrite(snapshot.ToJson(), true, 15).empty(), "it can be printed");
    std::map<std::string, std::string> sums;
    if (ReadSums(snapshot, sums, problem) == 0)
        for (const auto& [path, sum] : sums)
            Expect(IsTreeFile('/' + path), "only files of a snapshot are replaced");
    Expect(!ProblemsOf(snapshot, [](uint64_t, uint64_t) {}).empty() || sums.empty(),
           "files that are not there are missed");
    return 0;
}
