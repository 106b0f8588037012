// Keys that are collected and written to their files later.
#include "platform/settings/settings_files.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "platform/base/paths.h"
#include "platform/base/strings.h"
#include "platform/settings/key_value_file.h"
#include "platform/settings/settings.h"
#include "tests/support/system_tree.h"

namespace fs = std::filesystem;

namespace {

class Pending : public SystemTree {
protected:
    SettingsFiles m_settings;
    const std::string m_path = Path(kSettingsConf);
    const std::string m_temporary = m_path + ".vgtmp";

    // "a=1 b-": a written, b removed.
    static std::string Text(const std::vector<KeyChange>& changes) {
        std::vector<std::string> words;
        for (const KeyChange& change : changes) {
            EXPECT_EQ(kSettingsConf, change.file);
            words.push_back(change.key + (change.value ? "=" + *change.value : "-"));
        }
        return JoinStrings(words, " ");
    }

    static std::string Value(const char* key) {
        std::string value;
        return VGFileGetVal(kSettingsConf, key, value) > 0 ? value : "(none)";
    }

    bool IsLocked() const {
        const int fd = open(m_path.c_str(), O_RDONLY | O_CLOEXEC);
        const bool locked = flock(fd, LOCK_EX | LOCK_NB) != 0;
        close(fd);
        return locked;
    }
};

TEST_F(Pending, AreSeenByReadsAndNotByTheFile) {
    const std::string before = "# mine\na=\"1\"\nb=2\n";
    WriteSettings(before);
    m_settings.Collect();
    EXPECT_EQ(0, SetSettingConfValue("a", "1")) << "nothing to change, nothing collected";
    EXPECT_FALSE(fs::exists(m_temporary));
    EXPECT_EQ(0, SetSettingConfValue("c", "3"));
    EXPECT_EQ(0, VGFileRemoveKeys(kSettingsConf, {"absent", "b"}));
    EXPECT_EQ("c=3 b-", Text(m_settings.Take()));
    EXPECT_EQ(0, SetSettingConfValue("c", "4"));
    EXPECT_EQ(-1, SetSettingConfValue("d", "two\nlines"));

    EXPECT_EQ(before, Settings());
    EXPECT_LE(before.size() + 6, fs::file_size(m_temporary)) << "the room for it is taken";
    EXPECT_TRUE(IsLocked());
    EXPECT_EQ("4", Value("c"));
    EXPECT_EQ(0, FindSetting("b"));

    EXPECT_EQ("c=4", Text(m_settings.Take()));
    EXPECT_EQ("", Text(m_settings.Take()));
    EXPECT_EQ("4", Value("c")) << "also what has been taken";
    m_settings.Stop();
    EXPECT_EQ("(none)", Value("c"));
    EXPECT_FALSE(fs::exists(m_temporary));
    EXPECT_FALSE(IsLocked());
    EXPECT_EQ(before, Settings());
}

TEST_F(Pending, ChangeTheFileAsItStandsWhenTheyAreApplied) {
    WriteSettings("a=1\nb=2\n");
    m_settings.Collect();
    EXPECT_EQ(0, SetSettingConfValue("c", "3"));
    EXPECT_EQ(0, VGFileSetVal(kSettingsConf, "b", ""));
    const std::vector<KeyChange> changes = m_settings.Take();
    // Somebody who knows of no locks.
    WriteFile(m_path + ".new", "a=new\nb=2\n# more\n");
    fs::rename(m_path + ".new", m_path);

    EXPECT_EQ(0, m_settings.Apply(changes));
    EXPECT_EQ("a=new\n# more\nc=\"3\"\n", Settings());
    EXPECT_EQ(0, m_settings.Apply(changes)) << "safe to deliver twice";
    EXPECT_EQ("a=new\n# more\nc=\"3\"\n", Settings());
    EXPECT_FALSE(fs::exists(m_temporary));
    EXPECT_EQ(0, SetSettingConfValue("d", "4")) << "the next one is collected again";
    EXPECT_EQ("d=4", Text(m_settings.Take()));
}

// What an earlier run could not deliver is read as if it stood in the file.
TEST_F(Pending, AreSeenWhenTheyComeFromEarlier) {
    m_settings.Collect({{std::string(kSettingsConf), "done", "1"}});
    EXPECT_EQ(1, FindSetting("done"));
    EXPECT_EQ(0, SetSettingConfValue("done", "1"));
    EXPECT_EQ("", Text(m_settings.Take())) << "known already";
    EXPECT_EQ(0, SetSettingConfValue("own", "2"));
    EXPECT_EQ("own=2", Text(m_settings.Take()));
}

TEST_F(Pending, FailTheirTrialAndAreCollectedAllTheSame) {
    WriteSettings("a=1\n");
    m_settings.Collect();
    fs::create_directory(m_temporary);  // in the way of a write
    EXPECT_EQ(-1, SetSettingConfValue("b", "2"));
    EXPECT_EQ("2", Value("b"));
    const std::vector<KeyChange> changes = m_settings.Take();
    EXPECT_EQ("b=2", Text(changes));
    EXPECT_EQ(-1, m_settings.Apply(changes));
    EXPECT_EQ("a=1\n", Settings());
    fs::remove(m_temporary);
    EXPECT_EQ(0, m_settings.Apply(changes));
    EXPECT_EQ("a=1\nb=\"2\"\n", Settings());

    // A file that cannot be read at all.
    m_settings.Collect();
    fs::remove(m_path);
    fs::create_directory(m_path);
    EXPECT_EQ(-1, SetSettingConfValue("c", "3"));
    EXPECT_EQ(-1, VGFileRemoveKeys(kSettingsConf, {"d"}));
    EXPECT_EQ("c=3 d-", Text(m_settings.Take()));
    EXPECT_EQ(1, FindSetting("c"));
    EXPECT_EQ(0, FindSetting("d"));
    EXPECT_EQ(-1, FindSetting("e"));
}

}  // namespace
