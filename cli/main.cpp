// quendrel-cli: the headless tool over the same engine. Exit status 0 done, 1 stopped, 2 failed.

#include <cstdio>
#include <cstring>

#include "cli/QDCliCommand.h"

static const char kVersion[] = "2.82";
static QDCliCommand* gFirstCommand = nullptr;

QDCliCommandRegistrar::QDCliCommandRegistrar(const char* name, const char* usage, QDCliCommandFunc run)
{
    // Kept in name order so the usage text doesn't depend on link order.
    static QDCliCommand pool[64];
    static int used = 0;
    if (used == 64)
        return;
    QDCliCommand* c = &pool[used++];
    *c = QDCliCommand{name, usage, run, nullptr};
    QDCliCommand** at = &gFirstCommand;
    while (*at && strcmp((*at)->szName, name) < 0)
        at = &(*at)->lpNext;
    c->lpNext = *at;
    *at = c;
}

QDCliCommand* QDCliFirstCommand()
{
    return gFirstCommand;
}

// The usage of every listed command, or of one.
static void PrintUsage(FILE* out, const QDCliCommand* only)
{
    if (only)
    {
        fprintf(out, "usage: quendrel-cli %s\n", only->szUsage ? only->szUsage : only->szName);
        return;
    }
    fputs("usage: quendrel-cli --version\n"
          "       quendrel-cli --help | help [COMMAND]\n",
          out);
    for (QDCliCommand* c = gFirstCommand; c; c = c->lpNext)
        if (c->szUsage)
            fprintf(out, "       quendrel-cli %s\n", c->szUsage);
}

int QDCliUsage()
{
    PrintUsage(stderr, nullptr);
    return 2;
}

static QDCliCommand* FindCommand(const char* name)
{
    for (QDCliCommand* c = gFirstCommand; c; c = c->lpNext)
        if (strcmp(c->szName, name) == 0)
            return c;
    return nullptr;
}

int main(int argc, char** argv)
{
    if (argc < 2)
        return QDCliUsage();
    const char* first = argv[1];
    if (strcmp(first, "--version") == 0 && argc == 2)
    {
        printf("%s\n", kVersion);
        return 0;
    }
    // Asked for, usage is the answer: standard output and success.
    if ((strcmp(first, "--help") == 0 || strcmp(first, "-h") == 0 || strcmp(first, "help") == 0) && argc == 2)
    {
        PrintUsage(stdout, nullptr);
        return 0;
    }
    if (strcmp(first, "help") == 0 && argc == 3)
    {
        const QDCliCommand* c = FindCommand(argv[2]);
        if (!c)
        {
            fprintf(stderr, "quendrel-cli: no command %s\n", argv[2]);
            return QDCliUsage();
        }
        PrintUsage(stdout, c);
        return 0;
    }
    QDCliCommand* c = FindCommand(first);
    if (!c)
        return QDCliUsage();
    if (argc == 3 && (strcmp(argv[2], "--help") == 0 || strcmp(argv[2], "-h") == 0))
    {
        PrintUsage(stdout, c);
        return 0;
    }
    return c->fnRun(argc - 1, argv + 1);
}
