#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace
{
struct RunResult
{
    int iStatus;
    std::string szOutput;
};

// Runs quendrel-cli with args; stdout and stderr are captured separately by redirect.
RunResult RunCli(const std::string& args, bool stderrOnly = false)
{
    std::string cmd = std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli " + args;
    cmd += stderrOnly ? " 2>&1 >/dev/null" : " 2>/dev/null";
    RunResult r{-1, {}};
    FILE* p = popen(cmd.c_str(), "r");
    if (!p)
        return r;
    char buf[512];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, p)) > 0)
        r.szOutput.append(buf, n);
    int status = pclose(p);
    r.iStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}
} // namespace

TEST(QuendrelCli, VersionAndUsage)
{
    RunResult v = RunCli("--version");
    EXPECT_EQ(v.iStatus, 0);
    EXPECT_EQ(v.szOutput, "2.82\n");

    for (const char* args : {"", "--bogus", "--version extra", "no-such-command"})
    {
        RunResult u = RunCli(args, true);
        EXPECT_EQ(u.iStatus, 2) << args;
        EXPECT_NE(u.szOutput.find("usage: quendrel-cli"), std::string::npos) << args;
    }
}
