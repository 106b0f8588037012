#include "control/old_build.h"

#include <charconv>
#include <string_view>

#include "platform/base/paths.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"

namespace {

bool ParseDigits(std::string_view text, uint32_t& build) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), build);
    return error == std::errc() && end == text.data() + text.size();
}

// The build of a version, "9.2.9-9760".
bool ParseVersion(std::string_view version, uint32_t& build) {
    const size_t dash = version.rfind('-');
    return dash != std::string_view::npos && ParseDigits(version.substr(dash + 1), build);
}

}  // namespace

std::string FindOldBuild(const std::string& text, const Record::Facts& facts, uint32_t& build) {
    if (!text.empty()) {
        if (ParseDigits(text, build))
            return "";
        const bool offers = ParseVersion(text, build);
        return "Not a build number: " + text +
               (offers ? ". Did you mean " + std::to_string(build) + "?" : "");
    }
    std::string stamp;
    const int found = VGFileGetVal(kSettingsConf, "vg_upgrader_version", stamp);
    if (found < 0)
        return "The settings cannot be read: " + ResolvePath(kSettingsConf);
    if (found > 0)
        return ParseVersion(stamp, build)
                   ? ""
                   : "The stamp of the last upgrade holds no build: [" + stamp + "]. Name OLD-BUILD.";
    if (!facts.oldBuild)
        return "No upgrade has stamped these settings yet: name OLD-BUILD.";
    build = *facts.oldBuild;
    return "";
}
