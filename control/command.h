// What a command of vgupgradectl is made of.
#pragma once

#include <json/value.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <utility>

#include "platform/base/vgprintf.h"

namespace CLI {
class App;
}

// What the command line gives; each command uses what its own options fill.
struct Arguments {
    bool json = false;
    std::chrono::seconds wait{600};  // for the upgrade lock

    std::string oldBuild;  // as it was given; FindOldBuild reads it
    bool sql = false;      // plan: the repair alone
    unsigned newest = 0;   // history: so many; 0 is all
    bool full = false;     // check

    std::string name;    // of a snapshot
    std::string folder;  // where the snapshots are, when not in the package's own folder
    bool yes = false;    // restore: without asking

    size_t samples = 3;    // rehearse: rows a table
    std::string page;      // and the page to write
    std::string work;      // the folder to work in
    bool keep = false;     // and whether it stays
    std::string upgrader;  // the program to run; '': the one beside this
};

// How a command ends.
struct Outcome {
    int status = 0;      // 0 done; 1 refused, nothing changed; 2 done, and there is something to look at
    Json::Value result;  // what --json prints, and what the text is made from
    std::string error;   // of status 1: what, where and what to do next, in one line

    static Outcome Done(Json::Value result, bool hasProblems = false) {
        return {.status = hasProblems ? 2 : 0, .result = std::move(result), .error = {}};
    }
    static Outcome Refused(std::string error) {
        return {.status = 1, .result = {}, .error = std::move(error)};
    }
};

// What a command does to the package tree.
enum class Access {
    None,    // it looks at nothing there
    Reads,   // it waits for nobody, and neither changes nor makes a file
    Locked,  // it runs under the upgrade lock
    Asks,    // it takes the upgrade lock itself, for as long as it needs it
};

struct Command {
    const char* name;
    const char* help;  // one line
    Access access;
    LogSink log;                                              // where the messages of the libraries go
    bool whileRestoring;                                      // it runs while a restore is unfinished
    void (*addOptions)(CLI::App& app, Arguments& arguments);  // null: it has none
    Outcome (*run)(const Arguments& arguments);
    // The result for people: lines of at most 100 columns (see text.h), made from the JSON value alone.
    std::string (*print)(const Json::Value& result, const Arguments& arguments);
};
