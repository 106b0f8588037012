// Which migrations have failed, for those that need them (see NEEDS in registry.def).
#pragma once

#include <initializer_list>
#include <set>

#include "upgrader/log.h"

namespace Needs {

// Begins a list of migrations; `failed` are the numbers of those that an earlier upgrade notes as failed.
void Begin(std::set<int> failed);

// The migration that is called next, and how its call has ended.
void Calling(int number);
void Ended(bool failed);

// Whether none of the functions, in its places before the migration that is called, has failed. Logged when one has,
// under the caller's name.
bool AreMet(std::initializer_list<int (*)()> needed, LogSite site = LogSite::Here());

}  // namespace Needs
