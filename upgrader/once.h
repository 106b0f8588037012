// The once-only forms: a migration that is done when a key stands in settings.conf.
//
// Only the key's presence counts; its value is the text of true. The work is a function of its own that
// returns 0 or a negative value and logs its own failures. For a migration of the registry both come from its
// line there: its function is the form, the work is once::NAME, and the log knows both by the migration's
// name.
#pragma once

#include "upgrader/log.h"

using MigrationFunction = int (*)();

// The settings key with the version that the last upgrade has brought.
inline constexpr const char* kStampKey = "vg_upgrader_version";

// What most migrations log when their flag cannot be written; %s is the flag.
inline constexpr const char* kFailedToSetFlag = "Failed to set %s in setting conf.\n";

// Standard form. With the flag there, returns 0 at once; with a flag that cannot be read, -1 without any work. Work
// that fails leaves no flag (the next upgrade tries again) and gives -1. A flag that cannot be written logs `failure`
// (which may name the flag by one %s) and gives -1.
int RunOnce(const char* flag, const char* failure, MigrationFunction work, LogSite site = LogSite::Here());

// Whether the upgrader ran before: 1; 0 when it has left no stamp; -1 when that cannot be told.
int FindPreviousRun();

// Form that asks for the previous run of the upgrader (key vg_upgrader_version, 0 when it never ran). The
// work runs only when the upgrader ran before and the flag is not there; the flag is written in every case,
// also after a failure, so that the work is never tried twice. A stamp that cannot be read gives
// `resultWhenUnreadable`; a flag that cannot be read gives -1, and is not written; failed work or a flag that
// cannot be written give -1.
int RunOnceAfterStamp(const char* flag, int resultWhenUnreadable, MigrationFunction work,
                      LogSite site = LogSite::Here());
