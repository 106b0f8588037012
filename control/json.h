// The JSON documents that the commands print.
#pragma once

#include <json/value.h>

#include <string>

// The text of a value on one line, always UTF-8, whatever the strings in it hold: bytes that are none become U+FFFD,
// control characters escapes. Numbers are as short as their value allows.
std::string JsonDocument(const Json::Value& value);

// A number of seconds or milliseconds, as documents have it: three places after the point.
double Rounded(double number);
