// A package tree of this fuzz process, under the temporary folder (scripts/fuzz puts that in memory and removes
// it). The package log is emptied now and then.
#pragma once

#include <string>
#include <string_view>

namespace FuzzTree {

// Makes the tree and sets VG_SYSROOT to it. Before anything else.
void Make();

// The real path of a path of the package.
std::string Path(std::string_view absolutePath);

void Write(const std::string& realPath, std::string_view content);

// The same with the main database, from its schema file, in a transaction that is never committed.
void MakeWithMainDatabase();

// Keeps what the package log says about one input from piling up.
void EmptyLog();

}  // namespace FuzzTree
