#include "platform/vgdb/busy_wait.h"

#include <algorithm>
#include <array>
#include <thread>

#include "platform/base/package_log.h"

using std::chrono::steady_clock;

namespace {

constexpr BusyWait::Milliseconds kShortPatience{100};
constexpr BusyWait::Milliseconds kTellAfter{1000};

// Short at first: most locks are held for the time of a small commit.
constexpr std::array<int, 8> kPausesMs = {1, 2, 5, 10, 15, 20, 25, 50};

// The part of the run: how much time a database has in it, and how much is left for all of them.
struct {
    unsigned number = 0;
    steady_clock::duration each = std::chrono::seconds(10);
    steady_clock::duration left = steady_clock::duration::max();
} g_part;

}  // namespace

void BusyWait::SetPatience(Milliseconds each, Milliseconds together) {
    g_part.number += 1;
    g_part.each = each;
    g_part.left = together == Milliseconds::max() ? steady_clock::duration::max() : together;
}

void BusyWait::Attach(sqlite3* db) {
    sqlite3_busy_handler(
        db, [](void* wait, int count) { return static_cast<BusyWait*>(wait)->Wait(count) ? 1 : 0; }, this);
}

bool BusyWait::Wait(int count) {
    if (m_never)
        return false;
    if (count == 0) {
        if (m_part != g_part.number)
            m_waited = {};
        m_part = g_part.number;
        const steady_clock::duration brief = std::min<steady_clock::duration>(kShortPatience, g_part.each);
        m_patience = std::max(brief, std::min(g_part.each - m_waited, g_part.left));
        m_since = steady_clock::now();
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
    m_waited += nap;
    if (g_part.left != steady_clock::duration::max())
        g_part.left -= std::min(nap, g_part.left);
    return true;
}
