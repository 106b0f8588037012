#include "control/names_text.h"

#include <cstddef>

#include "platform/base/strings.h"

namespace {

constexpr size_t kManyColumns = 12;

std::string TableOf(const std::string& column) { return column.substr(0, column.find('.') + 1); }

std::string InShort(const std::vector<std::string>& names) {
    std::vector<std::string> shown;
    for (size_t begin = 0, end = 0; begin < names.size(); begin = end) {
        const std::string table = TableOf(names[begin]);
        for (end = begin + 1; end < names.size() && !table.empty() && TableOf(names[end]) == table;)
            ++end;
        if (end - begin > kManyColumns)
            shown.push_back(table + "* (" + std::to_string(end - begin) + ")");
        else
            shown.insert(shown.end(), names.begin() + static_cast<std::ptrdiff_t>(begin),
                         names.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return JoinStrings(shown, ", ");
}

}  // namespace

std::vector<std::string> GroupedByKind(const std::vector<std::string>& texts, const std::string& separator) {
    std::vector<std::string> grouped, names;
    std::string kind;
    const auto end = [&] {
        if (!names.empty())
            grouped.push_back(kind + InShort(names));
        names.clear();
    };
    for (const std::string& text : texts) {
        const size_t at = text.find(separator);
        const size_t size = at == std::string::npos ? 0 : at + separator.size();
        if (size == 0 || text.substr(0, size) != kind)
            end();
        kind = text.substr(0, size);
        if (size > 0)
            names.push_back(text.substr(size));
        else
            grouped.push_back(text);
    }
    end();
    return grouped;
}
