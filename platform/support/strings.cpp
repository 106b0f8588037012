#include "platform/support/strings.h"

#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

std::string StringPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0)
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
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

std::string JoinStrings(const std::vector<std::string>& parts, std::string_view separator) {
    std::string text;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (i > 0)
            text += separator;
        text += parts[i];
    }
    return text;
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

std::set<int> String2IdSet(std::string_view text) {
    std::set<int> ids;
    for (const std::string& part : SplitString(text, ',')) {
        const size_t begin = part.find_first_not_of(" \t\r\n");
        if (begin == std::string::npos)
            continue;
        const char* const first = part.data() + begin;
        const char* const last = part.data() + part.find_last_not_of(" \t\r\n") + 1;
        int id = 0;
        if (const auto [end, error] = std::from_chars(first, last, id); error == std::errc() && end == last)
            ids.insert(id);
    }
    return ids;
}

std::string IdSet2String(const std::set<int>& ids) {
    std::string text;
    for (const int id : ids) {
        if (!text.empty())
            text += ',';
        text += std::to_string(id);
    }
    return text;
}
