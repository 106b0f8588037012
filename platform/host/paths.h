// Where the package's files are.
#pragma once

#include <string>
#include <string_view>

inline constexpr std::string_view kSettingsConf = "/var/packages/Vigilo/etc/settings.conf";
inline constexpr std::string_view kPackageConf = "/var/packages/Vigilo/etc/package.conf";
inline constexpr std::string_view kTargetDir = "/var/packages/Vigilo/target/";
inline constexpr std::string_view kSchemaDir = "/var/packages/Vigilo/target/schema/";
inline constexpr std::string_view kVariableConf = "/var/packages/Vigilo/target/@VGData/variable.conf";
inline constexpr std::string_view kLogDir = "/var/log/vigilo/";
inline constexpr std::string_view kPackageLog = "/var/log/vigilo/vgupgrader.log";

// True when the environment variable VG_SYSROOT gives a prefix. The variable is read once; a setuid or
// setgid process ignores it.
bool HasSysRoot();

// The given absolute path of the package or the host, under the prefix of VG_SYSROOT.
// Every path that reaches a system call has gone through here exactly once.
std::string SysPath(std::string_view absolutePath);
