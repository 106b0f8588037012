// Findings and additions of one kind in one cell.
#pragma once

#include <string>
#include <vector>

// "KIND: NAME" texts, or "KIND NAME" ones with the separator " ": one text a kind, in their order, its names joined
// by commas. Where a table has many columns there, it stands with their number.
std::vector<std::string> GroupedByKind(const std::vector<std::string>& texts, const std::string& separator);
