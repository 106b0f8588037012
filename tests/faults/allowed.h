// Differences that are right: where a run with a full or failing disk was complete, and the upgrade after it
// is by its rules another upgrade, not the rest of the first.
#pragma once

#include <string>

// `fault` as in Point, `difference` as Differences() words it.
bool IsAllowed(const std::string& fault, const std::string& difference);
