#include "control/rehearse/rehearsal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <thread>

#include "control/snapshot/command.h"
#include "control/text.h"
#include "platform/base/package_log.h"
#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/files/attributes.h"
#include "platform/files/copy.h"
#include "platform/files/file_replacement.h"
#include "platform/files/files.h"
#include "platform/vgdb/vgdb.h"

namespace fs = std::filesystem;

namespace {

const std::string kWorkPrefix = std::string(".").append(kRehearsalPrefix);
constexpr const char* kSign = "rehearsal.txt";  // in each folder of a rehearsal; no other is ever removed
constexpr mode_t kFolderMode = 0700;  // databases and settings hold passwords

// A row asks whether it is there.
constexpr const char* kMotionDetectionFlag = "/var/packages/Vigilo/target/@VGData/dva_md_allow";

// Folders that rows, the log and the schema repair expect.
constexpr std::string_view kFolders[] = {"/var/packages/Vigilo/etc",
                                         kTargetDir,
                                         kDataDir,
                                         kSchemaDir,
                                         "/var/packages/Vigilo/target/@VGData",
                                         kLogDir,
                                         "/etc"};

// What a signal has to end and to remove. A rehearsal that is being removed by a signal is not touched any more.
std::mutex g_mutex;
std::string g_folder;
std::string g_madePlace;
pid_t g_program = 0;

void RemoveAtOnce() {
    const std::lock_guard guard(g_mutex);
    if (g_program > 0)
        kill(-g_program, SIGKILL);
    // The other thread may still be making files in it.
    std::error_code error;
    for (int i = 0; !g_folder.empty() && fs::exists(g_folder, error) && i < 100; ++i) {
        fs::remove_all(g_folder, error);
        if (error)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    if (!g_madePlace.empty())
        rmdir(g_madePlace.c_str());
}

// Removes what killed rehearsals have left: a folder that nobody holds.
void RemoveLeftovers(const Folder& place) {
    std::vector<std::string> names;
    if (!place.List(names))
        return;
    for (const std::string& name : names) {
        const Folder folder = name.starts_with(kWorkPrefix) ? place.OpenFolder(name) : Folder();
        struct stat status {};
        if (folder && folder.Stat(kSign, status) && flock(folder.Fd(), LOCK_EX | LOCK_NB) == 0)
            (void)VGFolderRemove(place.PathOf(name));  // what stays is logged, and in nobody's way
    }
}

// Makes a folder of the copy, and those above it, as they are on the system; 0755 where there is none.
bool MakeFolderOf(const std::string& root, const std::string& path) {
    std::string made = root;
    for (const fs::path& part : fs::path(path).relative_path()) {
        if (part.empty())
            continue;
        made += '/' + part.native();
        if (mkdir(made.c_str(), 0755) != 0) {
            if (errno == EEXIST)
                continue;
            return false;
        }
        const Folder original = Folder::Open(ResolvePath(made.substr(root.size())));
        const Folder copy = Folder::Open(made);
        struct stat status {};
        if (!copy || (original && (fstat(original.Fd(), &status) != 0 ||
                                   !CopyOwnerAndMode(original.Fd(), status, copy.Fd()))))
            return false;
    }
    return true;
}

bool CopyOne(const std::string& realPath, const std::string& to) {
    std::error_code error;
    if (!fs::exists(realPath, error))
        return !error;
    fs::copy_file(realPath, to, error);
    return !error;
}

// What the program reads beside databases and settings.
bool CopySurroundings(const std::string& root, const std::string& schemaFolder, std::string& problem) {
    for (const std::string_view folder : kFolders) {
        if (!MakeFolderOf(root, std::string(folder))) {
            problem = Reason("Cannot make the folder for a copy of " + std::string(folder));
            return false;
        }
    }
    std::vector<std::string> names;
    const fs::path schemaPath = schemaFolder.empty() ? ResolvePath(kSchemaDir) : schemaFolder;
    const Folder schema = Folder::Open(schemaPath);
    if (schema ? !schema.List(names) : !schemaFolder.empty()) {
        problem = Reason("Cannot read " + schemaPath.native());
        return false;
    }
    std::vector<std::pair<std::string, std::string>> files;
    for (const std::string path : {"/etc/passwd", kMotionDetectionFlag})
        files.emplace_back(ResolvePath(path), root + path);
    for (const std::string& name : names)
        if (name.ends_with(".sql"))
            files.emplace_back(schemaPath / name, root + std::string(kSchemaDir) + name);
    for (const auto& [from, to] : files) {
        if (!CopyOne(from, to)) {
            problem = "Cannot copy " + from;
            return false;
        }
    }
    return true;
}

}  // namespace

Rehearsal::~Rehearsal() {
    if (!m_folder.empty())
        (void)VGFolderRemove(m_folder);  // what stays is logged, and goes with the next rehearsal
    if (m_madePlace)
        rmdir(m_place.c_str());  // unless somebody has put a snapshot there
    const std::lock_guard guard(g_mutex);
    g_folder.clear();
    g_madePlace.clear();
}

int Rehearsal::MakeFolder(const std::string& place, std::string& problem) {
    SnapshotPlace snapshots;
    if (FindSnapshotPlace(place, snapshots, problem))
        return -1;
    m_place = snapshots.folder;
    const std::lock_guard guard(g_mutex);
    struct stat status {};
    const bool isMissing = stat(m_place.c_str(), &status) != 0;
    const Folder folder = OpenSnapshotPlace(snapshots);
    if (!folder) {
        problem = Reason(m_place);
        return -1;
    }
    m_madePlace = isMissing;
    g_madePlace = isMissing ? m_place : "";
    RemoveLeftovers(folder);
    std::string path = folder.PathOf(kWorkPrefix + "XXXXXX");
    if (!mkdtemp(path.data())) {
        problem = Reason(m_place);
        return -1;
    }
    g_folder = m_folder = path;
    m_lock = UniqueFd(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!m_lock || (flock(m_lock.Get(), LOCK_EX | LOCK_NB) != 0 && !IsNotSupported(errno)) ||
        mkdir(Before().c_str(), kFolderMode) != 0 ||
        ReplaceFile(m_folder + '/' + kSign, "A rehearsal of vgupgradectl: the system before and after.\n",
                    0600) != 0) {
        problem = Reason(m_folder);
        return -1;
    }
    return 0;
}

int Rehearsal::CopySystem(const RehearsalWay& way, uint64_t& bytes, std::string& problem) {
    if (!way.snapshot.empty()) {
        const Folder snapshot = Folder::Open(way.snapshot), before = Folder::Open(Before());
        if (snapshot && before && CopyEntry(snapshot, "var", before, "var", EntryCopy::Passing) == 0)
            return 0;
        problem = Reason("Cannot copy " + way.snapshot);
        return -1;
    }
    TreeCopy copy;
    TreeCopyWay how{.against = HeldDatabases::Against::WritersAsItStands, .patience = way.patience};
    how.durable = false;
    how.progress = ShowBytes("Copying");
    if (CopyTree(Before(), how, copy, problem))
        return -1;
    bytes = copy.bytes;
    return 0;
}

int Rehearsal::CopyTwice(const RehearsalWay& way, std::string& problem) {
    uint64_t bytes = way.room;
    if (CopySystem(way, bytes, problem) || !CopySurroundings(Before(), way.schema, problem))
        return -1;
    const Folder both = Folder::Open(m_folder);
    const UniqueFd open(
        ::open((Before() + std::string(kTargetDir) + VGDB::GetDBName(DB_SYSTEM)).c_str(), kReadFlags));
    const bool shares = open && CanShareBlocks(open.Get(), both);
    problem = FindRoom(both, way.room + (shares ? 0 : bytes));
    if (!problem.empty())
        return -1;
    if (CopyEntry(both, "before", both, "after", EntryCopy::Passing)) {
        problem = Reason("Cannot copy to " + After());
        return -1;
    }
    return 0;
}

int Rehearsal::Prepare(const RehearsalWay& way, std::string& problem) {
    return MakeFolder(way.place, problem) || CopyTwice(way, problem) ? -1 : 0;
}

int Rehearsal::OpenWatch(std::string& problem) {
    const std::string path = m_folder + "/watch";
    m_watch = UniqueFd(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!m_watch || unlink(path.c_str()) != 0) {
        problem = Reason(path);
        return -1;
    }
    return 0;
}

int Rehearsal::Run(const std::string& program, const std::string& oldBuild, const Watch::Wanted& wanted,
                   std::string& problem) {
    if (OpenWatch(problem))
        return -1;
    if (access(program.c_str(), X_OK) != 0) {
        problem = Reason("Cannot run " + program);
        return -1;
    }
    SetProgressLine("Rehearsing");
    const std::string prefix = "VG_SYSROOT=" + After();
    std::vector<char*> environment;
    for (char** one = environ; *one; ++one)
        if (std::strncmp(*one, "VG_SYSROOT=", 11) != 0 && std::strncmp(*one, "VG_UPGRADER_WATCH=", 18) != 0)
            environment.push_back(*one);
    const std::string watch =
        StringPrintf("VG_UPGRADER_WATCH=%d\n%llu\n%s\n%s", m_watch.Get(),
                     static_cast<unsigned long long>(wanted.rows), wanted.table.c_str(), wanted.id.c_str());
    environment.push_back(const_cast<char*>(watch.c_str()));
    environment.push_back(const_cast<char*>(prefix.c_str()));
    environment.push_back(nullptr);
    std::array<char*, 3> arguments = {const_cast<char*>(program.c_str()), const_cast<char*>(oldBuild.c_str()),
                                      nullptr};

    const auto begin = std::chrono::steady_clock::now();
    pid_t child = -1;
    {
        const std::lock_guard guard(g_mutex);
        child = fork();
        if (child == 0) {
            // A program with another user's rights would ignore the prefix, and upgrade the system itself.
            sigset_t none;
            sigemptyset(&none);
            const int null = open("/dev/null", O_RDWR);
            if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 &&
                setpgid(0, 0) == 0 && fcntl(m_watch.Get(), F_SETFD, 0) == 0 && dup2(null, 0) >= 0 &&
                dup2(null, 1) >= 0 && dup2(null, 2) >= 0 && sigprocmask(SIG_SETMASK, &none, nullptr) == 0)
                execve(program.c_str(), arguments.data(), environment.data());
            _exit(127);
        }
        if (child > 0)
            setpgid(child, child);
        g_program = child;
    }
    int status = 0;
    const pid_t ended = child < 0 ? -1 : RetryInterrupted([&] { return waitpid(child, &status, 0); });
    {
        const std::lock_guard guard(g_mutex);
        g_program = 0;
    }
    if (ended < 0) {
        problem = Reason("Cannot run " + program);
        return -1;
    }
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    m_seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    SetProgressLine("");
    struct stat log {};
    if (stat((After() + std::string(kPackageLog)).c_str(), &log) != 0 || log.st_size == 0) {
        problem = program + " has not upgraded the copy (status " + std::to_string(m_status) +
                  "): there is no line in its log";
        return -1;
    }
    return 0;
}

std::string Rehearsal::Keep() {
    const std::lock_guard guard(g_mutex);
    const fs::path folder = m_folder;
    const std::string name = folder.filename().native().substr(1);
    const std::string kept = (folder.parent_path() / name).native();
    const bool renamed = rename(m_folder.c_str(), kept.c_str()) == 0;
    std::string stays = renamed ? kept : m_folder;
    m_folder.clear();
    g_folder.clear();
    g_madePlace.clear();
    m_madePlace = false;
    return stays;
}

// --- signals ------------------------------------------------------------------------------------------------

struct RemoveOnSignal::Watcher {
    sigset_t signals{};
    sigset_t before{};
    std::jthread thread;
};

RemoveOnSignal::RemoveOnSignal() : m_watcher(new Watcher) {
    sigemptyset(&m_watcher->signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&m_watcher->signals, signal);
    pthread_sigmask(SIG_BLOCK, &m_watcher->signals, &m_watcher->before);
    m_watcher->thread = std::jthread([signals = m_watcher->signals](const std::stop_token& stop) {
        const timespec moment{.tv_sec = 0, .tv_nsec = 50'000'000};
        while (!stop.stop_requested()) {
            const int signal = sigtimedwait(&signals, nullptr, &moment);
            if (signal <= 0)
                continue;
            RemoveAtOnce();
            _exit(128 + signal);
        }
    });
}

RemoveOnSignal::~RemoveOnSignal() {
    m_watcher->thread = {};
    pthread_sigmask(SIG_SETMASK, &m_watcher->before, nullptr);
    delete m_watcher;
}
