// libbench_watch.so, loaded in front of a program: makes its flushes slow, counts them, and writes down the statements
// that change a database, but those of the upgrade's record. It follows the environment:
//
//   BENCH_FLUSH_MS    what each flush takes longer, in milliseconds
//   BENCH_FIGURES     the file that gets the number of flushes, by call, and the peak memory in KB, at the end
//   BENCH_STATEMENTS  the folder that gets the statements, a file a database
#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

// The function of this name that would be called without this library.
#define NEXT(function) \
    static const auto next = reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

namespace {

struct {
    int fsync, fdatasync, syncfs, sync_file_range;
} g_flushes;

void CountFlush(int& calls) {
    static const char* const ms = std::getenv("BENCH_FLUSH_MS");
    ++calls;
    if (ms)
        usleep(static_cast<useconds_t>(std::atoi(ms)) * 1000);
}

bool BeginsWith(const char* text, const char* word) {
    return sqlite3_strnicmp(text, word, static_cast<int>(std::strlen(word))) == 0;
}

// Called when a statement begins to run.
int WriteDown(unsigned, void* folder, void* running, void* text) {
    auto* const statement = static_cast<sqlite3_stmt*>(running);
    const char* const sql =
        static_cast<const char*>(text) + std::strspn(static_cast<const char*>(text), " \n");
    // "--" begins what a trigger runs.
    if (BeginsWith(sql, "--") || BeginsWith(sql, "BEGIN") || BeginsWith(sql, "PRAGMA") ||
        std::strstr(sql, "vgupgrader_record") || sqlite3_stmt_readonly(statement))
        return 0;
    const char* const database = sqlite3_db_filename(sqlite3_db_handle(statement), "main");
    const char* const name = std::strrchr(database, '/');
    if (!name)  // in memory
        return 0;
    const std::string path = std::string(static_cast<const char*>(folder)) + name + ".sql";
    char* const expanded = sqlite3_expanded_sql(statement);
    if (std::FILE* const file = std::fopen(path.c_str(), "a")) {
        std::fprintf(file, "%s\n;\n", expanded);
        std::fclose(file);
    }
    sqlite3_free(expanded);
    return 0;
}

__attribute__((destructor)) void WriteFigures() {
    const char* const path = std::getenv("BENCH_FIGURES");
    std::FILE* const file = path ? std::fopen(path, "w") : nullptr;
    if (!file)
        return;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::fprintf(file, "%d %d %d %d %ld\n", g_flushes.fsync, g_flushes.fdatasync, g_flushes.syncfs,
                 g_flushes.sync_file_range, usage.ru_maxrss);
    std::fclose(file);
}

}  // namespace

extern "C" {

int fsync(int fd) {
    NEXT(fsync);
    CountFlush(g_flushes.fsync);
    return next(fd);
}

int fdatasync(int fd) {
    NEXT(fdatasync);
    CountFlush(g_flushes.fdatasync);
    return next(fd);
}

int syncfs(int fd) noexcept {
    NEXT(syncfs);
    CountFlush(g_flushes.syncfs);
    return next(fd);
}

int sync_file_range(int fd, off64_t offset, off64_t size, unsigned flags) {
    NEXT(sync_file_range);
    CountFlush(g_flushes.sync_file_range);
    return next(fd, offset, size, flags);
}

int sqlite3_open_v2(const char* path, sqlite3** db, int flags, const char* vfs) {
    NEXT(sqlite3_open_v2);
    const int code = next(path, db, flags, vfs);
    if (char* const folder = std::getenv("BENCH_STATEMENTS"); folder && code == SQLITE_OK)
        sqlite3_trace_v2(*db, SQLITE_TRACE_STMT, WriteDown, folder);
    return code;
}

}  // extern "C"
