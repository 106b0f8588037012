#include "platform/base/first_change.h"

#include <utility>

namespace {

std::function<void()> g_listener;

}  // namespace

void OnFirstChange(std::function<void()> listener) { g_listener = std::move(listener); }

void AnnounceChange() {
    if (const auto listener = std::exchange(g_listener, nullptr))
        listener();
}

bool IsFirstChangeAwaited() { return static_cast<bool>(g_listener); }
