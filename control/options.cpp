#include "control/options.h"

#include <CLI/App.hpp>
#include <CLI/Validators.hpp>

#include "control/snapshot.h"

namespace {

void AddOldBuild(CLI::App& app, Arguments& arguments) {
    app.add_option("OLD-BUILD", arguments.oldBuild,
                   "The build that was installed before, a number; the last upgrade's without it")
        ->type_name("");
}

void AddPlaceOption(CLI::App& app, Arguments& arguments, const char* help) {
    app.add_option("--to", arguments.folder, help)->type_name("DIR");
}

}  // namespace

void AddPlanOptions(CLI::App& app, Arguments& arguments) {
    AddOldBuild(app, arguments);
    app.add_flag("--sql", arguments.sql, "Print the statements of the schema repair alone");
}

void AddRehearseOptions(CLI::App& app, Arguments& arguments) {
    AddOldBuild(app, arguments);
    app.add_option("--samples", arguments.samples, "Show so many rows of a table (3)")->type_name("N");
    app.add_option("--html", arguments.page, "Write it as a page, too")->type_name("FILE");
    app.add_option("--work", arguments.work, "Make the copy in this folder (beside the snapshots)")
        ->type_name("DIR")
        ->check(CLI::ExistingDirectory);
    app.add_flag("--keep", arguments.keep, "Leave the copy there");
    app.add_option("--upgrader", arguments.upgrader, "Run this program (the vgupgrader beside this one)")
        ->type_name("PATH");
}

void AddHistoryOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("-n", arguments.newest, "The newest N alone")->type_name("N")->check(CLI::PositiveNumber);
}

void AddCheckOptions(CLI::App& app, Arguments& arguments) {
    app.add_flag("--full", arguments.full, "Read every index too (PRAGMA integrity_check)");
}

void AddSnapshotOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("NAME", arguments.name, "What it is to be called (the time)")
        ->check([](const std::string& name) { return WhatIsWrongWithName(name); });
    AddPlaceOption(app, arguments, "Save it in this folder");
}

void AddSnapshotsOptions(CLI::App& app, Arguments& arguments) {
    AddPlaceOption(app, arguments, "Those in this folder");
}

void AddVerifyOptions(CLI::App& app, Arguments& arguments) {
    app.add_option("NAME", arguments.name, "The snapshot, or a path to it")->required();
    AddPlaceOption(app, arguments, "The folder that it was saved in");
}

void AddRestoreOptions(CLI::App& app, Arguments& arguments) {
    AddVerifyOptions(app, arguments);
    app.add_flag("--yes", arguments.yes, "Do not ask");
}

void AddForgetOptions(CLI::App& app, Arguments& arguments) { AddVerifyOptions(app, arguments); }
