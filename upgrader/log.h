// How the program writes to the package log: every message under the name of the function that reports it,
// since a migration is known in the log by its function name.
#pragma once

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

#define UPG_LOG(...) LogMessage(LogSite::Here(), __VA_ARGS__)
#define UPG_FAIL(...) LogFailure(LogSite::Here(), __VA_ARGS__)
