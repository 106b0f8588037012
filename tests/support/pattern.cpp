#include "tests/support/pattern.h"

#include <stdexcept>

Pattern::Pattern(const std::string& expression) {
    if (regcomp(&m_compiled, expression.c_str(), REG_EXTENDED) != 0)
        throw std::invalid_argument("no regular expression: " + expression);
}

bool Pattern::IsIn(const std::string& text) const {
    regmatch_t match;
    return Find(text, 0, match);
}

std::string Pattern::ReplaceIn(const std::string& text, const std::string& with) const {
    std::string result;
    size_t at = 0;
    for (regmatch_t match; at < text.size() && Find(text, at, match) && match.rm_eo > match.rm_so;) {
        result.append(text, at, static_cast<size_t>(match.rm_so) - at).append(with);
        at = static_cast<size_t>(match.rm_eo);
    }
    return result.append(text, at);
}

bool Pattern::Find(const std::string& text, size_t from, regmatch_t& match) const {
    match = {static_cast<regoff_t>(from), static_cast<regoff_t>(text.size())};
    return regexec(&m_compiled, text.c_str(), 1, &match, REG_STARTEND | (from > 0 ? REG_NOTBOL : 0)) == 0;
}
