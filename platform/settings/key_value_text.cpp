#include "platform/settings/key_value_text.h"

#include <algorithm>

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trim(std::string_view text) {
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

struct Line {
    std::string_view whole;   // with its ending
    std::string_view ending;  // "\n" or "\r\n"; the last line of a file may have none
    std::string_view key;     // empty for a blank line, a comment and a line without =
    std::string_view value;   // as it stands in the file, quotes and all
};

// Takes the next line off the text. False when there is none left.
bool NextLine(std::string_view& text, Line& line) {
    if (text.empty())
        return false;
    const size_t lineFeed = text.find('\n');
    const size_t size = lineFeed == std::string_view::npos ? text.size() : lineFeed + 1;
    line = {.whole = text.substr(0, size), .ending = {}, .key = {}, .value = {}};
    text.remove_prefix(size);

    std::string_view content = line.whole;
    if (content.ends_with('\n'))
        content.remove_suffix(1);
    if (content.ends_with('\r'))
        content.remove_suffix(1);
    line.ending = line.whole.substr(content.size());

    const size_t equals = content.find('=');
    if (equals != std::string_view::npos && !content.starts_with('#')) {
        line.key = Trim(content.substr(0, equals));
        line.value = Trim(content.substr(equals + 1));
    }
    return true;
}

// The content of a text that is exactly one quoted string.
std::optional<std::string> Unquoted(std::string_view text) {
    if (!text.starts_with('"'))
        return std::nullopt;
    std::string value;
    for (size_t i = 1; i < text.size(); ++i) {
        if (text[i] == '"') {
            if (i + 1 == text.size())
                return value;
            break;
        }
        if (text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == '"' || text[i + 1] == '\\'))
            ++i;
        value += text[i];
    }
    return std::nullopt;
}

// The value that a line holds. Text that is not exactly one quoted string (the closing quote is missing, or
// something follows it) is an unquoted value like any other.
std::string DecodeValue(std::string_view text) { return Unquoted(text).value_or(std::string(text)); }

void AppendPair(std::string& text, std::string_view key, std::string_view value) {
    text.append(key).append("=\"");
    for (const char c : value) {
        if (c == '"' || c == '\\')
            text += '\\';
        text += c;
    }
    text += '"';
}

bool IsControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

}  // namespace

bool IsStorableKey(std::string_view key) {
    return !key.empty() && key.front() != '#' && std::none_of(key.begin(), key.end(), [](char c) {
        return IsControl(c) || c == ' ' || c == '=' || c == '"' || c == '\'';
    });
}

bool IsStorableValue(std::string_view value) {
    return value.find_first_of(std::string_view("\n\r\0", 3)) == std::string_view::npos;
}

std::optional<std::string> FindValue(std::string_view text, std::string_view key) {
    if (!IsStorableKey(key))
        return std::nullopt;
    for (Line line; NextLine(text, line);) {
        if (line.key == key)
            return DecodeValue(line.value);
    }
    return std::nullopt;
}

std::map<std::string, std::string> AllValues(std::string_view text) {
    std::map<std::string, std::string> values;
    for (Line line; NextLine(text, line);) {
        if (IsStorableKey(line.key))
            values.try_emplace(std::string(line.key), DecodeValue(line.value));
    }
    return values;
}

std::string WithValue(std::string_view text, std::string_view key, std::string_view value) {
    std::string result;
    result.reserve(text.size() + key.size() + value.size() + 8);
    bool stands = false;
    std::string_view lineBreak;
    for (Line line; NextLine(text, line);) {
        if (lineBreak.empty())
            lineBreak = line.ending;
        if (line.key != key) {
            result += line.whole;
        } else if (!stands) {
            stands = true;
            if (DecodeValue(line.value) == value) {
                result += line.whole;
            } else {
                AppendPair(result, key, value);
                result += line.ending;
            }
        }
    }
    if (!stands) {
        if (lineBreak != "\r\n")
            lineBreak = "\n";
        if (!result.empty() && !result.ends_with('\n'))
            result += lineBreak;
        AppendPair(result, key, value);
        result += lineBreak;
    }
    return result;
}

std::string WithoutKeys(std::string_view text, const std::set<std::string>& keys) {
    std::string result;
    result.reserve(text.size());
    for (Line line; NextLine(text, line);) {
        if (!keys.contains(std::string(line.key)))
            result += line.whole;
    }
    return result;
}

std::vector<LineProblem> FindLineProblems(std::string_view text) {
    std::vector<LineProblem> problems;
    std::set<std::string> keys;
    size_t number = 0;
    for (Line line; NextLine(text, line);) {
        ++number;
        const std::string_view content = line.whole.substr(0, line.whole.size() - line.ending.size());
        if (Trim(content).empty() || content.starts_with('#'))
            continue;
        if (!IsStorableKey(line.key) || !IsStorableValue(line.value)) {
            problems.push_back({.kind = LineProblem::Kind::NoPair, .line = number, .key = {}});
            continue;
        }
        std::string key(line.key);
        if (line.value.starts_with('"') && !Unquoted(line.value))
            problems.push_back({.kind = LineProblem::Kind::BadValue, .line = number, .key = key});
        if (!keys.insert(key).second)
            problems.push_back({.kind = LineProblem::Kind::Repeated, .line = number, .key = std::move(key)});
    }
    return problems;
}

std::string InWords(const LineProblem& problem) {
    std::string line = "line " + std::to_string(problem.line) + ": ";
    switch (problem.kind) {
        case LineProblem::Kind::NoPair:
            return line + "holds no key with a value";
        case LineProblem::Kind::BadValue:
            return line + "the value of " + problem.key +
                   " has a quote that is not closed, or text behind it";
        case LineProblem::Kind::Repeated:
            return line + problem.key + " stands twice, the first holds";
    }
    return line;
}
