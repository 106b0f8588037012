// vgupgradectl COMMAND: shows what an upgrade would do and what one has done, and repairs what one has left.
//
//   1. Read the command line.
//   2. Find the package tree.
//   3. Refuse, while a restore is unfinished, what would work on databases of two times.
//   4. Take the upgrade lock, or see to it that nothing is changed.
//   5. Run the command, and print its result: as JSON, or as text that is made from it.
//
// Exit status: 0; 1, wrong usage or it cannot be done, and nothing was changed; 2, done, and there is something to
// look at.

#include <fcntl.h>
#include <json/value.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "control/command.h"
#include "control/command_line.h"
#include "control/json.h"
#include "control/secrets.h"
#include "control/status_formats.h"
#include "control/text.h"
#include "control/upgrades.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/system.h"
#include "platform/vgdb/vgdb.h"
#include "upgrader/lock.h"
#include "upgrader/restore_mark.h"

// The commands in the order of the help. To add one: a file cmd_NAME.cpp, and a line here.
#define COMMANDS(COMMAND) \
    COMMAND(Status)       \
    COMMAND(Plan)         \
    COMMAND(Rehearse)     \
    COMMAND(Diff)         \
    COMMAND(History)      \
    COMMAND(Retry)        \
    COMMAND(Snapshot)     \
    COMMAND(Snapshots)    \
    COMMAND(Verify)       \
    COMMAND(Restore)      \
    COMMAND(Forget)       \
    COMMAND(Check)        \
    COMMAND(Report)       \
    COMMAND(Migrations)

#define DECLARE(Name) std::unique_ptr<Command> Make##Name();
COMMANDS(DECLARE)

namespace {

Commands AllCommands() {
    Commands commands;
#define MAKE(Name) commands.push_back(Make##Name());
    COMMANDS(MAKE)
    return commands;
}

constexpr const char* kProgram = "vgupgradectl";

// Prints to standard output. Returns the status, or 1 when it does not take the text.
int Print(const std::string& text, int status) {
    if (std::fputs(text.c_str(), stdout) >= 0 && std::fflush(stdout) == 0)
        return status;
    std::fprintf(stderr, "%s: standard output cannot be written.\n", kProgram);
    return 1;
}

int PrintJson(const Json::Value& value, int status) { return Print(JsonDocument(value) + '\n', status); }

// How errors are told, also when the rest of the line makes no sense.
enum class Form { Text, Json, Plugin };

int PrintError(const std::string& text, Form form) {
    const std::string error = WithoutUsersOfUrls(text);
    if (form == Form::Plugin) {
        const PluginResult result = PluginError(error);
        return Print(result.line, result.status);
    }
    if (form == Form::Json) {
        Json::Value object(Json::objectValue);
        object["error"] = error;
        return PrintJson(object, 1);
    }
    std::fprintf(stderr, "%s: %s\n", kProgram, Escaped(error).c_str());
    return 1;
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// "" when this user may read what the commands read.
std::string WhatIsNotAllowed() {
    if (geteuid() == 0)
        return "";
    constexpr std::string_view kEtcDir = "/var/packages/Vigilo/etc/";
    constexpr std::string_view kSnapshotsDir = kRestoreMark.substr(0, kRestoreMark.rfind('/') + 1);
    for (const std::string_view path :
         {kTargetDir, kDataDir, kEtcDir, kSnapshotsDir, kSettingsConf, kLogDir, kHistory}) {
        const std::string real = ResolvePath(path);
        if (faccessat(AT_FDCWD, real.c_str(), R_OK | (path.ends_with('/') ? X_OK : 0), AT_EACCESS) != 0 &&
            (errno == EACCES || errno == EPERM))
            return real + " cannot be read, be root";
    }
    return "";
}

// "" when the tree is there; else what is wrong. Has to run before anything looks up a path.
std::string FindTree(const std::string& root, Access access) {
    if (!root.empty()) {
        if (!IsFolder(root))
            return "No such folder: " + root;
        std::error_code error;
        const std::string absolute = std::filesystem::absolute(root, error);
        if (error || setenv("VG_SYSROOT", absolute.c_str(), 1) != 0)
            return "Cannot use the folder: " + root;
        if (!HasSysRoot() && absolute.find_first_not_of('/') != std::string::npos)
            return "--root is not for a process with another user's rights.";
    }
    if (root.empty() && access == Access::None)
        return "";
    if (const std::string target = ResolvePath(kTargetDir); !IsFolder(target))
        return (errno == EACCES ? "Be root: cannot look into " : "No package tree: there is no folder ") +
               target;
    return access == Access::None ? "" : WhatIsNotAllowed();
}

Outcome RunCommand(Command& command, const General& general) {
    UpgradeLock lock;
    if (command.NeedsAccess() == Access::Locked && !lock.Acquire(general.Patience()))
        return Outcome::Refused("An upgrade of this package still runs; nothing was changed.");
    // Under the lock: a restore that was waited for may have been killed.
    std::string snapshot;
    if (const int restoring = command.RunsWhileRestoring() ? 0 : FindUnfinishedRestore(snapshot);
        restoring < 0)
        return Outcome::Refused("It cannot be told whether a restore is unfinished.");
    else if (restoring > 0)
        return Outcome::Refused("The restore of snapshot " + snapshot + " is not finished. Finish it: " +
                                CommandLine(kProgram, {"restore", snapshot}));
    if (command.NeedsAccess() == Access::Reads)
        VGDB::OpenReadOnly();
    VGDB::g_blCheckNonRecMode = !IsLeavingNonRecMode();
    Outcome outcome = command.Run(general);
    VGDB::CloseAll();
    return outcome;
}

// Of a command that only looks: what it tells may be another thing when the upgrade is done. `status` tells it itself.
void SayWhatRuns(const Command& command, bool json) {
    const bool looks = command.NeedsAccess() == Access::Reads && !command.RunsWhileRestoring();
    const Json::Value running = looks ? FindRunning() : Json::Value();
    if (!running.isNull())
        std::fputs(Paragraph(RunningInWords(running), Tone::Strong).c_str(), json ? stderr : stdout);
}

int Run(int argc, char* argv[], Form form) {
    const bool json = form == Form::Json;
    SetColour(IsColourWanted());
    const Commands commands = AllCommands();
    const Request request = ReadCommandLine(argc, argv, kProgram, commands);
    if (!request.error.empty())
        return PrintError(request.error, form);
    if (!request.command)
        return Print(request.answer, 0);
    Command& command = *request.command;

    umask(077);  // the package's folders may be shared
    SetLogProgram(kProgram, command.Log());
    if (const std::string error = FindTree(request.general.root, command.NeedsAccess()); !error.empty())
        return PrintError(error, form);
    Outcome outcome = RunCommand(command, request.general);
    SetProgressLine("");
    if (!outcome.error.empty())
        return PrintError(outcome.error, form);
    MaskUrls(outcome.result);
    SayWhatRuns(command, json);
    return json ? PrintJson(outcome.result, outcome.status)
                : Print(command.Print(outcome.result), outcome.status);
}

}  // namespace

int main(int argc, char* argv[]) {
    Form form = Form::Text;
    for (int i = 1; i < argc; ++i) {
        const std::string_view word = argv[i];
        if (word == "--json")
            form = Form::Json;
        else if (word == "--format=plugin" ||
                 (word == "plugin" && std::string_view(argv[i - 1]) == "--format"))
            form = Form::Plugin;
    }
    try {
        return Run(argc, argv, form);
    } catch (const std::exception& error) {
        return PrintError(std::string("Ended by an exception: ") + error.what(), form);
    }
}
