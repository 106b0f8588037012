#include "tools/faults/allowed.h"

#include <algorithm>
#include <sstream>

namespace {

void SortLines(std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    std::sort(lines.begin(), lines.end());
    text.clear();
    for (const std::string& line : lines)
        text += line + '\n';
}

// A row begins with its id: "id=5, log_type=...".
void SortWithoutId(std::vector<std::string>& rows) {
    for (std::string& row : rows)
        row.erase(0, row.find(", "));
    std::sort(rows.begin(), rows.end());
}

}  // namespace

TreeImage WithoutOrder(TreeImage image) {
    SortLines(image["var/packages/Vigilo/etc/settings.conf"].content);
    SortWithoutId(image["var/packages/Vigilo/target/@vigilo/log.db"].tables["table log"]);
    return image;
}
