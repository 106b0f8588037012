// How much `rehearse` and `diff` show: the options that they share.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "control/command.h"
#include "control/rehearse/compare.h"

struct ScopeOptions {
    unsigned samples = 3;
    bool full = false;
    std::string table, id, page;

    void AddTo(std::vector<Option>& options);
    // '', or what makes no sense in them.
    std::string Problem() const;
    CompareScope Scope(bool readOnly) const;
    // Writes the page when one is wanted. '', or what is wrong.
    std::string WritePage(const std::string& html) const;
};
