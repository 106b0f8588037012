// The migrations of this program, declared from registry.def; each is defined in the file of its family under
// migrations/, but for those without a body and the once-only forms, which registry.cpp makes.
//
// A migration takes no arguments, returns 0 or a negative value, logs its own failures and never throws. Its
// name is what the package log knows it by.
#pragma once

namespace migrations {

#define ROW(threshold, function, ...) int function();
#define AGAIN(...)
#define LIBRARY(...)
#define LIBRARY_EMPTY(...)
#include "upgrader/registry.def"

// The work of those under a once-only flag. It bears the migration's name, so that its messages do too.
namespace once {

#define ONCE(threshold, function, ...) int function();
#define ONCE_STAMP(threshold, function, ...) int function();
#include "upgrader/registry.def"

}  // namespace once
}  // namespace migrations
