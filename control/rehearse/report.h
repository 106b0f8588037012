// The result of `rehearse` and of `diff` as a report for people.
#pragma once

#include <json/value.h>

#include "control/rehearse/document.h"

// `full`: whole rows, and all of them.
Document RehearsalReport(const Json::Value& result, bool full);
Document DiffReport(const Json::Value& result, bool full);
