#include "foundation/LFileSize.h"

#include <cinttypes>
#include <cstdio>
#include <string>

namespace LFile
{
bool GetSizeFormattedBytes(char* out, size_t outSize, uint64_t bytes)
{
    if (!out || outSize == 0)
        return false;
    // Thousands separated by commas, built front to back.
    const std::string plain = std::to_string(bytes);
    std::string digits;
    digits.reserve(plain.size() + plain.size() / 3);
    for (size_t i = 0; i < plain.size(); ++i)
    {
        if (i > 0 && (plain.size() - i) % 3 == 0)
            digits.push_back(',');
        digits.push_back(plain[i]);
    }
    int n;
    if (bytes < 1024)
        n = snprintf(out, outSize, "%" PRIu64 " byte%s", bytes, bytes == 1 ? "" : "s");
    else
    {
        static const char* const units[] = {"KB", "MB", "GB", "TB"};
        double value = double(bytes) / 1024.0;
        int unit = 0;
        while (value >= 1024.0 && unit < 3)
            value /= 1024.0, ++unit;
        n = snprintf(out, outSize, "%.2f %s (%s bytes)", value, units[unit], digits.c_str());
    }
    if (n < 0 || size_t(n) >= outSize)
    {
        out[0] = 0;
        return false;
    }
    return true;
}
} // namespace LFile
