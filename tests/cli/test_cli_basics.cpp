#include <gtest/gtest.h>

#include "cli_support.h"

using namespace cli_test;

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
