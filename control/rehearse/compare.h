// What differs between two systems: in rows, schema, settings keys, owners and, of copies, other files.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <string>

// The files of a system: those of a copy or a snapshot below a folder, or those of the system that the programs work on.
struct SystemFiles {
    std::string folder;  // '': the system itself

    std::string PathOf(const std::string& path) const;
};

struct CompareScope {
    size_t samples = 3;     // rows a table; SIZE_MAX: all of them
    size_t entries = 100;   // of the log
    bool readOnly = false;  // no file is changed, also where reading would play back a journal
    std::string table;      // this one alone, and nothing but rows and schema; '': all
    std::string id;         // and of it the row whose key begins so
};

// The keys of a settings file; none where it is not there.
std::map<std::string, std::string> KeysOf(const std::string& realPath);

// {"file", "key", "before", "after"}, without a secret; null stands for a key that is not there.
Json::Value SettingsChange(const std::string& file, const std::string& key, const std::string* before,
                           const std::string* after);

// "user:group mode", in names where the host knows them.
std::string OwnerInWords(unsigned user, unsigned group, unsigned mode);

// Adds a row of the log to {"log", "log_counts"} of the object: the row itself only while there are few.
void AddEntry(const Json::Value& entry, size_t most, Json::Value& object);

// Fills "databases", "settings", "owners", "files", "log" and "log_counts" of the result. Returns 0; -1 with the reason in
// `problem`.
[[nodiscard]] int CompareSystems(const SystemFiles& before, const SystemFiles& after,
                                 const CompareScope& scope, Json::Value& result, std::string& problem);
