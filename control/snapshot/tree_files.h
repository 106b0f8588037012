// The files that an upgrade can change in place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct TreeFile {
    std::string path;  // of the package; the file need not be there
    std::string realPath;
    bool isDatabase = false;
};

// The 17 databases, the .conf files of the package's etc, variable.conf; the settings files that the programs know
// also where they are not there. Returns 0; -1 with the reason in `problem`.
[[nodiscard]] int ListTreeFiles(std::vector<TreeFile>& files, std::string& problem);

// Whether a file of that path can be one of them, or belong to one of the databases.
bool IsTreeFile(std::string_view path);

// Whether such a file can stand somewhere below the folder of that path.
bool IsFolderOfTreeFiles(std::string_view path);

// The real path of such a file, which is about to be replaced; '' with errno when a link of somebody else's stands
// there (see ResolveForWriting). What belongs to a database stands where the file is that a link to it leads to.
std::string RealPathOfTreeFile(const std::string& path);

// The paths of the 17 databases.
std::vector<std::string> DatabasePaths();

// The databases' real paths.
std::vector<std::string> DatabasesOf(const std::vector<TreeFile>& files);
