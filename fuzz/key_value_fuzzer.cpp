// Reading and editing the text of a key=value file. Input: a key, a value, the text.
#include <algorithm>

#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "platform/settings/key_value_text.h"

namespace {

// Whether the lines are lines of the text, in its order.
bool AreLinesOf(const std::vector<std::string>& lines, const std::vector<std::string>& text) {
    auto next = text.begin();
    for (const std::string& line : lines) {
        next = std::find(next, text.end(), line);
        if (next == text.end())
            return false;
        ++next;
    }
    return true;
}

// Whether the text with one line left out is made of lines of the other text. Its last line may have got the
// line break that it lacked.
bool DiffersInOneLine(const std::string& edited, const std::string& text) {
    const std::vector<std::string> before = WholeLines(text);
    std::vector<std::string> after = WholeLines(edited);
    for (size_t i = 0; i < after.size(); ++i) {
        std::vector<std::string> rest = after;
        rest.erase(rest.begin() + static_cast<std::ptrdiff_t>(i));
        if (AreLinesOf(rest, before))
            return true;
        std::vector<std::string> ended = before;
        for (const char* const lineBreak : {"\n", "\r\n"}) {
            ended.back() = before.back() + lineBreak;
            if (AreLinesOf(rest, ended))
                return true;
        }
    }
    return false;
}

std::map<std::string, std::string> Without(std::map<std::string, std::string> values,
                                           const std::string& key) {
    values.erase(key);
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input = AsText(data, size);
    const std::string key = TakeLine(input);
    const std::string value = TakeLine(input);
    const std::string text(input);

    const KeyValueText file(text);
    const std::map<std::string, std::string> values = file.All();
    for (const auto& [name, held] : values)
        Expect(file.Find(name) == held, "all values are those that are found");
    for (const LineProblem& problem : FindLineProblems(text))
        Expect(!InWords(problem).empty() && problem.line > 0, "a problem has words and a line");
    if (!IsStorableKey(key)) {
        Expect(!file.Find(key), "a key that cannot be stored has no value");
        return 0;
    }

    const KeyChange removal{.file = {}, .key = key, .value = std::nullopt};
    const std::string less = file.With({removal});
    Expect(KeyValueText(less).Has(removal), "a key that was removed is gone");
    Expect(KeyValueText(less).All() == Without(values, key), "removing leaves the other keys");
    Expect(AreLinesOf(WholeLines(less), WholeLines(text)), "removing leaves lines as they are");
    if (!values.contains(key))
        Expect(less == text, "removing what is not there changes nothing");

    if (!IsStorableValue(value))
        return 0;
    const KeyChange change{.file = {}, .key = key, .value = value};
    const std::string edited = file.With({change});
    Expect(file.Has(change) == (edited == text), "what is there already is known");
    const KeyValueText again(edited);
    Expect(again.Find(key) == value, "a value that was set reads back");
    Expect(again.With({change}) == edited, "setting it again changes nothing");
    Expect(Without(again.All(), key) == Without(values, key), "setting leaves the other keys");
    Expect(DiffersInOneLine(edited, text), "setting changes one line");
    return 0;
}
