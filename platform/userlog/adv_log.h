// The advanced log: statements that bring its tables to this build.
#pragma once

#include <string>

// Adds the advanced log types that this build brings. Which they are is not settled: ''.
std::string GetAdvLogInsertSql();

// Deletes the advanced log types that no build writes any more. Which they are is not settled: ''.
std::string GetAbandonAdvLogDelSql();
