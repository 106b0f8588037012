#include "tools/faults/trial.h"

#include <sqlite3.h>

#include <condition_variable>
#include <csignal>
#include <cstring>
#include <fstream>
#include <mutex>
#include <thread>

#include "tests/support/pattern.h"

namespace fs = std::filesystem;

namespace {

const ProcessEnd kKilled{ProcessEnd::How::Killed, SIGKILL};

constexpr const char* kModes[] = {"", "trace", "kill", "tear", "stop", "fail", "grow", "power cut"};
constexpr const char* kWhich[] = {"",      "what needs space", "writes",    "changes", "changes of names",
                                  "reads", "changes of rows",  "statements"};

std::string Describe(const Point& point) {
    const Fault& fault = point.fault;
    std::string text = kModes[static_cast<int>(fault.mode)];
    if (fault.error)
        text += std::string(" ") + strerrorname_np(fault.error);
    if (fault.at > 0)
        text += " at call " + std::to_string(fault.at) + " " + point.call;
    if (fault.which != Which::None)
        text += std::string(", then all ") + kWhich[static_cast<int>(fault.which)];
    if (fault.path != "-")
        text += " below " + fault.path;
    if (fault.during >= 0)
        text += " of migration " + std::to_string(fault.during);
    if (fault.times > 0)
        text += ", " + std::to_string(fault.times) + " in all";
    if (point.guest)
        text += std::string(point.guest->isWriter ? ", a writer of " : ", a reader of ") +
                point.guest->database +
                (point.guest->seconds > 0 ? " for " + std::to_string(point.guest->seconds) + " s"
                                          : " that stays");
    if (point.page > 0)
        text += "page " + std::to_string(point.page) + " of " + point.damaged + " damaged";
    return text;
}

// Somebody who takes a database when told, and leaves it after a while or at the latest with this object.
class Visit {
public:
    Visit(const fs::path& tree, const Guest& guest, size_t haste)
        : m_database(tree / guest.database),
          m_guest(guest),
          m_stay(guest.seconds / static_cast<double>(haste)) {}
    ~Visit() {
        m_leaving = {};
        sqlite3_close_v2(m_db);
    }
    Visit(const Visit&) = delete;
    Visit& operator=(const Visit&) = delete;

    void Come() {
        sqlite3_open_v2(m_database.c_str(), &m_db, SQLITE_OPEN_READWRITE, nullptr);
        Execute(m_guest.isWriter ? "BEGIN IMMEDIATE" : "BEGIN; SELECT count(*) FROM sqlite_schema");
        if (m_guest.seconds > 0)
            m_leaving = std::jthread([this](const std::stop_token& stop) {
                std::unique_lock lock(m_mutex);
                m_over.wait_for(lock, stop, m_stay, [] { return false; });
                Execute("ROLLBACK");
            });
    }

private:
    void Execute(const char* sql) { (void)sqlite3_exec(m_db, sql, nullptr, nullptr, nullptr); }

    fs::path m_database;
    Guest m_guest;
    std::chrono::duration<double> m_stay;
    sqlite3* m_db = nullptr;
    std::mutex m_mutex;
    std::condition_variable_any m_over;
    std::jthread m_leaving;
};

}  // namespace

void Trial::Compare(const Tree& expected, const Tree& got, const std::string& after) {
    for (const std::string& difference : Differences(expected, got))
        Problem("after " + after + " " + difference);
}

void Trial::Expect(const Command& command, int status) {
    if (const Ran ran = Do(command); ran.end != ProcessEnd{ProcessEnd::How::Exited, status})
        Problem(command.program + " " + command.arguments.front() + " " + ToText(ran.end) +
                ", expected: " + std::to_string(status));
}

// Runs with the fault; none: it was killed.
std::optional<Ran> Trial::Strike() {
    // The names of super-journals are random, and the history tells how long things took.
    static const Pattern random("-mj[0-9A-F]+|[^ ]*\\.jsonl, [0-9]+ bytes.*");
    std::optional<Visit> visit;
    if (point.guest)
        visit.emplace(tree, *point.guest, point.fault.haste);
    if (visit && point.fault.at == 0)
        visit->Come();
    Onlookers onlookers(*this);
    Ran ran = ::Run(base.Commands().first, tree, point.fault, [&](int pid) {
        if (visit)
            visit->Come();
        if (point.isLooked)
            onlookers.Come(pid);
    });
    onlookers.Leave();
    if (random.ReplaceIn(ran.call, "") != random.ReplaceIn(point.call, ""))
        Problem("struck another call than the traced one: " + ran.call);
    if (point.fault.mode != Mode::Kill && point.fault.mode != Mode::Tear)
        return ran;
    if (ran.end != kKilled)
        Problem("the run that was to be killed " + ToText(ran.end));
    return std::nullopt;
}

void Trial::Run() {
    what = Describe(point);
    std::optional<Ran> ran;
    if (point.fault.mode == Mode::PowerCut) {
        if (!m_disk)
            base.TraceDisk(tree, m_disk);
        what += " [" + m_disk->WriteAfterPowerCut(point.fault.at, point.seed, tree) + "]";
        // A command that came to its end before the power was cut has told how it went.
        if (point.fault.at == base.Calls().size() && base.Commands().check != CheckUpgrade)
            ran = Ran{base.FirstEnd()};
    } else {
        CopyTree(base.Start(), tree);
        if (point.page > 0) {
            std::fstream file(tree / point.damaged, std::ios::binary | std::ios::in | std::ios::out);
            file.seekp(static_cast<std::streamoff>((point.page - 1) * kPageSize));
            file << std::string(kPageSize, '\xA5');
        }
        ran = Strike();
    }
    base.Commands().check(*this, ran);
}
