// Another process that upgrades the tree of the test, until it is told to end.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

#include "upgrader/lock.h"

class OtherUpgrade {
public:
    OtherUpgrade() {
        int ready[2];
        EXPECT_EQ(0, pipe(ready));
        m_pid = fork();
        if (m_pid == 0) {
            UpgradeLock lock;
            if (lock.Acquire() && write(ready[1], "x", 1) == 1)
                pause();
            _exit(0);
        }
        char byte = 0;
        EXPECT_EQ(1, read(ready[0], &byte, 1));
        close(ready[0]);
        close(ready[1]);
    }
    ~OtherUpgrade() { Kill(); }
    void Kill() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
    }
    pid_t Pid() const { return m_pid; }

private:
    pid_t m_pid;
};
