#include "platform/support/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <memory>

namespace {

constexpr int kMaxDepth = 100;

Json::StreamWriterBuilder MakeBuilder(const char* indentation) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = indentation;
    builder["emitUTF8"] = true;
    return builder;
}

}  // namespace

int JsonParse(const std::string& text, Json::Value& value, bool comments, bool strict) {
    value = Json::Value();
    Json::CharReaderBuilder builder;
    builder["collectComments"] = comments;
    builder["failIfExtra"] = strict;
    builder["stackLimit"] = kMaxDepth;  // JsonCpp throws beyond it
    try {
        const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
        Json::Value parsed;
        if (!reader->parse(text.data(), text.data() + text.size(), &parsed, nullptr))
            return -1;
        value = std::move(parsed);
        return 0;
    } catch (const std::exception&) {
        return -1;
    }
}

std::string JsonWrite(const Json::Value& value, bool compact, int digits) {
    // Making a builder costs more than writing a short value.
    static Json::StreamWriterBuilder compactBuilder = MakeBuilder("");
    static Json::StreamWriterBuilder indentedBuilder = MakeBuilder("\t");
    try {
        compactBuilder["precision"] = indentedBuilder["precision"] = digits;
        return Json::writeString(compact ? compactBuilder : indentedBuilder, value);
    } catch (const std::exception&) {
        return {};
    }
}
