#include "upgrader/log.h"

#include <cstdarg>

#include "platform/base/vgprintf.h"

void LogMessage(const LogSite& site, const char* format, ...) {
    va_list args;
    va_start(args, format);
    VGPrintf(0, 0, 0, LogProgram(), site.line, site.function, format, args);
    va_end(args);
}

int LogFailure(const LogSite& site, const char* format, ...) {
    va_list args;
    va_start(args, format);
    VGPrintf(0, 0, 0, LogProgram(), site.line, site.function, format, args);
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
