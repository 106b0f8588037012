// What a command of vgupgradectl is made of. Each is a class in a file of its own, cmd_NAME.cpp: its options, what it
// does, how it prints. The comment at the head of that file is what the manual says.
#pragma once

#include <json/value.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "platform/base/package_log.h"

// An option or an argument, as data. `words` are those of a synopsis: "--full", "--to DIR", "-n N"; an argument is
// "NAME", or "[NAME]" when it may be left out. The word behind an option also tells the completion what stands there:
// DIR, FILE, SNAPSHOT, or one of several texts, "prometheus|plugin".
struct Option {
    const char* words;
    std::variant<bool*, unsigned*, std::string*> value;  // '' and a number that was set before: not given
    const char* help;
    unsigned least = 0;  // of a number
};

// What every command takes.
struct General {
    std::string root;  // --root, as it was given
    bool json = false;
    unsigned wait = 600;  // seconds, for the upgrade lock

    std::chrono::seconds Patience() const { return std::chrono::seconds(wait); }
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

class Command {
public:
    Command(const char* name, const char* help, Access access)
        : m_name(name), m_help(help), m_access(access) {}
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;
    virtual ~Command() = default;

    virtual Outcome Run(const General& general) = 0;
    // The result for people, made from the JSON value and the options alone (see text.h).
    virtual std::string Print(const Json::Value& result) const = 0;

    const char* Name() const { return m_name; }
    const char* Help() const { return m_help; }  // one line
    Access NeedsAccess() const { return m_access; }
    LogSink Log() const { return m_log; }
    bool RunsWhileRestoring() const { return m_whileRestoring; }
    const std::vector<Option>& Options() const { return m_options; }

protected:
    LogSink m_log = LogSink::StandardError;  // where the messages of the libraries go
    bool m_whileRestoring = false;           // it runs while a restore is unfinished
    std::vector<Option> m_options;

private:
    const char* m_name;
    const char* m_help;
    Access m_access;
};

using Commands = std::vector<std::unique_ptr<Command>>;
