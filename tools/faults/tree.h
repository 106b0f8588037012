// What a package tree holds, as far as two trees are compared.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

// Facts by their name: "PATH" -> kind, mode and owner; "PATH content" -> a file's bytes, or a link's target; of a
// database in its place "PATH schema" -> the SQL of every object, "PATH table NAME" -> its rows as text, a line each,
// in the order of the rowid or the primary key, and what SQLite says of its integrity and journal mode. The package
// log, the history and the times of a run do not count. Journals count as any file: one that only one tree has is a
// difference.
using Tree = std::map<std::string, std::string>;

Tree ReadTree(const std::filesystem::path& tree);

// The same of a tree that is to stay as it is: to read a database is to roll its journal back.
Tree ReadCopyOf(const std::filesystem::path& tree);

// Databases count by their bytes, and files by the time of their last change.
Tree ReadExactly(const std::filesystem::path& tree);

// The differences for people, a line each; of a file or table the first ones. Empty: the same.
std::vector<std::string> Differences(const Tree& expected, const Tree& got);

// Lines in another order are the same.
std::string Sorted(const std::string& lines);

std::string ReadFile(const std::filesystem::path& path);

// With owners and times.
void CopyTree(const std::filesystem::path& from, const std::filesystem::path& to);

// Below the tree.
inline constexpr const char* kEtc = "var/packages/Vigilo/etc";
inline constexpr const char* kTarget = "var/packages/Vigilo/target";
inline constexpr const char* kHistory = "var/log/vigilo/vgupgrader.history.jsonl";
inline constexpr const char* kPackageLog = "var/log/vigilo/vgupgrader.log";
inline constexpr const char* kSettingsConf = "var/packages/Vigilo/etc/settings.conf";
inline constexpr const char* kMainDatabase = "var/packages/Vigilo/target/system.db";
inline constexpr const char* kLogDatabase = "var/packages/Vigilo/target/@vigilo/log.db";

// What the programs keep of an upgrade that is not finished, in the main database.
inline constexpr const char* kRecord = "var/packages/Vigilo/target/system.db table vgupgrader_record";
