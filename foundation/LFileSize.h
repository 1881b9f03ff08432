#pragma once
// A file size as people read it, with the exact count of bytes kept beside the rounded one:
// "512 bytes", "2.47 MB (2,586,185 bytes)". Units are of 1024.

#include <cstddef>
#include <cstdint>

namespace LFile
{
// False when out (of outSize bytes) is too small; it then holds an empty string.
bool GetSizeFormattedBytes(char* out, size_t outSize, uint64_t bytes);
} // namespace LFile
