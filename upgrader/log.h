// How the program writes to the package log: every message under the name of the function that reports it,
// since a migration is known in the log by its function name.
#pragma once

#include <initializer_list>
#include <string>

// The place that reports a message. As a default argument, Here() is the place of the call.
struct LogSite {
    int line;
    const char* function;

    static LogSite Here(int line = __builtin_LINE(), const char* function = __builtin_FUNCTION()) {
        return {line, function};
    }
};

// Forwards to VGPrintf. The format ends in "\n".
void LogMessage(const LogSite& site, const char* format, ...) __attribute__((format(printf, 2, 3)));

// The same for a failure. Returns -1.
int LogFailure(const LogSite& site, const char* format, ...) __attribute__((format(printf, 2, 3)));

// For steps of which none keeps the other: logs the message of each whose result is negative. Returns -1 when there was
// one, else 0.
struct StepResult {
    int result;
    const char* failure;
};
int LogFailedSteps(std::initializer_list<StepResult> steps, LogSite site = LogSite::Here());

// From now on the first message that is logged under the name of the migration, or else the first of all, is kept.
void KeepFirstMessageOf(const char* migration);
std::string FirstMessage();

#define UPG_LOG(...) LogMessage(LogSite::Here(), __VA_ARGS__)
#define UPG_FAIL(...) LogFailure(LogSite::Here(), __VA_ARGS__)
