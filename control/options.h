// What each command takes on its command line, beside the options of the program.
#pragma once

#include "control/command.h"

void AddPlanOptions(CLI::App& app, Arguments& arguments);
void AddRehearseOptions(CLI::App& app, Arguments& arguments);
void AddHistoryOptions(CLI::App& app, Arguments& arguments);
void AddCheckOptions(CLI::App& app, Arguments& arguments);
void AddSnapshotOptions(CLI::App& app, Arguments& arguments);
void AddSnapshotsOptions(CLI::App& app, Arguments& arguments);
void AddVerifyOptions(CLI::App& app, Arguments& arguments);
void AddRestoreOptions(CLI::App& app, Arguments& arguments);
void AddForgetOptions(CLI::App& app, Arguments& arguments);
