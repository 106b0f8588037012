#include "control/json.h"

#include <array>
#include <charconv>
#include <cmath>
#include <string_view>

#include "control/text.h"
#include "platform/base/strings.h"

namespace {

void AppendText(std::string_view text, std::string& document) {
    document += '"';
    while (!text.empty()) {
        const Character character = FirstCharacter(text);
        if (character.bytes == 0)
            document += "\xef\xbf\xbd";
        else if (IsControl(character.number))
            document += StringPrintf("\\u%04x", character.number);
        else if (text[0] == '"' || text[0] == '\\')
            (document += '\\') += text[0];
        else
            document += text.substr(0, character.bytes);
        text.remove_prefix(std::max<size_t>(character.bytes, 1));
    }
    document += '"';
}

void AppendReal(double number, std::string& document) {
    std::array<char, 32> digits{};
    const char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    document += std::isfinite(number) ? std::string_view(digits.data(), end) : "null";
}

void Append(const Json::Value& value, std::string& document) {
    const char* begin = nullptr;
    const char* end = nullptr;
    const char* separator = "";
    switch (value.type()) {
        case Json::nullValue:
            document += "null";
            break;
        case Json::booleanValue:
            document += value.asBool() ? "true" : "false";
            break;
        case Json::intValue:
            document += std::to_string(value.asLargestInt());
            break;
        case Json::uintValue:
            document += std::to_string(value.asLargestUInt());
            break;
        case Json::realValue:
            AppendReal(value.asDouble(), document);
            break;
        case Json::stringValue:
            value.getString(&begin, &end);
            AppendText({begin, end}, document);
            break;
        case Json::arrayValue:
            for (const Json::Value& element : value) {
                document += *separator ? separator : "[";
                separator = ",";
                Append(element, document);
            }
            document += *separator ? "]" : "[]";
            break;
        case Json::objectValue:
            for (auto member = value.begin(); member != value.end(); ++member) {
                document += *separator ? separator : "{";
                separator = ",";
                AppendText(member.name(), document);
                document += ':';
                Append(*member, document);
            }
            document += *separator ? "}" : "{}";
            break;
    }
}

}  // namespace

std::string JsonDocument(const Json::Value& value) {
    std::string document;
    Append(value, document);
    return document;
}

double Rounded(double number) { return std::round(number * 1000) / 1000; }
