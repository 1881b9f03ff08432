#pragma once
// The folders the document engine writes to, created private; false when they can't be made.
// path receives at most 260 bytes.

bool QDGetCacheFolder(char* path);
bool QDGetSharedDataFolder(char* path);
