#include "platform/settings/pending_keys.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <utility>

#include "platform/base/paths.h"
#include "platform/files/file_io.h"
#include "platform/settings/collected_keys.h"
#include "platform/settings/settings_file.h"

namespace {

struct Collection {
    std::vector<KeyChange> seen;
    size_t taken = 0;                          // so many of them are not to be taken any more
    std::map<std::string, SettingsFile> held;  // files whose writes have been tried
};

std::unique_ptr<Collection> g_collection;  // null while writes go to the files

// The changes that change something, each after those before it. All of them where the file cannot be read.
std::vector<KeyChange> Effective(const std::string& file, const std::vector<KeyChange>& changes) {
    std::string content;
    if (ReadWholeFile(ResolvePath(file), content) < 0)
        return changes;
    content = WithChanges(std::move(content), CollectedKeys::Of(file));
    std::vector<KeyChange> effective;
    for (const KeyChange& change : changes) {
        std::string changed = WithChanges(content, {change});
        if (changed != content)
            effective.push_back(change);
        content = std::move(changed);
    }
    return effective;
}

}  // namespace

const KeyChange* CollectedKeys::Find(std::string_view file, std::string_view key) {
    if (!g_collection)
        return nullptr;
    const auto& seen = g_collection->seen;
    const auto last = std::find_if(seen.rbegin(), seen.rend(), [&](const KeyChange& change) {
        return change.file == file && change.key == key;
    });
    return last != seen.rend() ? &*last : nullptr;
}

std::vector<KeyChange> CollectedKeys::Of(std::string_view file) {
    std::vector<KeyChange> changes;
    if (g_collection)
        std::copy_if(g_collection->seen.begin(), g_collection->seen.end(), std::back_inserter(changes),
                     [&](const KeyChange& change) { return change.file == file; });
    return changes;
}

int CollectedKeys::Write(const std::string& file, const std::vector<KeyChange>& changes) {
    if (!g_collection)
        return SettingsFile(file).Change(changes);
    const std::vector<KeyChange> effective = Effective(file, changes);
    if (effective.empty())
        return 0;
    auto& seen = g_collection->seen;
    seen.insert(seen.end(), effective.begin(), effective.end());
    return g_collection->held.try_emplace(file, file).first->second.Try(Of(file));
}

void PendingKeys::Collect(std::vector<KeyChange> earlier) {
    Stop();
    g_collection = std::make_unique<Collection>();
    g_collection->taken = earlier.size();
    g_collection->seen = std::move(earlier);
}

std::vector<KeyChange> PendingKeys::Take() {
    if (!g_collection)
        return {};
    const auto& seen = g_collection->seen;
    const size_t from = std::exchange(g_collection->taken, seen.size());
    return {seen.begin() + static_cast<std::ptrdiff_t>(from), seen.end()};
}

int PendingKeys::Apply(const std::vector<KeyChange>& changes) {
    std::map<std::string, std::vector<KeyChange>> byFile;
    for (const KeyChange& change : changes)
        byFile[change.file].push_back(change);
    std::map<std::string, SettingsFile> direct;
    auto& held = g_collection ? g_collection->held : direct;
    int result = 0;
    for (const auto& [file, ofFile] : byFile) {
        if (held.try_emplace(file, file).first->second.Change(ofFile))
            result = -1;
        held.erase(file);
    }
    return result;
}

void PendingKeys::Stop() { g_collection.reset(); }
