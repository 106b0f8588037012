// A rehearsal as one page that stands alone.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

// From the result of `rehearse`: no script, nothing that is fetched, readable on a phone and in a dark theme.
std::string RehearsePage(const Json::Value& result);

// A value of a sample in words: "NULL", a text as it is, a blob as its first bytes.
std::string ValueInWords(const Json::Value& value);

// The columns that a sample is about: those that changed; all of a row that came or went.
std::vector<std::string> ShownColumns(const Json::Value& columns, const Json::Value& sample);
