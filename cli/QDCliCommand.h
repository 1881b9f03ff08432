#pragma once
// Sub-commands of quendrel-cli register themselves here, one file per command, so the dispatcher
// never needs editing. A command returns the exit status: 0 done, 1 stopped, 2 failed.

using QDCliCommandFunc = int (*)(int argc, char** argv); // argv[0] is the command's name

struct QDCliCommand
{
    const char* szName;
    const char* szUsage; // null keeps the command out of the usage text
    QDCliCommandFunc fnRun;
    QDCliCommand* lpNext;
};

class QDCliCommandRegistrar
{
public:
    QDCliCommandRegistrar(const char* name, const char* usage, QDCliCommandFunc run);
};

QDCliCommand* QDCliFirstCommand();
// Prints the usage text to standard error and returns 2, for a command line that makes no sense;
// asked for with --help or help, it goes to standard output instead.
int QDCliUsage();
