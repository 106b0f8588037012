// The schedule string of a notification group.
#pragma once

#include <array>
#include <cstdint>
#include <string>

// One week of half hours, day 0 slot 0 first. A slot is a word of 32 bits: bit k tells whether the k-th type
// of the group, in ascending type order, is on. A group's types after its 32nd have no bit.
class NotifySchedule {
public:
    static constexpr int kDays = 7;
    static constexpr int kSlotsPerDay = 48;
    static constexpr int kTypesPerWord = 32;
    using Slots = std::array<uint32_t, kDays * kSlotsPerDay>;

    // Changes the value of one slot while a string is loaded; strings of other builds may give the bits
    // another meaning.
    using SlotConverter = uint32_t (*)(uint32_t);

    // Takes over a string of 336 comma-separated hexadecimal words of 1 to 8 digits. Returns 0 on success; -1
    // for any other text, and the schedule is then as it was.
    [[nodiscard]] int LoadScheduleFromString(const std::string& text, SlotConverter converter);

    // The string with words of 8 upper-case digits.
    std::string GetStringFromSchedule() const;

    const Slots& GetSlots() const { return m_slots; }
    Slots& GetSlots() { return m_slots; }

private:
    Slots m_slots{};
};
