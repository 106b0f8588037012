// Files of key="value" lines: settings.conf, variable.conf and the like.
//
// Syntax. One key="value" a line; a value may stand without quotes when read; inside quotes a backslash
// escapes a quote or a backslash. Blanks around the key and around the value do not count. Blank lines, lines
// that begin with # and unknown lines survive every rewrite in place, as does each line's own ending (LF or
// CRLF). Of a repeated key the first holds, and a write of the key leaves one.
//
// A key is not empty, does not begin with # and has no blanks, quotes, = or control characters; a value has
// no line break (LF or CR) and no NUL. No file holds another key; another key or value is not written.
//
// A file that does not exist is created by the first write, with mode 0644; it reads as empty. Its folder is
// not created. A write changes nothing when there is nothing to change; how it changes a file, and when keys are
// collected instead, is told in settings_files.h. A process killed at any instant leaves the old file or the new one.
//
// Where the disk fails for a moment, a read or a write is tried once more. Paths are absolute paths of the package,
// which the library resolves. Failures are logged here, never with a value.
#pragma once

#include <set>
#include <string>
#include <string_view>

// The value of a key. Returns 1 when the file holds the key, 0 when it does not (value is then left as it
// was), -1 when the file cannot be read. The last argument is reserved.
int VGFileGetVal(std::string_view path, const char* key, std::string& value, bool reserved = false);

// Stores a value; an empty value removes the key. Returns 0 on success, -1 when the key or the value cannot
// stand in such a file or the file cannot be written. The flags are reserved.
[[nodiscard]] int VGFileSetVal(std::string_view path, const char* key, const char* value,
                               bool reserved1 = false, bool reserved2 = false);

// As VGFileSetVal, but an empty value is stored as such.
[[nodiscard]] int VGFileStoreVal(std::string_view path, const char* key, const std::string& value);

// Removes every given key that is there, in one rewrite. Returns 0 on success, also when none was there or
// there is no file. The last argument is reserved.
[[nodiscard]] int VGFileRemoveKeys(std::string_view path, const std::set<std::string>& keys,
                                   bool reserved = false);
