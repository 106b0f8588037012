#include "platform/package/resolution.h"

#include <algorithm>
#include <string_view>

namespace {

struct PictureFormat {
    std::string_view name;  // upper case
    const char* resolution;
};

constexpr PictureFormat kFormats[] = {
    // Analogue video
    {"QCIF", "176x144"},
    {"CIF", "352x288"},
    {"2CIF", "704x288"},
    {"DCIF", "528x384"},
    {"4CIF", "704x576"},
    {"16CIF", "1408x1152"},
    {"D1", "720x576"},
    {"960H", "960x576"},
    // Computer displays
    {"QQVGA", "160x120"},
    {"QVGA", "320x240"},
    {"VGA", "640x480"},
    {"WVGA", "800x480"},
    {"SVGA", "800x600"},
    {"XGA", "1024x768"},
    {"WXGA", "1280x800"},
    {"SXGA", "1280x1024"},
    {"UXGA", "1600x1200"},
    {"WUXGA", "1920x1200"},
    {"QXGA", "2048x1536"},
    {"QSXGA", "2560x2048"},
    {"QUXGA", "3200x2400"},
    // Digital video
    {"240P", "426x240"},
    {"360P", "640x360"},
    {"480P", "720x480"},
    {"576P", "720x576"},
    {"540P", "960x540"},
    {"720P", "1280x720"},
    {"960P", "1280x960"},
    {"1080P", "1920x1080"},
    {"1440P", "2560x1440"},
    {"2160P", "3840x2160"},
    {"HD", "1280x720"},
    {"FHD", "1920x1080"},
    {"QHD", "2560x1440"},
    {"UHD", "3840x2160"},
    {"2K", "2048x1080"},
    {"4K", "3840x2160"},
    {"8K", "7680x4320"},
};

// The character sets of the C library would follow the locale.
constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr char ToUpper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const size_t begin = text.find_first_not_of(kBlanks);
    return begin == std::string_view::npos ? ""
                                           : text.substr(begin, text.find_last_not_of(kBlanks) + 1 - begin);
}

bool IsNumber(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigit);
}

}  // namespace

std::string TextReso2Reso(const std::string& text) {
    if (const size_t cross = text.find_first_of("xX"); cross != std::string::npos) {
        const std::string_view width = Trim(std::string_view(text).substr(0, cross));
        const std::string_view height = Trim(std::string_view(text).substr(cross + 1));
        if (IsNumber(width) && IsNumber(height))
            return std::string(width) + 'x' + std::string(height);
    }
    std::string name(Trim(text));
    std::transform(name.begin(), name.end(), name.begin(), ToUpper);
    for (const PictureFormat& format : kFormats)
        if (name == format.name)
            return format.resolution;
    return text;
}
