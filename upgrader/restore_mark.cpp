#include "upgrader/restore_mark.h"

#include "platform/base/paths.h"
#include "platform/files/file_io.h"

int FindUnfinishedRestore(std::string& name) {
    const int found = ReadWholeFile(ResolvePath(kRestoreMark), name);
    while (!name.empty() && name.back() == '\n')
        name.pop_back();
    return found;
}
