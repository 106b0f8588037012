#include "platform/base/strings.h"

#include <charconv>
#include <cstdarg>
#include <cstdlib>

#include "platform/base/format.h"

std::string StringPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = VStringPrintf(format, args);
    va_end(args);
    return text;
}

std::vector<std::string> SplitString(std::string_view text, char separator) {
    std::vector<std::string> parts;
    if (text.empty())
        return parts;
    for (size_t begin = 0;;) {
        const size_t end = text.find(separator, begin);
        parts.emplace_back(text.substr(begin, end - begin));
        if (end == std::string_view::npos)
            return parts;
        begin = end + 1;
    }
}

int String2Int(const char* text) { return text ? static_cast<int>(std::strtol(text, nullptr, 10)) : 0; }

std::vector<int> String2IntVector(const std::string& text, const std::string& separator) {
    std::vector<int> values;
    if (separator.size() != 1)
        return values;
    for (const std::string& part : SplitString(text, separator.front()))
        values.push_back(String2Int(part.c_str()));
    return values;
}

std::optional<long long> ParseId(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos)
        return std::nullopt;
    const char* const first = text.data() + begin;
    const char* const last = text.data() + text.find_last_not_of(kBlanks) + 1;
    long long id = 0;
    const auto [end, error] = std::from_chars(first, last, id);
    return error == std::errc() && end == last ? std::optional(id) : std::nullopt;
}

IdSet String2IdSet(std::string_view text) {
    IdSet ids;
    for (const std::string& part : SplitString(text, ','))
        if (const std::optional<long long> id = ParseId(part))
            ids.insert(*id);
    return ids;
}
