#include "platform/base/local_time.h"

#include <array>

std::string LocalTime(std::time_t time) {
    std::tm local{};
    localtime_r(&time, &local);
    std::array<char, 40> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S%z", &local);
    std::string stamp = text.data();
    stamp.insert(stamp.size() - 2, ":");  // +0800 -> +08:00
    return stamp;
}
