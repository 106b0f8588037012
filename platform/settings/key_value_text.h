// The text of a key=value file: the one parser on which reading, setting and removing stand. What a line
// looks like is told in key_value_file.h. Nothing here touches the disk; the time taken is linear.
#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// A key that a file can hold: not empty, not beginning with #, without blanks, quotes, = and control
// characters.
bool IsStorableKey(std::string_view key);

// A value that a file can hold: on one line and without NUL.
bool IsStorableValue(std::string_view value);

// The value of the first line that holds the key.
std::optional<std::string> FindValue(std::string_view text, std::string_view key);

// Every key with the value that FindValue gives for it.
std::map<std::string, std::string> AllValues(std::string_view text);

// The text with the key holding the value: in place of the first line with the key, at the end when there is
// none. Further lines with the key go; every other line stays as it is, and so does the first when it holds
// the value already. Key and value are storable ones.
std::string WithValue(std::string_view text, std::string_view key, std::string_view value);

// The text without the lines that hold one of the keys.
std::string WithoutKeys(std::string_view text, const std::set<std::string>& keys);

// What is wrong with a line of such a file, for those who check it.
struct LineProblem {
    enum class Kind {
        NoPair,    // neither blank, nor a comment, nor a key with a value
        BadValue,  // begins with a quote, but is not one quoted text: it is read as it stands, quotes and all
        Repeated   // an earlier line holds the key, and only that one counts
    };
    Kind kind;
    size_t line;      // the first is 1
    std::string key;  // empty for NoPair
};
std::vector<LineProblem> FindLineProblems(std::string_view text);

// "line 3: holds no key with a value"; never with a value.
std::string InWords(const LineProblem& problem);
