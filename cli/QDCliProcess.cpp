#include "cli/QDCliProcess.h"

#include <cstdio>

int QDCliProcess::Fail(const char* fallback) const
{
    fprintf(stderr, "%s\n", szError.empty() ? fallback : szError.c_str());
    return 2;
}
