#include "foundation/LProcessInterface.h"

#include <cstdarg>
#include <cstdio>

void LProcessInterface::SetStatusF(int line, const char* format, ...)
{
    char text[8192];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    SetStatus(text, line);
}

void LProcessInterface::SetErrorF(const char* format, ...)
{
    char text[8192];
    va_list args;
    va_start(args, format);
    vsnprintf(text, sizeof(text), format, args);
    va_end(args);
    SetError(text);
}
