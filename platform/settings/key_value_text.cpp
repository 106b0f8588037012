#include "platform/settings/key_value_text.h"

#include <algorithm>
#include <set>
#include <utility>

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

std::string KeyValueLine(std::string_view key, std::string_view value) {
    std::string line(key);
    line += "=\"";
    for (const char c : value) {
        if (c == '"' || c == '\\')
            line += '\\';
        line += c;
    }
    return line += '"';
}

KeyValueText::KeyValueText(std::string text) : m_text(std::move(text)) {
    std::string_view rest = m_text;
    for (Line line; NextLine(rest, line);) {
        if (!IsStorableKey(line.key))
            continue;
        const auto [held, isNew] = m_keys.try_emplace(line.key, Held{.value = line.value});
        held->second.isRepeated = held->second.isRepeated || !isNew;
    }
}

std::optional<std::string> KeyValueText::Find(std::string_view key) const {
    const auto held = m_keys.find(key);
    if (held == m_keys.end())
        return std::nullopt;
    return DecodeValue(held->second.value);
}

std::map<std::string, std::string> KeyValueText::All() const {
    std::map<std::string, std::string> values;
    for (const auto& [key, held] : m_keys)
        values.emplace(key, DecodeValue(held.value));
    return values;
}

bool KeyValueText::Has(const KeyChange& change) const {
    const auto held = m_keys.find(change.key);
    if (held == m_keys.end() || !change.value)
        return held == m_keys.end() && !change.value;
    return !held->second.isRepeated && DecodeValue(held->second.value) == *change.value;
}

std::string KeyValueText::With(const std::vector<KeyChange>& changes) const {
    struct Wanted {
        const std::optional<std::string>* value;
        bool stands = false;
    };
    std::unordered_map<std::string_view, Wanted> wanted;
    size_t room = m_text.size();
    for (const KeyChange& change : changes) {
        wanted[change.key].value = &change.value;
        room += change.key.size() + change.value.value_or("").size() + 8;
    }
    std::string result;
    result.reserve(room);
    std::string_view lineBreak;
    std::string_view rest = m_text;
    for (Line line; NextLine(rest, line);) {
        if (lineBreak.empty())
            lineBreak = line.ending;
        const auto change = wanted.find(line.key);
        if (change == wanted.end()) {
            result += line.whole;
            continue;
        }
        const std::optional<std::string>& value = *change->second.value;
        if (!value || std::exchange(change->second.stands, true))
            continue;
        if (DecodeValue(line.value) == *value)
            result += line.whole;
        else
            result.append(KeyValueLine(line.key, *value)).append(line.ending);
    }
    if (lineBreak != "\r\n")
        lineBreak = "\n";
    for (const KeyChange& change : changes) {
        Wanted& one = wanted.at(change.key);
        if (!*one.value || std::exchange(one.stands, true))
            continue;
        if (!result.empty() && !result.ends_with('\n'))
            result += lineBreak;
        result.append(KeyValueLine(change.key, **one.value)).append(lineBreak);
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
