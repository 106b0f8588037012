#include "upgrader/log.h"

#include <cstdarg>
#include <string_view>

#include "platform/base/format.h"
#include "platform/base/package_log.h"

namespace {

// The migration that runs, and what it has logged.
struct {
    std::string_view function;
    std::string first;
    std::string firstOfAll;
} g_kept;

void Log(const LogSite& site, const char* format, va_list args) {
    if (g_kept.first.empty()) {
        va_list copy;
        va_copy(copy, args);
        std::string message = VStringPrintf(format, copy);
        va_end(copy);
        if (!message.empty() && message.back() == '\n')
            message.pop_back();
        if (g_kept.firstOfAll.empty())
            g_kept.firstOfAll = message;
        if (site.function == g_kept.function)
            g_kept.first = message;
    }
    VGPrintf(0, 0, 0, LogProgram(), site.line, site.function, format, args);
}

}  // namespace

void KeepFirstMessageOf(const char* migration) {
    const std::string_view name = migration;
    const size_t qualified = name.rfind(':');
    g_kept = {.function = qualified == name.npos ? name : name.substr(qualified + 1),
              .first = {},
              .firstOfAll = {}};
}

std::string FirstMessage() { return g_kept.first.empty() ? g_kept.firstOfAll : g_kept.first; }

void LogMessage(const LogSite& site, const char* format, ...) {
    va_list args;
    va_start(args, format);
    Log(site, format, args);
    va_end(args);
}

int LogFailure(const LogSite& site, const char* format, ...) {
    va_list args;
    va_start(args, format);
    Log(site, format, args);
    va_end(args);
    return -1;
}

int LogFailedSteps(std::initializer_list<StepResult> steps, LogSite site) {
    int result = 0;
    for (const auto& [stepResult, failure] : steps)
        if (stepResult < 0)
            result = LogFailure(site, "%s", failure);
    return result;
}
