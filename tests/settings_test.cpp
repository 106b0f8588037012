#include "platform/settings/settings.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/base/paths.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/key_value_text.h"
#include "platform/settings/settings_files.h"
#include "tests/support/system_tree.h"

using namespace std::string_literals;
namespace fs = std::filesystem;

namespace {

class Settings : public SystemTree {
protected:
    const std::string path_ = Path(kSettingsConf);
    const std::string folder_ = fs::path(path_).parent_path();

    // The value of a key, or "(none)".
    std::string Value(const char* key) const {
        std::string value;
        return VGFileGetVal(kSettingsConf, key, value) == 1 ? value : "(none)";
    }

    std::set<std::string> FolderEntries() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_))
            names.insert(entry.path().filename());
        return names;
    }

    // What a write would leave changed: the file, its inode and its times, the folder's entries and times.
    std::string Traces() const {
        std::string traces = ReadFile(path_);
        for (const std::string& path : {path_, folder_}) {
            struct stat state {};
            EXPECT_EQ(0, lstat(path.c_str(), &state)) << path;
            traces += "|" + std::to_string(state.st_ino) + " " + std::to_string(state.st_mtim.tv_sec) + "." +
                      std::to_string(state.st_mtim.tv_nsec) + " " + std::to_string(state.st_ctim.tv_nsec);
        }
        return traces;
    }

    static pid_t StartProcess(const std::function<bool()>& work) {
        const pid_t pid = fork();
        if (pid == 0)
            _exit(work() ? 0 : 1);
        return pid;
    }
};

TEST_F(Settings, ReadsWhateverAnOldBuildOrAPersonHasWritten) {
    const struct {
        const char* name;
        std::string file;
        const char* key;
        std::string value;
    } cases[] = {
        {"quoted", "a=\"1\"\nk=\"v w\"\n", "k", "v w"},
        {"empty", "k=\"\"\n", "k", ""},
        {"empty without quotes", "k=\n", "k", ""},
        {"unquoted, blanks around it", "k= v w \t\n", "k", "v w"},
        {"blanks around the key and the quotes", "  k\t=  \" v \"  \n", "k", " v "},
        {"CRLF", "a=\"1\"\r\nk=\"v\"\r\n", "k", "v"},
        {"CRLF, unquoted", "k=v\r\nz=1\r\n", "k", "v"},
        {"no last line break", "a=1\nk=\"v\"", "k", "v"},
        {"no last line break, unquoted", "k=v\r", "k", "v"},
        {"escapes", R"(k="a\"b\\c\n")", "k", R"(a"b\c\n)"},
        {"backslashes at the end", R"(k="a\\")", "k", "a\\"},
        {"no escapes outside quotes", R"(k=a\\b\")", "k", R"(a\\b\")"},
        {"= and # inside the value", "k=\"http://h/?a=b#c\"\n", "k", "http://h/?a=b#c"},
        {"the first of a repeated key", "k=\"1\"\nk=\"2\"\n", "k", "1"},
        {"comment", "#k=\"1\"\n", "k", "(none)"},
        {"nothing but the key", "k\n", "k", "(none)"},
        {"part of a longer key", "kk=1\nk2=2\nk_=3\n", "k", "(none)"},
        {"other case", "K=1\n", "k", "(none)"},
        {"a quote that is not closed", "k=\"abc\nz=1\n", "k", "\"abc"},
        {"text behind the closing quote", "k=\"a\"b\"\n", "k", "\"a\"b\""},
        {"NUL bytes around the line", "\0\0\nk=\"v\"\n\0=\0\n"s, "k", "v"},
        {"NUL inside the value", "k=\"a\0b\"\n"s, "k", "a\0b"s},
        {"a key no file can hold", "# c=1\n a b=2\n=3\n", "# c", "(none)"},
        {"the empty key", "=3\n", "", "(none)"},
        {"an empty file", "", "k", "(none)"},
    };
    for (const auto& [name, file, key, value] : cases) {
        WriteSettings(file);
        EXPECT_EQ(value, Value(key)) << name;
        EXPECT_EQ(value != "(none)", IsSettingConfKeyExist(key)) << name;
        std::map<std::string, std::string> all = KeyValueText(file).All();
        EXPECT_EQ(value, all.try_emplace(key, "(none)").first->second) << name;
    }
    EXPECT_EQ("(none)", Value(nullptr));
}

TEST_F(Settings, ChangesOneLineAndLeavesEveryOtherByteAlone) {
    const struct {
        const char* name;
        std::string before;
        const char* value;  // of key k; empty: the key is removed
        std::string after;
    } cases[] = {
        {"into an empty file", "", "v", "k=\"v\"\n"},
        {"replaced in place", "a=1\nk=\"o\"\nz= 2 \n", "v", "a=1\nk=\"v\"\nz= 2 \n"},
        {"unquoted before", " k = o\n", "v", "k=\"v\"\n"},
        {"added", "a=1\n", "v", "a=1\nk=\"v\"\n"},
        {"added after a last line without break", "a=1", "v", "a=1\nk=\"v\"\n"},
        {"added to CRLF lines", "a=1\r\nb=2", "v", "a=1\r\nb=2\r\nk=\"v\"\r\n"},
        {"each line keeps its ending", "a=1\r\nk=o\r\nb=2\nk2=3", "v", "a=1\r\nk=\"v\"\r\nb=2\nk2=3"},
        {"no last line break before, none after", "a=1\nk=o", "v", "a=1\nk=\"v\""},
        {"escapes", "k=o\n", R"(q"b\)", "k=\"q\\\"b\\\\\"\n"},
        {"repeated key", "k=1\na=2\nk=3\n#k=4\nk=5", "v", "k=\"v\"\na=2\n#k=4\n"},
        {"repeated key, the first holds the value", "k=v\na=2\nk=3\n", "v", "k=v\na=2\n"},
        {"unknown lines", "# c\n\n \t\nwhat\n[s]\nexport k=1\n\0\xff=\n#k=o"s, "v",
         "# c\n\n \t\nwhat\n[s]\nexport k=1\n\0\xff=\n#k=o\nk=\"v\"\n"s},
        {"removed", "a=1\r\nk=\"o\"\r\n# k\r\n\r\nb", "", "a=1\r\n# k\r\n\r\nb"},
        {"removed, repeated", "k=1\na=2\n k =3", "", "a=2\n"},
        {"removed, the only line", "k=1\n", "", ""},
    };
    for (const auto& [name, before, value, after] : cases) {
        WriteSettings(before);
        EXPECT_EQ(0, VGFileSetVal(kSettingsConf, "k", value)) << name;
        EXPECT_EQ(ReadFile(path_), after) << name;
        EXPECT_EQ(*value ? value : "(none)", Value("k")) << name;
    }
    EXPECT_EQ("", Log());
}

TEST_F(Settings, TouchesNothingWhenThereIsNothingToChange) {
    const struct {
        const char* name;
        const char* file;
        std::function<int()> write;
    } cases[] = {
        {"quoted", "a=\"1\"\nk=\"v\"\n", [&] { return VGFileSetVal(kSettingsConf, "k", "v"); }},
        {"unquoted, no last line break", "k= v", [&] { return SetSettingConfValue("k", "v"); }},
        {"boolean", "k=\"true\"\r\n", [&] { return SetSettingEnabled("k", true); }},
        {"empty value stored", "k=\n", [&] { return SetSettingConfValue("k", ""); }},
        {"nothing to remove", "a=1\n#k=1\n", [&] { return VGFileSetVal(kSettingsConf, "k", ""); }},
        {"no key of the set", "a=1\n",
         [&] {
             return VGFileRemoveKeys(kSettingsConf, {"k", "l"});
         }},
        {"empty set", "a=1\n", [&] { return VGFileRemoveKeys(kSettingsConf, {}); }},
    };
    for (const auto& [name, file, write] : cases) {
        WriteSettings(file);
        const std::string before = Traces();
        EXPECT_EQ(0, write()) << name;
        EXPECT_EQ(before, Traces()) << name;
    }
    fs::remove(path_);
    EXPECT_EQ(0, VGFileRemoveKeys(kSettingsConf, {"k"}));
    EXPECT_FALSE(fs::exists(path_)) << "a removal makes no file";
}

TEST_F(Settings, RemovesSeveralKeysInOneRewrite) {
    WriteSettings("a=1\nvg_cms=\"yes\"\n# vg_cms\nvg_cms_slave=no\nvg_cms=2\nvg_cms_mode=3\n");
    EXPECT_EQ(0, VGFileRemoveKeys(kSettingsConf, {"vg_cms", "vg_cms_slave", "not_there"}));
    EXPECT_EQ("a=1\n# vg_cms\nvg_cms_mode=3\n", ReadFile(path_));
}

TEST_F(Settings, HoldsAValueOfAMegabyte) {
    std::string value;
    while (value.size() < 1'000'000)
        value += R"({"name":"C:\\"} )";
    WriteSettings("a=1\n# kept\nz=2");
    EXPECT_EQ(0, SetSettingConfValue("k", value));
    EXPECT_EQ(value, Value("k"));
    EXPECT_EQ(0, SetSettingConfValue("a", value));
    EXPECT_EQ(value, Value("a"));
    EXPECT_EQ(value, Value("k"));
    EXPECT_EQ(0, VGFileRemoveKeys(kSettingsConf, {"a", "k"}));
    EXPECT_EQ("# kept\nz=2\n", ReadFile(path_));
}

TEST_F(Settings, RefusesWhatTheFileCannotHold) {
    WriteSettings("a=1\n");
    const std::string before = Traces();
    const char* const keys[] = {nullptr, "", "#k", "k=", "a b", "a\tb", "k\n", "k\r", "\"k\"", "k'", "k\x01"};
    for (const char* key : keys) {
        const std::string shown = key ? key : "(null)";
        EXPECT_EQ(-1, SetSettingConfValue(key, "v")) << shown;
        EXPECT_EQ(-1, VGFileSetVal(kSettingsConf, key, "")) << shown;
    }
    for (const std::string& value : {"a\nb"s, "a\r"s, "a\0b"s})
        EXPECT_EQ(-1, SetSettingConfValue("secret_key", value));
    EXPECT_EQ(before, Traces());
    EXPECT_EQ(static_cast<int>(2 * std::size(keys)), CountInLog("] is not a key."));
    EXPECT_EQ(3,
              CountInLog("Failed to set secret_key in " + path_ + ", the value has a line break or NUL.\n"));
}

TEST_F(Settings, AFirstWriteCreatesTheFile) {
    EXPECT_FALSE(IsSettingConfKeyExist("k"));
    EXPECT_EQ("", Log()) << "a missing file reads as empty";
    const mode_t mask = umask(0077);
    EXPECT_EQ(0, SetSettingConfValue("k", "v"));
    umask(mask);
    EXPECT_EQ("k=\"v\"\n", ReadFile(path_));
    EXPECT_EQ(static_cast<fs::perms>(0644), fs::status(path_).permissions());
}

TEST_F(Settings, KeepsModeAndOwner) {
    WriteSettings("k=1\n");
    ASSERT_EQ(0, chmod(path_.c_str(), 0460));
    const bool root = geteuid() == 0;
    if (root) {
        ASSERT_EQ(0, chown(path_.c_str(), 1234, 4321));
    }
    struct stat before {};
    struct stat after {};
    ASSERT_EQ(0, stat(path_.c_str(), &before));
    EXPECT_EQ(0, SetSettingConfValue("k", "2"));
    ASSERT_EQ(0, stat(path_.c_str(), &after));
    EXPECT_NE(before.st_ino, after.st_ino) << "replaced as a whole";
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_uid, after.st_uid);
    EXPECT_EQ(before.st_gid, after.st_gid);
}

TEST_F(Settings, ReplacesTheTargetOfALinkAndNotTheLink) {
    WriteFile(folder_ + "/data/real.conf", "k=1\n");
    fs::create_symlink("data/second", path_);
    fs::create_symlink("/var/packages/Vigilo/etc/data/real.conf", folder_ + "/data/second");
    EXPECT_EQ(0, SetSettingConfValue("k", "2"));
    EXPECT_EQ("data/second", fs::read_symlink(path_));
    EXPECT_TRUE(fs::is_symlink(folder_ + "/data/second"));
    EXPECT_EQ("k=\"2\"\n", ReadFile(folder_ + "/data/real.conf"));

    fs::remove(folder_ + "/data/real.conf");
    EXPECT_EQ("(none)", Value("k"));
    EXPECT_EQ(0, SetSettingConfValue("k", "3")) << "a link whose target is still to come";
    EXPECT_EQ("k=\"3\"\n", ReadFile(folder_ + "/data/real.conf"));

    fs::remove(path_);
    fs::create_symlink("settings.conf", path_);
    EXPECT_EQ(-1, SetSettingConfValue("k", "4")) << "a link to itself";
}

TEST_F(Settings, FailsWithoutHarmWhereThereIsNoFileToReadOrWrite) {
    char buffer[8];
    const auto expectUseless = [&](const std::string& name) {
        EXPECT_FALSE(IsSettingConfKeyExist("k")) << name;
        std::strcpy(buffer, "old");
        EXPECT_EQ(-1, GetSettingsConfValue("k", "0", buffer, sizeof(buffer))) << name;
        EXPECT_STREQ("", buffer) << name;
        EXPECT_TRUE(IsSettingEnabled("k", true)) << name;
        EXPECT_EQ(-1, SetSettingConfValue("k", "v")) << name;
        EXPECT_EQ(-1, VGFileRemoveKeys(kSettingsConf, {"k"})) << name;
        EXPECT_EQ(5, CountInLog(path_)) << name << ": each failure is logged once";
        fs::remove(Path(kPackageLog));
    };

    WriteFile(path_ + "/inside", "kept");
    expectUseless("directory");
    EXPECT_EQ("kept", ReadFile(path_ + "/inside"));
    fs::remove_all(path_);

    ASSERT_EQ(0, mkfifo(path_.c_str(), 0644));
    expectUseless("FIFO");
    fs::remove(path_);

    WriteSettings("k=1\n");
    fs::resize_file(path_, uintmax_t{1} << 40);
    expectUseless("a terabyte of NUL bytes");
    EXPECT_EQ(uintmax_t{1} << 40, fs::file_size(path_));

    if (geteuid() != 0) {
        WriteSettings("k=1\n");
        ASSERT_EQ(0, chmod(path_.c_str(), 0));
        expectUseless("unreadable");
        ASSERT_EQ(0, chmod(path_.c_str(), 0644));
        EXPECT_EQ("k=1\n", ReadFile(path_));
    }

    fs::remove_all(folder_);
    EXPECT_EQ(-1, SetSettingConfValue("k", "v")) << "no folder";
    EXPECT_EQ(1, CountInLog("Failed to open the folder of " + path_ + ". [No such file or directory]"));
    EXPECT_FALSE(fs::exists(folder_));
}

TEST_F(Settings, AWriteThatFailsHalfwayLeavesTheOldFileAndNothingElse) {
    WriteSettings("k=1\nother=kept");
    const std::string secret(10'000, 's');

    // The disk is full for files of more than 4096 bytes.
    rlimit limit{};
    ASSERT_EQ(0, getrlimit(RLIMIT_FSIZE, &limit));
    const rlimit full{.rlim_cur = 4096, .rlim_max = limit.rlim_max};
    const auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &full));
    const int result = SetSettingConfValue("k", secret);
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limit));
    std::signal(SIGXFSZ, oldHandler);

    EXPECT_EQ(-1, result);
    EXPECT_EQ("k=1\nother=kept", ReadFile(path_));
    EXPECT_EQ(std::set<std::string>{"settings.conf"}, FolderEntries());
    EXPECT_EQ(1, CountInLog("File too large"));
    EXPECT_EQ(0, CountInLog("sss")) << "no value in the log";
}

// A folder may hand rights down to what is made in it; a file that is replaced has those that it had.
TEST_F(Settings, ARewriteGivesNoRightsThatTheFileDidNotGive) {
    WriteSettings("k=1\n");
    struct {
        uint32_t version = 2;
        struct {
            uint16_t tag, rights;
            uint32_t id;
        } entries[5] = {{1, 7, ~0U}, {2, 7, 1234}, {4, 5, ~0U}, {16, 7, ~0U}, {32, 5, ~0U}};
    } list;
    if (setxattr(folder_.c_str(), "system.posix_acl_default", &list, sizeof list, 0) != 0)
        GTEST_SKIP() << "no access lists here";
    EXPECT_EQ(0, SetSettingConfValue("k", "2"));
    EXPECT_EQ(-1, getxattr(path_.c_str(), "system.posix_acl_access", nullptr, 0));
    EXPECT_EQ("k=\"2\"\n", ReadFile(path_));
}

// An upgrade asks for hundreds of keys, and writes hundreds.
TEST_F(Settings, TakeNoTimeAKeyInALargeFile) {
    std::string text;
    for (int i = 0; i < 200'000; ++i)
        text += "key" + std::to_string(i) + "=\"" + std::to_string(i) + "\"\n";
    WriteSettings(text);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    SettingsFiles settings;
    settings.Collect();
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 500; ++i) {
        EXPECT_EQ("7", Value("key7"));
        EXPECT_EQ(0, SetSettingConfValue(("new" + std::to_string(i)).c_str(), "x"));
    }
    EXPECT_EQ(0, settings.Apply(settings.Take()));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10)) << "it was 60";
    settings.Stop();
    EXPECT_EQ("x", Value("new499"));
}

TEST_F(Settings, ConcurrentWritersLoseNothing) {
    // There is no file at first, so that the writers also race for its creation.
    constexpr int kWriters = 4;
    constexpr int kWrites = 40;
    std::vector<pid_t> writers;
    for (int writer = 0; writer < kWriters; ++writer) {
        writers.push_back(StartProcess([&] {
            for (int i = 0; i < kWrites; ++i) {
                const std::string key = "w" + std::to_string(writer) + "_" + std::to_string(i / 2);
                if (SetSettingConfValue(key.c_str(), std::to_string(i)) != 0)
                    return false;
            }
            return true;
        }));
    }
    for (const pid_t pid : writers) {
        int status = -1;
        ASSERT_EQ(pid, waitpid(pid, &status, 0));
        EXPECT_EQ(0, status);
    }
    for (int writer = 0; writer < kWriters; ++writer) {
        for (int i = 1; i < kWrites; i += 2) {
            const std::string key = "w" + std::to_string(writer) + "_" + std::to_string(i / 2);
            EXPECT_EQ(std::to_string(i), Value(key.c_str())) << key;
        }
    }
    EXPECT_EQ(std::set<std::string>{"settings.conf"}, FolderEntries());
}

TEST_F(Settings, AWriteRemovesWhatAKilledWriterHasLeft) {
    WriteSettings("k=1\n");
    WriteFile(path_ + ".vgtmp", "half a fi");
    EXPECT_EQ(0, SetSettingConfValue("k", "2"));
    EXPECT_EQ("k=\"2\"\n", ReadFile(path_));
    EXPECT_EQ(std::set<std::string>{"settings.conf"}, FolderEntries());
    EXPECT_EQ("", Log());
}

TEST_F(Settings, AWriterWaitsForTheLockAndSeesWhatItsHolderWrote) {
    WriteSettings("k=1\n");
    const int held = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(held, LOCK_EX));
    const pid_t writer = StartProcess([&] {
        close(held);  // shares the lock with the parent, which alone is to hold it
        return SetSettingConfValue("k", "2") == 0;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(0, waitpid(writer, nullptr, WNOHANG)) << "the writer is waiting";
    EXPECT_EQ("k=1\n", ReadFile(path_));
    EXPECT_EQ(0, SetSettingConfValue("k", "1")) << "nothing to change, nothing to wait for";

    // The holder replaces the file, so that the writer waits for the lock of a file that is no longer there.
    WriteFile(path_ + ".new", "k=1\nholder=\"here\"\n");
    fs::rename(path_ + ".new", path_);
    close(held);
    int status = -1;
    ASSERT_EQ(writer, waitpid(writer, &status, 0));
    EXPECT_EQ(0, status);
    EXPECT_EQ("k=\"2\"\nholder=\"here\"\n", ReadFile(path_));
}

// Runs in a process of its own, since the patience is that of the process's life.
TEST_F(Settings, GivesUpALockThatStaysUntilItIsFree) {
    WriteSettings("k=1\n");
    const int held = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(0, flock(held, LOCK_EX));
    const pid_t writer = StartProcess([&] {
        const auto begin = std::chrono::steady_clock::now();
        const auto waited = [&] { return std::chrono::steady_clock::now() - begin; };
        const bool waitsOnce = SetSettingConfValue("k", "2") == -1 && waited() >= std::chrono::seconds(9) &&
                               SetSettingConfValue("k", "3") == -1 && waited() < std::chrono::seconds(15);
        flock(held, LOCK_UN);
        return waitsOnce && SetSettingConfValue("k", "4") == 0;
    });
    int status = -1;
    ASSERT_EQ(writer, waitpid(writer, &status, 0));
    close(held);
    EXPECT_EQ(0, status);
    EXPECT_EQ("k=\"4\"\n", ReadFile(path_));
    EXPECT_EQ(1, CountInLog("Waiting for the lock of " + path_ + " ..."));
    EXPECT_EQ(2, CountInLog("Failed to lock " + path_));
}

TEST_F(Settings, TellAKeyThatIsNotThereFromAFileThatCannotBeRead) {
    EXPECT_EQ(0, FindSetting("k")) << "no file";
    WriteSettings("k=\n");
    EXPECT_EQ(1, FindSetting("k"));
    EXPECT_EQ(0, FindSetting("l"));
    fs::remove(path_);
    fs::create_directory(path_);
    EXPECT_EQ(-1, FindSetting("k"));
}

TEST_F(Settings, CopiesAValueOrTheDefaultIntoABufferThatHoldsIt) {
    WriteSettings("seven=\"1234567\"\neight=12345678\nempty=\"\"\n");
    const struct {
        const char* key;
        const char* defaultValue;
        int size;
        int result;
        const char* text;
    } cases[] = {
        {"seven", "0", 8, 0, "1234567"},   {"eight", "0", 8, -1, ""},  {"eight", "0", INT_MAX, 0, "12345678"},
        {"empty", "0", 8, 0, ""},          {"empty", "0", 1, 0, ""},   {"absent", "0", 8, 0, "0"},
        {"absent", "12345678", 8, -1, ""}, {"absent", "0", 1, -1, ""}, {"absent", nullptr, 8, 0, ""},
    };
    for (const auto& [key, defaultValue, size, result, text] : cases) {
        char buffer[16] = "untouched";
        EXPECT_EQ(result, GetSettingsConfValue(key, defaultValue, buffer, size)) << key << ' ' << size;
        EXPECT_STREQ(text, buffer) << key << ' ' << size;
    }
    char buffer[] = "untouched";
    EXPECT_EQ(-1, GetSettingsConfValue("seven", "0", buffer, 0));
    EXPECT_EQ(-1, GetSettingsConfValue("seven", "0", buffer, -1));
    EXPECT_STREQ("untouched", buffer);
    EXPECT_EQ(-1, GetSettingsConfValue("seven", "0", nullptr, 8));
    EXPECT_EQ(0, CountInLog("12345678")) << "no value in the log";
}

TEST_F(Settings, ReadsBooleansInTheirManyTexts) {
    for (const char* text : {"true", "TRUE", "Yes", "on", "1"}) {
        WriteSettings("k="s + text);
        EXPECT_TRUE(IsSettingEnabled("k", false)) << text;
    }
    for (const char* text : {"false", "no", "off", "0", "", "2", "truer", "y"}) {
        WriteSettings("k="s + text);
        EXPECT_FALSE(IsSettingEnabled("k", true)) << text;
    }
    EXPECT_TRUE(IsSettingEnabled("absent", true));
    EXPECT_FALSE(IsSettingEnabled("absent", false));
    EXPECT_EQ(0, SetSettingEnabled("k", true));
    EXPECT_EQ(0, SetSettingEnabled("l", false));
    EXPECT_EQ("k=\"true\"\nl=\"false\"\n", ReadFile(path_));
}

TEST_F(Settings, TellsThePackageVersionWithAndWithoutItsBuild) {
    const struct {
        std::optional<std::string> file;
        const char* version;
        const char* withoutBuild;
    } cases[] = {
        {"version=\"10.0.1-12345\"\n", "10.0.1-12345", "10.0.1"},
        {"name=\"a\"\r\nversion=9.1\r\n", "9.1", "9.1"},
        {"version=\"9.1-beta-12\"\n", "9.1-beta-12", "9.1-beta"},
        {"version=\n", "9.2.9-9760", "9.2.9"},
        {"name=\"a\"\n", "9.2.9-9760", "9.2.9"},
        {std::nullopt, "9.2.9-9760", "9.2.9"},
    };
    for (const auto& [file, version, withoutBuild] : cases) {
        if (file)
            WriteFile(Path(kPackageConf), *file);
        else
            fs::remove(Path(kPackageConf));
        EXPECT_EQ(version, GetVGPkgVersion(true)) << file.value_or("no file");
        EXPECT_EQ(withoutBuild, GetVGPkgVersion(false)) << file.value_or("no file");
    }
}

}  // namespace
