#include <gtest/gtest.h>

#include "cli_support.h"

using namespace cli_test;

TEST(QuendrelCli, VersionAndUsage)
{
    RunResult v = RunCli("--version");
    EXPECT_EQ(v.iStatus, 0);
    EXPECT_EQ(v.szOutput, "2.82\n");

    // A command line that makes no sense: usage on standard error, status 2.
    for (const char* args :
         {"", "--bogus", "--version extra", "no-such-command", "help no-such-command", "help info extra"})
    {
        RunResult u = RunCli(args, true);
        EXPECT_EQ(u.iStatus, 2) << args;
        EXPECT_NE(u.szOutput.find("usage: quendrel-cli"), std::string::npos) << args;
        EXPECT_EQ(RunCli(args).szOutput, "") << args;
    }
    // Asked for: standard output, status 0, every line ended.
    for (const char* args : {"--help", "-h", "help"})
    {
        RunResult h = RunCli(args);
        EXPECT_EQ(h.iStatus, 0) << args;
        EXPECT_EQ(h.szOutput.rfind("usage: quendrel-cli --version\n", 0), 0u) << args;
        EXPECT_NE(h.szOutput.find("\n       quendrel-cli convert IN OUT"), std::string::npos) << args;
        EXPECT_EQ(h.szOutput.back(), '\n');
        EXPECT_EQ(RunCli(args, true).szOutput, "") << args;
    }
    for (const char* args : {"help info", "info --help"})
    {
        RunResult h = RunCli(args);
        EXPECT_EQ(h.iStatus, 0) << args;
        EXPECT_EQ(h.szOutput, "usage: quendrel-cli info FILE [--metadata]\n") << args;
    }
}
