// Settings files that are written back: at once, and collected first. Input: a key, a value, the file.
#include <fstream>
#include <sstream>

#include "fuzz/support/expect.h"
#include "fuzz/support/input.h"
#include "fuzz/support/tree.h"
#include "platform/base/paths.h"
#include "platform/settings/settings_files.h"

namespace {

const std::string kFile(kSettingsConf);

// The file after the change of the key, made at once or collected and applied; what the program reads of it.
std::string After(std::string_view text, const KeyChange& change, bool isCollected, bool& isWritten,
                  std::optional<std::string>& value) {
    const std::string path = FuzzTree::Path(kSettingsConf);
    FuzzTree::Write(path, text);
    SettingsFiles files;
    if (isCollected)
        files.Collect();
    isWritten = files.Write(kFile, {change}) == 0;
    if (isCollected) {
        const std::vector<KeyChange> owed = files.Take();
        Expect(files.Apply(owed) == 0 && files.Apply(owed) == 0,
               "what was collected can be written, and once more");
        files.Stop();
    }
    Expect(files.Find(kFile, change.key, value) == 0,
           "a settings file can be read whatever it holds");
    std::ostringstream after;
    after << std::ifstream(path, std::ios::binary).rdbuf();
    return after.str();
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    FuzzTree::Make();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzTree::EmptyLog();
    std::string_view text = AsText(data, size);
    KeyChange change{kFile, TakeLine(text), TakeLine(text)};
    if (change.value == "-")
        change.value.reset();
    bool isWritten = false, isCollected = false;
    std::optional<std::string> value, valueCollected;
    const std::string after = After(text, change, false, isWritten, value);
    Expect(after == After(text, change, true, isCollected, valueCollected) && value == valueCollected,
           "collected or not is the same");
    Expect(isWritten == isCollected, "with the same result");
    const bool canStand = IsStorableKey(change.key) && (!change.value || IsStorableValue(*change.value));
    Expect(isWritten == canStand || after == text, "what cannot stand in a file is not written");
    if (isWritten && canStand)
        Expect(value == change.value && after == KeyValueText(std::string(text)).With({change}),
               "what was written is read");
    else
        Expect(after == text, "a write that is refused leaves the file");
    return 0;
}
