// A rehearsal as text.
#pragma once

#include <json/value.h>

#include <string>

// From the result of `rehearse`.
std::string RehearsalText(const Json::Value& result);
