// Files of the programs' own that grow line by line: the package log, the history.
#pragma once

#include <string_view>

// Opens the file at an absolute path of the package for appending. Where nothing stands, it is made, readable to its
// owner's group, with the folders above it: never behind a link that leads nowhere. A link in the file's place is followed only when it is ours (see
// ResolveForWriting). `access` is O_WRONLY or O_RDWR. Returns the descriptor, or -1 and errno. What it opens may be no regular file.
int OpenForAppend(std::string_view absolutePath, int access);
