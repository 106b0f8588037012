#include "fuzz/support/input.h"

std::string TakeLine(std::string_view& text) {
    const size_t end = text.find('\n');
    const std::string line(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::vector<std::string> WholeLines(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        const size_t size = end == std::string_view::npos ? text.size() : end + 1;
        lines.emplace_back(text.substr(0, size));
        text.remove_prefix(size);
    }
    return lines;
}
