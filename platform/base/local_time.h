// Times as people read them.
#pragma once

#include <ctime>
#include <string>

// Local time with its zone offset: "2026-11-21T19:07:12+01:00".
std::string LocalTime(std::time_t time);
