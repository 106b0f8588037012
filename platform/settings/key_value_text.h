// The text of a key=value file: the one parser on which reading, setting and removing stand. What a line
// looks like is told in key_value_file.h. Nothing here touches the disk; the time taken is linear.
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

struct KeyChange {
    std::string file;  // by its path of the package
    std::string key;
    std::optional<std::string> value;  // none: removed
};

// A key that a file can hold: not empty, not beginning with #, without blanks, quotes, = and control
// characters.
bool IsStorableKey(std::string_view key);

// A value that a file can hold: on one line and without NUL.
bool IsStorableValue(std::string_view value);

// A text that is read once and asked often.
class KeyValueText {
public:
    explicit KeyValueText(std::string text = "");
    KeyValueText(const KeyValueText&) = delete;
    KeyValueText& operator=(const KeyValueText&) = delete;

    const std::string& Text() const { return m_text; }

    // The value of the first line that holds the key.
    std::optional<std::string> Find(std::string_view key) const;

    // Every key with the value that Find gives for it.
    std::map<std::string, std::string> All() const;

    // Whether the change would leave the text as it is.
    bool Has(const KeyChange& change) const;

    // The text after the changes of storable keys and values, of which the last of a key holds. A new value stands in
    // place of the first line with the key, or at the end when there is none; further lines with the key go. Every
    // other line stays as it is, and so does the first when it holds the value already.
    std::string With(const std::vector<KeyChange>& changes) const;

private:
    struct Held {
        std::string_view value;  // as it stands in the text
        bool isRepeated = false;
    };

    std::string m_text;
    std::unordered_map<std::string_view, Held> m_keys;
};

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

// The line, without its ending, that holds the value.
std::string KeyValueLine(std::string_view key, std::string_view value);
