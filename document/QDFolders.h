#pragma once
// The folders the document engine writes to, created private; false when they can't be made.
// path receives up to LFILE_MAX_PATH bytes.

// The picture cache of this process: a sub-folder of its own (see QDCacheFolder.h).
bool QDGetCacheFolder(char* path);
bool QDGetSharedDataFolder(char* path);
