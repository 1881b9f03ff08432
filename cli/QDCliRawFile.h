#pragma once
// Headerless BGRA files: the benchmark scripts hand pictures to the timing commands this way so
// that no codec's time is counted.

#include "image/LImageBuffer.h"

bool QDCliReadRaw(const char* path, LImageBuffer& b, int w, int h);
bool QDCliWriteRaw(const char* path, const LImageBuffer& b);
