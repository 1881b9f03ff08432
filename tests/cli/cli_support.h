#pragma once
// Runs quendrel-cli from the build tree and captures what it prints.

#include <cstdio>
#include <string>
#include <sys/wait.h>

namespace cli_test
{
struct RunResult
{
    int iStatus = -1;
    std::string szOutput;
};

// Runs a shell command and captures what it prints.
inline RunResult RunCommand(const std::string& cmd)
{
    RunResult r;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p)
        return r;
    char buf[512];
    for (size_t n; (n = fread(buf, 1, sizeof buf, p)) > 0;)
        r.szOutput.append(buf, n);
    const int status = pclose(p);
    r.iStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

// Captures standard output, or standard error alone when errOnly.
inline RunResult RunCli(const std::string& args, bool errOnly = false)
{
    return RunCommand(std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli " + args +
                      (errOnly ? " 2>&1 >/dev/null" : " 2>/dev/null"));
}
} // namespace cli_test
