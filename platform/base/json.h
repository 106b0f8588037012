// Reading and writing JSON columns and files; the only code that meets JsonCpp's reader, writer and
// exceptions.
#pragma once

#include <json/value.h>

#include <string>

// Parses a JSON text. Returns 0 on success, -1 when the text is not one JSON value (value is then null).
// Never throws, and refuses a text whose nesting is too deep to walk (more than 100 levels).
//   comments  keep the text's comments in the value
//   strict    nothing stands behind the value
int JsonParse(const std::string& text, Json::Value& value, bool comments = false, bool strict = true);

// The text of a value: on one line without blanks when compact, else indented. Text beyond ASCII stands as it
// is (UTF-8), not as \u escapes. Never throws; a value that cannot be written gives the empty string.
// `digits` is how many of a number with a fraction are written; 17 lose nothing.
std::string JsonWrite(const Json::Value& value, bool compact = true, int digits = 17);
