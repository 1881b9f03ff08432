#pragma once
// Removes the files of cache ids marked for deletion, and empties the process's cache folder
// when it starts and when it ends, so a clean run leaves no cache files. At start it also removes
// what ended processes left (QDCacheFolder.h), so a crashed run is cleaned by the next one.

#include <cstdint>
#include <vector>

#include "foundation/LSignal.h"
#include "foundation/LThread.h"

class DeleteFileThread : public LThread
{
public:
    DeleteFileThread() = default;
    ~DeleteFileThread() override;

    // Marks and wakes the thread. Ids below 0 are ignored by all three.
    void DeleteFile(int id);
    void DontDeleteFile(int id);
    bool IsFileMarkedForDeletion(int id);
    // Makes room for marks up to id, clearing the mark of id; false when memory runs out.
    bool Reserve(int id, size_t size);

    // Starts the thread and returns once its start-up clean-up is over, so that no picture
    // cached after this call can be taken for a leftover. False when it couldn't be started.
    bool StartThread(int priority);
    void ThreadFunction() override;
    // Deletes every ".dat" file of the process's cache folder, whatever the case of the extension.
    static void CleanupCacheFolder();

    std::vector<uint8_t> vMarks;
    LLockObject lock;
    LSignalObject soWake;
    LSignalObject soCleanedUp;
};

extern DeleteFileThread deleteThread;
