// The process's file mode creation mask, while one file or folder is made.
#pragma once

#include <sys/stat.h>

class UmaskScope {
public:
    explicit UmaskScope(mode_t mask) : m_before(umask(mask)) {}
    ~UmaskScope() { umask(m_before); }
    UmaskScope(const UmaskScope&) = delete;
    UmaskScope& operator=(const UmaskScope&) = delete;

private:
    const mode_t m_before;
};
