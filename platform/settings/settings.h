// The package's settings file, settings.conf.
#pragma once

#include <string>

// Whether settings.conf holds the key, whatever its value: 1 when it does, 0 when it does not, -1 when the file
// cannot be read. A guard of work that must not be done twice asks this one.
[[nodiscard]] int FindSetting(const char* key);

// For those who may not care: true when settings.conf holds the key; false also when the file cannot be read.
bool IsSettingConfKeyExist(const char* key);

// Copies the value of the key, or the default when the key is absent, into the buffer and ends it with NUL.
// Returns 0 on success, -1 when the file is there but cannot be read or the value does not fit the buffer
// (which then holds the empty string).
int GetSettingsConfValue(const char* key, const char* defaultValue, char* buffer, int size);

// Adds or replaces the key; an empty value is stored as such. Returns 0 when the value is on disk.
int SetSettingConfValue(const char* key, const std::string& value);

// A boolean setting: true for "true", "yes", "on" or "1" in any case, false for any other value, the default
// when the key is absent. The last argument is reserved.
bool IsSettingEnabled(const char* key, bool defaultValue, bool reserved = false);

// Writes a boolean setting. Returns 0 when the value is on disk. The last argument is reserved.
int SetSettingEnabled(const char* key, bool value, bool reserved = false);

// The text of a boolean value: "true" or "false".
std::string Bool2String(bool value);

// The package version that this build is part of.
extern const char* const kBuiltVersion;

// The version of the installed package ("9.2.9-9760"): the key "version" of package.conf, or the version compiled in
// when the file does not tell. Returns 0; -1 (logged) when the file cannot be read.
[[nodiscard]] int FindVGPkgVersion(std::string& version);

// The same for those who only show it, without the build number when withBuild is false; the version compiled in also
// when the file cannot be read.
std::string GetVGPkgVersion(bool withBuild);
