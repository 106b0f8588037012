#include "platform/base/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <exception>
#include <map>
#include <memory>
#include <sstream>
#include <utility>

namespace {

constexpr int kMaxDepth = 100;

// Making a writer costs more than writing a short value: they are kept.
Json::StreamWriter& WriterOf(bool compact, int digits) {
    static std::map<std::pair<bool, int>, std::unique_ptr<Json::StreamWriter>> writers;
    std::unique_ptr<Json::StreamWriter>& writer = writers[{compact, digits}];
    if (!writer) {
        Json::StreamWriterBuilder builder;
        builder["indentation"] = compact ? "" : "\t";
        builder["emitUTF8"] = true;
        builder["precision"] = digits;
        writer.reset(builder.newStreamWriter());
    }
    return *writer;
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
    try {
        std::ostringstream text;
        WriterOf(compact, digits).write(value, &text);
        return text.str();
    } catch (const std::exception&) {
        return {};
    }
}
