#include "platform/vgdb/busy_wait.h"

#include <algorithm>
#include <array>
#include <thread>

#include "platform/base/library_log.h"

using std::chrono::steady_clock;

namespace {

constexpr BusyWait::Milliseconds kShortPatience{100};
constexpr BusyWait::Milliseconds kTellAfter{1000};

// Short at first: most locks are held for the time of a small commit.
constexpr std::array<int, 8> kPausesMs = {1, 2, 5, 10, 15, 20, 25, 50};

BusyWait::Milliseconds g_each{10'000};
BusyWait::Milliseconds g_together = BusyWait::Milliseconds::max();
steady_clock::duration g_waited{0};  // by all connections

}  // namespace

void BusyWait::SetPatience(Milliseconds each, Milliseconds together) {
    g_each = each;
    g_together = together;
    g_waited = {};
}

void BusyWait::Attach(sqlite3* db) {
    sqlite3_busy_handler(
        db, [](void* wait, int count) { return static_cast<BusyWait*>(wait)->Wait(count) ? 1 : 0; }, this);
}

void BusyWait::NoteResult(int code) {
    const bool busy = (code & 0xff) == SQLITE_BUSY;
    // Who keeps readers out keeps writers out; who lets a writer in is not there.
    if (!m_write || !busy)
        m_heldForReaders = busy;
    if (m_write || busy)
        m_heldForWriters = busy;
}

BusyWait::Milliseconds BusyWait::Patience() const {
    if (m_own)
        return *m_own;
    if (m_write ? m_heldForWriters : m_heldForReaders)
        return std::min(kShortPatience, g_each);
    const auto left = g_together - std::chrono::duration_cast<Milliseconds>(g_waited);
    return std::min(g_each, std::max(left, kShortPatience));
}

bool BusyWait::Wait(int count) {
    if (count == 0) {
        m_since = steady_clock::now();
        m_patience = Patience();
        m_told = false;
    }
    const steady_clock::duration waited = steady_clock::now() - m_since;
    if (waited >= m_patience)
        return false;
    if (!m_told && waited >= kTellAfter) {
        LibraryLog(__LINE__, "Execute", "Waiting for %s, which another process holds.\n", m_path.c_str());
        m_told = true;
    }
    const size_t pause = std::min(static_cast<size_t>(count), kPausesMs.size() - 1);
    const steady_clock::duration nap =
        std::min<steady_clock::duration>(Milliseconds(kPausesMs[pause]), m_patience - waited);
    std::this_thread::sleep_for(nap);
    if (!m_own)
        g_waited += nap;
    return true;
}
