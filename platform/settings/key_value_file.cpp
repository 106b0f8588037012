#include "platform/settings/key_value_file.h"

#include <optional>
#include <utility>
#include <vector>

#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/key_value_text.h"
#include "platform/settings/settings_files.h"

int VGFileGetVal(std::string_view path, const char* key, std::string& value, bool /*reserved*/) {
    std::optional<std::string> found;
    if (SettingsFiles::Current().Find(path, OrEmpty(key), found))
        return -1;
    if (!found)
        return 0;
    value = std::move(*found);
    return 1;
}

int VGFileSetVal(std::string_view path, const char* key, const char* value, bool /*reserved1*/,
                 bool /*reserved2*/) {
    const std::string text = OrEmpty(value);
    return text.empty() ? VGFileRemoveKeys(path, {OrEmpty(key)}) : VGFileStoreVal(path, key, text);
}

int VGFileStoreVal(std::string_view path, const char* key, const std::string& value) {
    const std::string file(path);
    const std::string name = OrEmpty(key);
    if (!IsStorableKey(name)) {
        VG_LIB_LOG("Failed to set a value in %s, [%s] is not a key.\n", ResolvePath(file).c_str(),
                   name.c_str());
        return -1;
    }
    if (!IsStorableValue(value)) {
        VG_LIB_LOG("Failed to set %s in %s, the value has a line break or NUL.\n", name.c_str(),
                   ResolvePath(file).c_str());
        return -1;
    }
    return SettingsFiles::Current().Write(file, {{.file = file, .key = name, .value = value}});
}

int VGFileRemoveKeys(std::string_view path, const std::set<std::string>& keys, bool /*reserved*/) {
    const std::string file(path);
    std::vector<KeyChange> changes;
    for (const std::string& key : keys) {
        if (!IsStorableKey(key)) {
            VG_LIB_LOG("Failed to remove keys from %s, [%s] is not a key.\n", ResolvePath(file).c_str(),
                       key.c_str());
            return -1;
        }
        changes.push_back({.file = file, .key = key, .value = std::nullopt});
    }
    return SettingsFiles::Current().Write(file, changes);
}
