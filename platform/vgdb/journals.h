// Journals of commits, beside their databases.
#pragma once

// While one exists, SQLite does not flush the folder of a journal that it has made: for a caller that has flushed it,
// once for all journals in it, after the last of them was made and before the first commit.
class JournalsAreOnDisk {
public:
    JournalsAreOnDisk();
    JournalsAreOnDisk(const JournalsAreOnDisk&) = delete;
    JournalsAreOnDisk& operator=(const JournalsAreOnDisk&) = delete;
    ~JournalsAreOnDisk();
};
