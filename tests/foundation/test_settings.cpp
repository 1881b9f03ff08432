#include <gtest/gtest.h>

#include "foundation/LFile.h"
#include "foundation/LUserSettings.h"
#include "foundation_test_support.h"

#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
// Points every per-user folder at a private temporary folder, never the real home.
class Settings : public ::testing::Test
{
protected:
    std::string StoreFile() const { return oDir.File("config/Quendrel/Quendrel.conf"); }

    // Runs one of the disabled child tests below in a fresh process of this program.
    static int RunChild(const char* test)
    {
        pid_t pid = fork();
        if (pid == 0)
        {
            std::string filter = std::string("--gtest_filter=SettingsChild.") + test;
            execl("/proc/self/exe", "test_foundation", filter.c_str(), "--gtest_also_run_disabled_tests",
                  static_cast<char*>(nullptr));
            _exit(127);
        }
        int status = 0;
        waitpid(pid, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    TestTempFolder oDir;
    ScopedEnv oConfig{"XDG_CONFIG_HOME", oDir.File("config")};
    ScopedEnv oData{"XDG_DATA_HOME", oDir.File("data")};
    ScopedEnv oCache{"XDG_CACHE_HOME", oDir.File("cache")};
};
} // namespace

TEST_F(Settings, StoredValuesAndDefaults)
{
    EXPECT_EQ(LUserSettingGet("Tests", "Missing", 17), 17);
    ASSERT_TRUE(LUserSettingSet("Tests", "Flag", false));
    ASSERT_TRUE(LUserSettingSet("Tests", "Count", -12));
    ASSERT_TRUE(LUserSettingSet("Tests", "Big", int64_t(1) << 40));
    ASSERT_TRUE(LUserSettingSet<double>("Tests", "Ratio", 0.1));
    EXPECT_FALSE(LUserSettingGet("Tests", "Flag", true));
    EXPECT_EQ(LUserSettingGet("Tests", "Count", 0), -12);
    EXPECT_EQ(LUserSettingGet("Tests", "Big", int64_t(0)), int64_t(1) << 40);
    EXPECT_EQ(LUserSettingGet<double>("Tests", "Ratio", 0.0), 0.1);
    EXPECT_EQ(LUserSettingGet<float>("Tests", "Ratio", 0.0f), 0.1f);
    // A value the asked type can't hold is not taken.
    EXPECT_EQ(LUserSettingGet("Tests", "Big", 5), 5);
    EXPECT_EQ(LUserSettingGet<unsigned>("Tests", "Count", 9u), 9u);
    EXPECT_EQ(LUserSettingGet<uint8_t>("Tests", "Big", uint8_t(3)), 3);
    enum class Mode
    {
        A,
        B,
        C
    };
    ASSERT_TRUE(LUserSettingSet("Tests", "Mode", Mode::C));
    EXPECT_EQ(LUserSettingGet("Tests", "Mode", Mode::A), Mode::C);

    // Text that isn't a number or a truth value gives the default.
    ASSERT_TRUE(LUserSettingSetString("Tests", "Text", "12abc"));
    EXPECT_EQ(LUserSettingGet("Tests", "Text", 4), 4);
    EXPECT_TRUE(LUserSettingGet("Tests", "Text", true));
    EXPECT_EQ(LUserSettingGet<double>("Tests", "Text", 2.5), 2.5);

    // Sections keep keys of the same name apart.
    ASSERT_TRUE(LUserSettingSet("Other", "Count", 99));
    EXPECT_EQ(LUserSettingGet("Tests", "Count", 0), -12);
    EXPECT_EQ(LUserSettingGet("Other", "Count", 0), 99);

    // A clamped integer gives the default outside the range; 2^33 mustn't wrap into it.
    EXPECT_EQ(LUserSettingGetInt("Tests", "Quality", 80, 1, 100), 80);
    for (const char* stored : {"55", "101", "8589934592", "high"})
    {
        LUserSettingSetString("Tests", "Quality", stored);
        EXPECT_EQ(LUserSettingGetInt("Tests", "Quality", 80, 1, 100), stored[0] == '5' ? 55 : 80) << stored;
    }

    // Deleted items read as missing; deleting what was never there is fine.
    char out[LUSERSETTING_MAX_STRING];
    EXPECT_TRUE(LUserSettingDeleteItem("Other", "Count"));
    EXPECT_FALSE(_LUserSettingGetString("Other", "Count", "default", out));
    EXPECT_STREQ(out, "default");
    EXPECT_EQ(LUserSettingGet("Tests", "Count", 0), -12);
    EXPECT_TRUE(LUserSettingDeleteItem("Tests", "NeverThere"));
}

TEST_F(Settings, StringsCutOnReadingAndDefaultsWhenMissing)
{
    char out[LUSERSETTING_MAX_STRING];
    memset(out, 'x', sizeof(out));
    EXPECT_FALSE(_LUserSettingGetString("Tests", "Name", "fallback", out));
    EXPECT_STREQ(out, "fallback");

    const std::string longText(300, 'a');
    ASSERT_TRUE(LUserSettingSetString("Tests", "Name", longText.c_str()));
    EXPECT_TRUE(_LUserSettingGetString("Tests", "Name", "fallback", out));
    EXPECT_EQ(std::string(out), longText.substr(0, 259));
    LString whole;
    EXPECT_TRUE(LUserSettingGetString("Tests", "Name", "", whole));
    EXPECT_EQ(whole.GetLength(), 300u);

    // A two-byte character across the cut is dropped whole.
    const std::string accented = std::string(258, 'b') + "\xc3\xa9" + "tail";
    ASSERT_TRUE(LUserSettingSetString("Tests", "Name", accented.c_str()));
    EXPECT_TRUE(_LUserSettingGetString("Tests", "Name", "", out));
    EXPECT_EQ(std::string(out), std::string(258, 'b'));

    // Text the store's own syntax uses comes back unchanged.
    const char* tricky[] = {"a, b, c",    " padded ",    "x=y;z",       "#not a comment",   "@at",
                            "\"quoted\"", "back\\slash", "line\nbreak", "\xe2\x82\xac uro", ""};
    for (const char* t : tricky)
    {
        ASSERT_TRUE(LUserSettingSetString("Tests", "Tricky", t));
        EXPECT_TRUE(_LUserSettingGetString("Tests", "Tricky", "default", out));
        EXPECT_STREQ(out, t);
    }
}

TEST_F(Settings, StoreFilesArePrivateAndPasswordsAreNeverStoredInClear)
{
    ASSERT_TRUE(LUserSettingSetString("ImageEncode", "Format", "jpeg"));
    struct stat st;
    ASSERT_EQ(stat(StoreFile().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    ASSERT_EQ(stat(oDir.File("config/Quendrel").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    std::string ini = TestReadFile(StoreFile());
    EXPECT_NE(ini.find("[ImageEncode]\nFormat=jpeg"), std::string::npos) << ini;

    const char* secret = "hunter2-z\xc3\xa4"
                         "bra";
    ASSERT_TRUE(LUserSettingSetPassword("Email", "Password", secret));
    char out[LUSERSETTING_MAX_STRING];
    ASSERT_TRUE(LUserSettingGetPassword("Email", "Password", out));
    EXPECT_STREQ(out, secret);

    ini = TestReadFile(StoreFile());
    EXPECT_EQ(ini.find("hunter2"), std::string::npos) << ini;
    EXPECT_EQ(ini.find("\xc3\xa4"), std::string::npos) << ini; // base64 never holds these bytes

    // The same password stored twice looks different each time.
    LString first, second;
    ASSERT_TRUE(LSettingEncrypt(secret, first));
    ASSERT_TRUE(LSettingEncrypt(secret, second));
    EXPECT_FALSE(first.Equals(second));

    // A changed value is refused rather than deciphered into garbage.
    LString stored, clear;
    ASSERT_TRUE(LUserSettingGetString("Email", "Password", "", stored));
    std::string altered(stored.GetString());
    altered[altered.size() - 6] = altered[altered.size() - 6] == 'A' ? 'B' : 'A';
    EXPECT_FALSE(LSettingDecrypt(altered.c_str(), clear));
    EXPECT_FALSE(LSettingDecrypt("plain text", clear));
    LUserSettingSetString("Email", "Password", altered.c_str());
    EXPECT_FALSE(LUserSettingGetPassword("Email", "Password", out));
    EXPECT_STREQ(out, "");
    EXPECT_FALSE(LUserSettingGetPassword("Email", "Missing", out));

    ASSERT_EQ(stat(oDir.File("data/Quendrel/settings.key").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // Empty and long passwords survive too.
    for (const std::string& password : {std::string(), std::string(250, 'k')})
    {
        ASSERT_TRUE(LUserSettingSetPassword("Email", "Other", password.c_str()));
        EXPECT_TRUE(LUserSettingGetPassword("Email", "Other", out));
        EXPECT_EQ(std::string(out), password);
    }
}

TEST_F(Settings, ValuesSurviveARestartOfTheProcess)
{
    // A first process writes, this one reads...
    ASSERT_EQ(RunChild("DISABLED_Write"), 0);
    char out[LUSERSETTING_MAX_STRING];
    EXPECT_TRUE(_LUserSettingGetString("Restart", "Text", "", out));
    EXPECT_STREQ(out, "from the child");
    EXPECT_EQ(LUserSettingGet("Restart", "Number", 0), 4242);
    EXPECT_TRUE(LUserSettingGetPassword("Restart", "Password", out));
    EXPECT_STREQ(out, "child secret");

    // ...then changes it, and a new process sees the changes.
    LUserSettingSet("Restart", "Number", 7);
    LUserSettingDeleteItem("Restart", "Text");
    ASSERT_EQ(RunChild("DISABLED_ReadBack"), 0);
    EXPECT_TRUE(LUserSettingGet("Restart", "ChildVerified", false));
}

// Run only as child processes of the test above.
TEST(SettingsChild, DISABLED_Write)
{
    ASSERT_TRUE(LUserSettingSetString("Restart", "Text", "from the child"));
    ASSERT_TRUE(LUserSettingSet("Restart", "Number", 4242));
    ASSERT_TRUE(LUserSettingSetPassword("Restart", "Password", "child secret"));
}

TEST(SettingsChild, DISABLED_ReadBack)
{
    char out[LUSERSETTING_MAX_STRING];
    EXPECT_EQ(LUserSettingGet("Restart", "Number", 0), 7);
    EXPECT_FALSE(_LUserSettingGetString("Restart", "Text", "", out));
    EXPECT_TRUE(LUserSettingGetPassword("Restart", "Password", out));
    EXPECT_STREQ(out, "child secret");
    if (!::testing::Test::HasFailure())
        LUserSettingSet("Restart", "ChildVerified", true);
}
