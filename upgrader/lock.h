// One upgrade at a time on a package tree.
#pragma once

#include <chrono>

#include "platform/files/file_io.h"
#include "upgrader/log.h"

// Held from Acquire() to the end of the object or the death of the process, however it dies. The lock is on
// the package's target folder itself, so that no file of its own is left behind.
class UpgradeLock {
public:
    static constexpr std::chrono::minutes kPatience{10};

    // Waits for another upgrade of the same tree, logging which process that is. Returns false (logged) when
    // it still runs after that time. Without a target folder there is nothing to protect, and the answer is
    // true.
    [[nodiscard]] bool Acquire(std::chrono::milliseconds patience = kPatience,
                               LogSite site = LogSite::Here());

    // The process that holds the lock now, 0 when nobody does or the kernel does not tell. Takes nothing and waits
    // for nobody.
    static int Holder();

private:
    UniqueFd m_folder;
};
