// An input taken apart. Inputs are text with a structure of lines, so that a corpus can be read and written by hand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

inline std::string_view AsText(const uint8_t* data, size_t size) {
    return {reinterpret_cast<const char*>(data), size};
}

// A column's text ends at a null character.
inline bool IsColumnText(std::string_view text) { return text.find('\0') == std::string_view::npos; }

// Takes the first line off the text, without its line break.
std::string TakeLine(std::string_view& text);

// The lines of a text with their endings; the last may have none.
std::vector<std::string> WholeLines(std::string_view text);
