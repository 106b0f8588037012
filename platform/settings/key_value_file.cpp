#include "platform/settings/key_value_file.h"

#include <optional>
#include <string_view>
#include <utility>

#include "platform/log/library_log.h"
#include "platform/settings/file_rewrite.h"
#include "platform/settings/key_value_text.h"

namespace {

const char* OrEmpty(const char* text) { return text ? text : ""; }

}  // namespace

int VGFileGetVal(const std::string& path, const char* key, std::string& value, bool /*reserved*/) {
    std::string content;
    if (ReadWholeFile(path, content) == FileRead::kFailed)
        return -1;
    std::optional<std::string> found = FindValue(content, OrEmpty(key));
    if (!found)
        return 0;
    value = std::move(*found);
    return 1;
}

int VGFileGetAll(const std::string& path, std::map<std::string, std::string>& values) {
    std::string content;
    if (ReadWholeFile(path, content) == FileRead::kFailed)
        return -1;
    values = AllValues(content);
    return 0;
}

int VGFileSetVal(const std::string& path, const char* key, const char* value, bool /*reserved1*/,
                 bool /*reserved2*/) {
    const std::string text = OrEmpty(value);
    return text.empty() ? VGFileRemoveKeys(path, {OrEmpty(key)}) : VGFileStoreVal(path, key, text);
}

int VGFileStoreVal(const std::string& path, const char* key, const std::string& value) {
    const std::string_view name = OrEmpty(key);
    if (!IsStorableKey(name)) {
        VG_LIB_LOG("Failed to set a value in %s, [%s] is not a key.\n", path.c_str(), name.data());
        return -1;
    }
    if (!IsStorableValue(value)) {
        VG_LIB_LOG("Failed to set %s in %s, the value has a line break or NUL.\n", name.data(), path.c_str());
        return -1;
    }
    return RewriteFile(path, [&](std::string_view content) { return WithValue(content, name, value); });
}

int VGFileRemoveKeys(const std::string& path, const std::set<std::string>& keys, bool /*reserved*/) {
    for (const std::string& key : keys) {
        if (!IsStorableKey(key)) {
            VG_LIB_LOG("Failed to remove keys from %s, [%s] is not a key.\n", path.c_str(), key.c_str());
            return -1;
        }
    }
    return RewriteFile(path, [&](std::string_view content) { return WithoutKeys(content, keys); });
}
