#include "cli/QDCliRawFile.h"

#include <cstdio>

bool QDCliReadRaw(const char* path, LImageBuffer& b, int w, int h)
{
    FILE* f = fopen(path, "rb");
    if (!f)
        return false;
    bool ok = b.AllocateNewBuffer(LImageFormat(B8G8R8A8, w, h, false));
    for (int y = 0; ok && y < h; ++y)
        ok = fread(b.GetRow(y), 4, size_t(w), f) == size_t(w);
    fclose(f);
    return ok;
}

bool QDCliWriteRaw(const char* path, const LImageBuffer& b)
{
    FILE* f = fopen(path, "wb");
    if (!f)
        return false;
    bool ok = true;
    for (int y = 0; ok && y < b.GetHeight(); ++y)
        ok = fwrite(b.GetRow(y), 4, size_t(b.GetWidth()), f) == size_t(b.GetWidth());
    return fclose(f) == 0 && ok;
}
