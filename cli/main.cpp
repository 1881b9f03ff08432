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

int QDCliUsage()
{
    fputs("usage: quendrel-cli --version\n", stderr);
    for (QDCliCommand* c = gFirstCommand; c; c = c->lpNext)
        if (c->szUsage)
            fprintf(stderr, "       quendrel-cli %s\n", c->szUsage);
    return 2;
}

int main(int argc, char** argv)
{
    if (argc < 2)
        return QDCliUsage();
    if (strcmp(argv[1], "--version") == 0 && argc == 2)
    {
        printf("%s\n", kVersion);
        return 0;
    }
    for (QDCliCommand* c = gFirstCommand; c; c = c->lpNext)
        if (strcmp(c->szName, argv[1]) == 0)
            return c->fnRun(argc - 1, argv + 1);
    return QDCliUsage();
}
