// Files of key="value" lines: settings.conf, variable.conf and the like.
//
// Syntax. One key="value" a line; a value may stand without quotes when read; inside quotes a backslash
// escapes a quote or a backslash. Blank lines, lines that begin with # and unknown lines survive every
// rewrite in place, as does each line's own ending (LF or CRLF). Of a repeated key the first holds.
//
// Writing. The writer holds the file's lock, replaces the file as a whole (temporary file in the same folder
// with the old one's mode and owner, flushed, renamed, folder flushed) and changes nothing when there is
// nothing to change. A process killed at any instant leaves the old file or the new one.
// A file that does not exist is created by the first write; it reads as empty.
//
// Paths are real ones: the caller has applied SysPath(). Failures are logged here.
#pragma once

#include <set>
#include <string>

// The value of a key. Returns 1 when the file holds the key, 0 when it does not (value is then left as it
// was), -1 when the file cannot be read. The last argument is reserved.
int VGFileGetVal(const std::string& path, const char* key, std::string& value, bool reserved = false);

// Stores a value; an empty value removes the key. Returns 0 on success, -1 when the key or the value cannot
// stand in such a file (an empty key, a line break) or the file cannot be written. The flags are reserved.
[[nodiscard]] int VGFileSetVal(const std::string& path, const char* key, const char* value,
                               bool reserved1 = false, bool reserved2 = false);

// Removes every given key that is there, in one rewrite. Returns 0 on success, also when none was there or
// there is no file. The last argument is reserved.
[[nodiscard]] int VGFileRemoveKeys(const std::string& path, const std::set<std::string>& keys,
                                   bool reserved = false);
