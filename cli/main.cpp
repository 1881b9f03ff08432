// quendrel-cli: the headless tool over the same engine. Exit status 0 done, 1 stopped, 2 failed.

#include <cstdio>
#include <cstring>

static const char kVersion[] = "2.82";

static int Usage()
{
    fputs("usage: quendrel-cli --version\n", stderr);
    return 2;
}

int main(int argc, char** argv)
{
    if (argc < 2)
        return Usage();
    if (strcmp(argv[1], "--version") == 0 && argc == 2)
    {
        printf("%s\n", kVersion);
        return 0;
    }
    return Usage();
}
