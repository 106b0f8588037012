#include "control/secrets.h"

#include <algorithm>
#include <iterator>
#include <utility>

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

bool ContainsSecretWord(std::string_view name) {
    static constexpr std::string_view kWords[] = {"password", "passwd", "passphrase", "secret",
                                                  "token",    "apikey", "credential", "session"};
    const std::string lower = ToLower(name);
    return std::any_of(std::begin(kWords), std::end(kWords),
                       [&lower](std::string_view word) { return lower.find(word) != std::string::npos; });
}

bool IsSecretPart(std::string_view part) {
    static constexpr std::string_view kEnds[] = {"pwd", "pass", "sid", "key", "psk"};
    const std::string lower = ToLower(part.substr(0, part.find_last_not_of("0123456789") + 1));
    return std::any_of(std::begin(kEnds), std::end(kEnds),
                       [&lower](std::string_view end) { return lower.ends_with(end); });
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
    } else if (value.isString()) {
        const std::string text = value.asString();
        if (std::string shown = MaskedValue("", text); shown != text) {
            value = std::move(shown);
            masked = true;
        }
    }
    return masked;
}

// How many bytes of a text that begins behind "://" are the user information; 0 when there is none. A password may
// hold a slash that should have been written otherwise: what stands behind the colon then is no port.
size_t UserBytes(std::string_view rest) {
    rest = rest.substr(0, rest.find_first_of(" \t\r\n\"'<>"));
    const std::string_view authority = rest.substr(0, rest.find_first_of("/?#"));
    if (const size_t at = authority.rfind('@'); at != std::string_view::npos)
        return at;
    const size_t colon = authority.find(':');
    const bool isHost = colon == std::string_view::npos || authority.starts_with('[') ||
                        authority.find_first_not_of("0123456789", colon + 1) == std::string_view::npos;
    const size_t at = rest.rfind('@');
    return isHost || at == std::string_view::npos ? 0 : at;
}

}  // namespace

bool IsSecretName(std::string_view name) {
    if (ContainsSecretWord(name))
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

std::string WithoutUsersOfUrls(std::string_view text) {
    std::string shown;
    for (size_t begin; (begin = text.find("://")) != std::string_view::npos;) {
        shown += text.substr(0, begin + 3);
        text.remove_prefix(begin + 3);
        if (const size_t user = UserBytes(text); user > 0) {
            shown += kMask;
            text.remove_prefix(user);
        }
    }
    return shown += text;
}

std::string MaskedValue(std::string_view name, const std::string& value) {
    if (IsSecretName(name))
        return std::string(kMask);
    const size_t begin = value.find_first_not_of(" \t\r\n");
    const bool mayBeJson = begin != std::string::npos && (value[begin] == '{' || value[begin] == '[');
    Json::Value json;
    if (mayBeJson && JsonParse(value, json) == 0)
        return MaskMembers(json) ? JsonWrite(json) : value;
    return WithoutUsersOfUrls(value);
}

void MaskUrls(Json::Value& value) {
    if (value.isString()) {
        const std::string text = value.asString();
        if (text.find("://") != std::string::npos)
            value = WithoutUsersOfUrls(text);
    } else if (value.isArray() || value.isObject()) {
        for (Json::Value& one : value)
            MaskUrls(one);
    }
}
