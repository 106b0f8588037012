// Two values beside each other: what they share folded, where they differ marked.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "control/rehearse/document.h"

// Of flag strings the places that differ, of lists and JSON the words, of other texts what stands between the same
// beginning and end. `folded`: with a few characters of what is the same on each side.
std::pair<std::vector<Run>, std::vector<Run>> Difference(const std::string& before, const std::string& after,
                                                         bool folded);

// The beginning of a long text, with its size.
std::string Shortened(const std::string& text, size_t most);
