// What each migration of a rehearsed upgrade has done, from what the upgrade told of itself (see platform/base/watch.h).
//
//   1. The stream is read once: the steps with their places in it, keys, entries, files, owners.
//   2. Then the rows, a step at a time, and of a large step a part of the rows at a time: what is told of one row is added
//      up, so that a row that came and went again, or is as it was, does not count.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <map>
#include <string>

struct WatchScope {
    size_t samples = 3;
    size_t entries = 100;
    bool rowsAlone = false;  // and the schema
    std::string prefix;      // of the copy, in paths
    std::function<std::map<std::string, std::string>(const std::string& file)>
        keysBefore;  // of a settings file
};

// Gives `migrations`: those that changed something or failed. `whole` is what all of them have done together: from there
// come the changes of the schema, and what has become of files. Returns 0; -1 when the stream is not whole.
[[nodiscard]] int ReadWatched(int fd, const WatchScope& scope, const Json::Value& whole,
                              Json::Value& migrations);
