#include "platform/package/notification/group_schedule.h"

#include <charconv>
#include <vector>

#include "platform/base/strings.h"

namespace {

bool ParseWord(const std::string& text, uint32_t& word) {
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, word, 16);
    return text.size() <= 8 && error == std::errc() && end == last;
}

}  // namespace

int NotifySchedule::LoadScheduleFromString(const std::string& text, SlotConverter converter) {
    const std::vector<std::string> words = SplitString(text, ',');
    Slots slots;
    if (words.size() != slots.size())
        return -1;
    for (size_t i = 0; i < slots.size(); ++i) {
        uint32_t word = 0;
        if (!ParseWord(words[i], word))
            return -1;
        slots[i] = converter(word);
    }
    m_slots = slots;
    return 0;
}

std::string NotifySchedule::GetStringFromSchedule() const {
    std::vector<std::string> words;
    for (const uint32_t slot : m_slots)
        words.push_back(StringPrintf("%08X", slot));
    return JoinStrings(words, ",");
}
