// Text helpers that the package's libraries and programs share.
#pragma once

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

// printf into a string.
std::string StringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

// The parts of a text between separators. An empty text has no parts; "1,,2" has three, "1," has two.
std::vector<std::string> SplitString(std::string_view text, char separator);

// The texts or integers of a container, in its order, with the separator between them.
template <class Parts>
std::string JoinStrings(const Parts& parts, std::string_view separator) {
    std::string text;
    bool first = true;
    for (const auto& part : parts) {
        if (!std::exchange(first, false))
            text += separator;
        if constexpr (std::is_integral_v<std::remove_cvref_t<decltype(part)>>)
            text += std::to_string(part);
        else
            text += part;
    }
    return text;
}

// A field or argument that may be absent, read as the empty text then.
inline const char* OrEmpty(const char* text) { return text ? text : ""; }

// A 32-bit integer as the platform reads one: base 10, leading blanks and a sign allowed, whatever follows
// the digits ignored; 0 when there are no digits or the pointer is null. Beyond 64 bits the value saturates,
// beyond 32 bits the low 32 bits are kept.
int String2Int(const char* text);

// The integers of a separated text, one a part, each read by String2Int (a part without digits gives 0).
std::vector<int> String2IntVector(const std::string& text, const std::string& separator);

// The whole number in the text, blanks around it aside; nothing when it is no decimal number within 64 bits.
std::optional<long long> ParseId(std::string_view text);

// An id list (decimal ids joined by ",") as a set; JoinStrings(ids, ",") is its text again. Parts that are no ids are
// left out.
using IdSet = std::set<long long>;
IdSet String2IdSet(std::string_view text);
