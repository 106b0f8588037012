// Regular expressions of the C library: what includes <regex> is compiled for seconds longer.
#pragma once

#include <regex.h>

#include <string>

// A POSIX extended expression; throws std::invalid_argument for what is none.
class Pattern {
public:
    explicit Pattern(const std::string& expression);
    ~Pattern() { regfree(&m_compiled); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    bool IsIn(const std::string& text) const;
    std::string ReplaceIn(const std::string& text, const std::string& with) const;

private:
    // Looks from an offset on; false: it is not there.
    bool Find(const std::string& text, size_t from, regmatch_t& match) const;

    regex_t m_compiled;
};
