// The journal of the host.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// An upgrade, a retry or a restore that has come to its end.
struct JournalEntry {
    std::string message;            // as in the package log
    int status = 0;                 // the exit status
    unsigned long long failed = 0;  // migrations
    std::optional<uint32_t> oldBuild;
};

// Sends one entry where the host has a journal. Waits for nobody, and nothing depends on it.
void SendToJournal(const JournalEntry& entry);
