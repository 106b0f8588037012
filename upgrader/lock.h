// One upgrade at a time on a package tree.
#pragma once

#include <chrono>

#include "upgrader/log.h"

// Held from Acquire() to the end of the object or the death of the process, however it dies. The lock is on
// the package's target folder itself, so that no file of its own is left behind.
class UpgradeLock {
public:
    static constexpr std::chrono::minutes kPatience{10};

    UpgradeLock() = default;
    UpgradeLock(const UpgradeLock&) = delete;
    UpgradeLock& operator=(const UpgradeLock&) = delete;
    ~UpgradeLock();

    // Waits for another upgrade of the same tree, logging which process that is. Returns false (logged) when
    // it still runs after that time. Without a target folder there is nothing to protect, and the answer is
    // true.
    [[nodiscard]] bool Acquire(std::chrono::milliseconds patience = kPatience,
                               LogSite site = LogSite::Here());

    // The process that holds the lock now, 0 when nobody does or the kernel does not tell. Takes nothing and waits
    // for nobody.
    static int Holder();

private:
    int m_folder = -1;
};
