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

// Captures standard output, or standard error alone when errOnly.
inline RunResult RunCli(const std::string& args, bool errOnly = false)
{
    const std::string cmd = std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli " + args +
                            (errOnly ? " 2>&1 >/dev/null" : " 2>/dev/null");
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
} // namespace cli_test
