// Where the package's files are.
#pragma once

#include <string>
#include <string_view>

inline constexpr std::string_view kSettingsConf = "/var/packages/Vigilo/etc/settings.conf";
inline constexpr std::string_view kPackageConf = "/var/packages/Vigilo/etc/package.conf";
// The marker of an upgrade that could not begin.
inline constexpr std::string_view kUpgradeDue = "/var/packages/Vigilo/etc/vgupgrader.due";
inline constexpr std::string_view kTargetDir = "/var/packages/Vigilo/target/";
inline constexpr std::string_view kDataDir = "/var/packages/Vigilo/target/@vigilo/";
inline constexpr std::string_view kSchemaDir = "/var/packages/Vigilo/target/schema/";
inline constexpr std::string_view kVariableConf = "/var/packages/Vigilo/target/@VGData/variable.conf";
// Old builds kept their data in the package's share, whose name is a link to the volume that holds it.
inline constexpr std::string_view kShareDir = "/var/services/vigilo/";
inline constexpr std::string_view kLogDir = "/var/log/vigilo/";
inline constexpr std::string_view kPackageLog = "/var/log/vigilo/vgupgrader.log";
inline constexpr std::string_view kHistory = "/var/log/vigilo/vgupgrader.history.jsonl";

// True when the environment variable VG_SYSROOT gives a prefix. The variable is read once; a setuid or
// setgid process ignores it.
bool HasSysRoot();

// The real path of an absolute path of the package or the host: under the prefix of VG_SYSROOT, with every
// symbolic link on the way followed as a system whose root is the prefix follows it, so that a link to
// "/volume1" does not lead out of the prefix. What does not exist stands as it is.
//
// A path that cannot be told (a loop, more links than the kernel follows, a link that cannot be read) gives
// one that the system refuses as too long whatever is done with it: it leads nowhere, and does not look like
// a file that is missing.
//
// The same as ResolvePath for a path that is about to be written: a link in its last place is followed only when it
// belongs to root or to the user who runs the program, since anybody else could lead it anywhere. Returns 0; -1 with
// EPERM.
[[nodiscard]] int ResolveForWriting(std::string_view absolutePath, std::string& path);

// Every path that reaches a system call has gone through one of these functions exactly once.
std::string ResolvePath(std::string_view absolutePath);

// The same, with the last component left as it is, link or not; with a "/" behind it, it is followed too.
std::string ResolveEntry(std::string_view absolutePath);
