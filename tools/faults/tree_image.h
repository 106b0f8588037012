// What a package tree holds, as far as two trees are compared.
//
// Files count by path, kind, mode, owner and content. Databases count by schema and rows, not by bytes; each
// must pass SQLite's integrity check. What does not count at all is in allowed.h. A -journal, -wal or -shm
// file is a file like any other: one that only one tree has is a difference.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

struct FileImage {
    std::string kind;     // kind, mode and owner in words
    std::string content;  // of a plain file or a link; what is wrong with a database that cannot be read
    bool isDatabase = false;
    // A database's facts and rows: "schema" -> the SQL of every object, a table's name -> its rows as text,
    // in the order of the rowid or the primary key.
    std::map<std::string, std::vector<std::string>> tables;

    bool operator==(const FileImage&) const = default;
};

using TreeImage = std::map<std::string, FileImage>;  // by the path below the tree

TreeImage ReadTree(const std::filesystem::path& tree);

// The same of a tree that is to stay as it is: to read a database is to roll its journal back.
TreeImage ReadCopyOf(const std::filesystem::path& tree);

// Databases count by their bytes, too, and files by the time of their last change.
TreeImage ReadExactly(const std::filesystem::path& tree);

// The bytes of a file.
std::string ReadFile(const std::filesystem::path& path);

// The differences for people, a line each; for a file or table that differs the first ones. Empty: the same.
std::vector<std::string> Differences(const TreeImage& expected, const TreeImage& got);
