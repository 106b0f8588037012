#include "control/secrets.h"

#include <json/value.h>

#include <algorithm>
#include <array>

#include "platform/base/json.h"

namespace {

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }
bool IsWord(char c) { return IsUpper(c) || IsLower(c) || (c >= '0' && c <= '9'); }
char ToLower(char c) { return IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }

std::string ToLower(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return ToLower(c); });
    return lower;
}

// A part begins after a small letter ("apiKey"), and with the last capital before a small letter ("SIDPath").
bool BeginsPart(std::string_view name, size_t i) {
    return i > 0 && IsUpper(name[i]) &&
           (!IsUpper(name[i - 1]) || (i + 1 < name.size() && IsLower(name[i + 1])));
}

bool IsSecretPart(std::string_view part) {
    static constexpr std::array<std::string_view, 9> kParts = {"password", "passwd", "pwd", "pass", "secret",
                                                               "token",    "sid",    "key", "psk"};
    return std::find(kParts.begin(), kParts.end(), ToLower(part)) != kParts.end();
}

// Returns whether anything was masked.
bool MaskMembers(Json::Value& value) {
    bool masked = false;
    if (value.isArray()) {
        for (Json::Value& element : value)
            masked = MaskMembers(element) || masked;
    } else if (value.isObject()) {
        for (const std::string& name : value.getMemberNames()) {
            const bool secret = IsSecretName(name);
            if (secret)
                value[name] = std::string(kMask);
            masked = secret || MaskMembers(value[name]) || masked;
        }
    }
    return masked;
}

}  // namespace

bool IsSecretName(std::string_view name) {
    if (ToLower(name).find("password") != std::string::npos)
        return true;
    size_t begin = 0;
    for (size_t i = 0; i <= name.size(); ++i) {
        const bool ends = i == name.size() || !IsWord(name[i]);
        if (!ends && !BeginsPart(name, i))
            continue;
        if (IsSecretPart(name.substr(begin, i - begin)))
            return true;
        begin = ends ? i + 1 : i;
    }
    return false;
}

std::string MaskedValue(std::string_view name, const std::string& value) {
    if (IsSecretName(name))
        return std::string(kMask);
    Json::Value json;
    const bool isJson = (value.starts_with('{') || value.starts_with('[')) && JsonParse(value, json) == 0;
    return isJson && MaskMembers(json) ? JsonWrite(json) : value;
}
